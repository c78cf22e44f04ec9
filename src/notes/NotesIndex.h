#pragma once

#include "NoteFile.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>

#include <limits>
#include <vector>

// The vault's notes, newest first, and the search over them. Notes of equal age stay in the
// order a walk of the vault finds them (a folder's entries in byte order of their names, a
// subfolder's notes where its name falls), however they came in, so the order is the same after
// any sequence of updates as after a new walk. Not thread-safe.
class NotesIndex {
public:
    static constexpr int maxShown = 40;
    static constexpr qint64 unknownMsecs = std::numeric_limits<qint64>::min();

    // One note as found on disk.
    struct Entry {
        QByteArray file; // relative to the vault, the bytes of its name on disk, with ".md"
        qint64 msecs;    // modified, in milliseconds since the epoch; unknownMsecs when unknown

        friend bool operator==(const Entry &, const Entry &) = default;
    };

    NotesIndex() = default;
    // The entries in any order.
    explicit NotesIndex(std::vector<Entry> entries);

    // Walks the vault now, on the calling thread (see VaultWalk for what is taken in). An empty
    // vaultRoot is no vault, not the current folder.
    [[nodiscard]] static NotesIndex scan(const QString &vaultRoot, const QString &boardsFolder);

    // The earliest QDateTime there is, so that notes of unknown age sort last.
    [[nodiscard]] static QDateTime unknownModified();

    // One batch of changes: the notes at `gone` and all below the folders `goneFolders` ("a/b/")
    // leave, then each of `found` takes the place of the note at its file, if there is one.
    void update(std::vector<Entry> found, const QSet<QByteArray> &gone,
                const QList<QByteArray> &goneFolders = {});

    [[nodiscard]] qsizetype size() const { return qsizetype(m_entries.size()); }
    [[nodiscard]] const std::vector<Entry> &entries() const { return m_entries; }
    // All of them, newest first.
    [[nodiscard]] QList<NoteFile> notes() const;

    // At most maxShown notes whose path contains the query (trimmed of spaces and tabs), in list
    // order; the first maxShown notes for an empty query. Both are compared lower-cased and
    // composed (NFC), so that "é" typed finds an "é" written as "e" and an accent.
    [[nodiscard]] QList<NoteFile> shown(const QString &query) const;
    // Makes the first search after a change as fast as the ones after it.
    void prepareSearch() const;

    [[nodiscard]] static NoteFile noteFile(const Entry &entry);
    // A name on disk as text: UTF-8, or where it is not, each stray byte as the character it
    // stands for in Windows-1252, as names written on older systems usually were.
    [[nodiscard]] static QString displayText(QByteArrayView bytes);
    // How paths and queries are compared: lower-cased, then composed.
    [[nodiscard]] static QString searchForm(const QString &text);

private:
    std::vector<Entry> m_entries; // newest first, then walk order

    // Every path's search form, in UTF-8 and followed by a NUL, in list order, so that a
    // keystroke is one search through one buffer; m_keyEnds[i] is where the NUL after note i
    // sits. Made again at the first search after a change.
    mutable QByteArray m_keys;
    mutable std::vector<qsizetype> m_keyEnds;
    mutable bool m_keysStale = true;
};
