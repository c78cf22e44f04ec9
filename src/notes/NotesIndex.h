#pragma once

#include "NoteFile.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

// The vault's notes, newest first, and the search over them.
class NotesIndex {
public:
    static constexpr int maxShown = 40;

    NotesIndex() = default;

    // Walks the vault now, on the calling thread. Hidden entries are
    // skipped (and not descended into), only "*.md" entries are kept (by name alone, so a folder
    // "x.md" is a note too), entries below "<boardsFolder>/" are left out. Symlinked folders are
    // not followed. A folder's entries are walked in byte order of their names, so notes with
    // equal times come out in the same order every scan. Names that are not UTF-8 come out with
    // U+FFFD in place of the bad bytes. Dates are UTC at millisecond precision, unknownModified()
    // when the entry cannot be stat'ed. An empty vaultRoot is no vault, not the current folder.
    // Newest first, stable.
    [[nodiscard]] static NotesIndex scan(const QString &vaultRoot, const QString &boardsFolder);

    // The earliest QDateTime there is, so that notes of unknown age sort last.
    [[nodiscard]] static QDateTime unknownModified();

    [[nodiscard]] const QList<NoteFile> &notes() const { return m_notes; }

    // At most maxShown notes whose lower-cased path contains the query (trimmed of spaces and
    // tabs, lower-cased), in list order; the first maxShown notes for an empty query.
    [[nodiscard]] QList<NoteFile> shown(const QString &query) const;

private:
    QList<NoteFile> m_notes;
    // Every path lower-cased once, in UTF-8 and followed by a NUL, in list order, so that a
    // keystroke is one search through one buffer; m_pathEnds[i] is where the NUL after note i sits.
    QByteArray m_lowerPaths;
    QList<qsizetype> m_pathEnds;
};
