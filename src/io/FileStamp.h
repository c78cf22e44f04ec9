#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

// What tells one version of a file from another without reading it: a save by anyone changes the
// time or, for a replace by rename, the inode.
struct FileStamp {
    qint64 modifiedNanos = 0;
    quint64 inode = 0;
    qint64 size = 0;

    // Nothing when the file cannot be looked at; symlinks are followed.
    [[nodiscard]] static std::optional<FileStamp> of(const QString &path);
    [[nodiscard]] static std::optional<FileStamp> ofDescriptor(int fd);

    friend bool operator==(const FileStamp &, const FileStamp &) = default;
};
