#pragma once

#include "NotesIndex.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

// Finds the notes of a vault folder by folder: every "*.md" entry (by name alone, so a folder
// "x.md" is a note too), none whose name starts with a dot or that lies below the boards folder,
// and no folder of that kind descended into. Symlinked folders are not followed. Paths are the
// bytes on disk, relative to the vault, with "/" between names.
class VaultWalk {
public:
    // Called for each folder ("" for the vault itself, otherwise "a/b/") before its entries are
    // read; false stops the walk.
    using Visit = std::function<bool(const QByteArray &folder)>;

    // `rootFd` is the vault folder, open, and not owned. `boardsFolder` as the preferences hold
    // it; empty when none is left out.
    VaultWalk(int rootFd, const QString &boardsFolder);

    // Adds the notes in `folder` ("" or "a/b/") and in every folder below it. A folder's entries
    // are taken in byte order of their names, a subfolder's notes where its name falls. False
    // when `visit` stopped it.
    bool walk(const QByteArray &folder, const Visit &visit = {});
    // The notes found so far, in walk order.
    [[nodiscard]] std::vector<NotesIndex::Entry> take() { return std::move(m_found); }

    // The note at `file` now; nothing when nothing is there.
    [[nodiscard]] std::optional<NotesIndex::Entry> note(const QByteArray &file) const;
    // Whether an entry at `path` (relative, without a trailing "/") is one the walk takes in.
    [[nodiscard]] bool isListed(const QByteArray &path) const;
    [[nodiscard]] static bool isNoteName(QByteArrayView name);

private:
    [[nodiscard]] bool isBoards(const QByteArray &path) const;

    int m_rootFd;
    QByteArray m_boardsPrefix;
    std::vector<NotesIndex::Entry> m_found;
};
