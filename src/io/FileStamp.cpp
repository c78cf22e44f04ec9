#include "FileStamp.h"

#include <QFile>

#include <sys/stat.h>

namespace {

FileStamp fromStat(const struct stat &info)
{
    return FileStamp{qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec,
                     quint64(info.st_ino), qint64(info.st_size)};
}

} // namespace

std::optional<FileStamp> FileStamp::of(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return fromStat(info);
}

std::optional<FileStamp> FileStamp::ofDescriptor(int fd)
{
    struct stat info {};
    if (::fstat(fd, &info) != 0)
        return std::nullopt;
    return fromStat(info);
}
