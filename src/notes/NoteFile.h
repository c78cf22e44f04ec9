#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHashFunctions>
#include <QString>

// One Markdown note of the vault.
class NoteFile {
public:
    QString path;   // relative to the vault, "/" separated, without ".md"
    QString name;   // file name without extension
    QString folder; // path without its last component; "" at the vault root
    QDateTime modified;
    // `path` as the bytes of the names on disk, which need not be UTF-8: what opens the note.
    QByteArray pathBytes;

    friend bool operator==(const NoteFile &, const NoteFile &) = default;
};

size_t qHash(const NoteFile &note, size_t salt = 0) noexcept;
