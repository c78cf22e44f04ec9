#include "VaultWalk.h"

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

qint64 msecsOf(const struct stat &info)
{
    return qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1'000'000;
}

bool isHidden(QByteArrayView name)
{
    return name.startsWith('.');
}

} // namespace

VaultWalk::VaultWalk(int rootFd, const QString &boardsFolder)
    : m_rootFd(rootFd),
      m_boardsPrefix(boardsFolder.isEmpty() ? QByteArray() : boardsFolder.toUtf8() + '/')
{}

bool VaultWalk::isNoteName(QByteArrayView name)
{
    return name.size() > 3 && name.endsWith(".md");
}

bool VaultWalk::isBoards(const QByteArray &path) const
{
    return !m_boardsPrefix.isEmpty() && path.startsWith(m_boardsPrefix);
}

bool VaultWalk::isListed(const QByteArray &path) const
{
    for (const QByteArray &name : path.split('/')) {
        if (name.isEmpty() || isHidden(name))
            return false;
    }
    return !isBoards(path) && !isBoards(path + '/');
}

std::optional<NotesIndex::Entry> VaultWalk::note(const QByteArray &file) const
{
    if (!isNoteName(file.mid(file.lastIndexOf('/') + 1)) || !isListed(file))
        return std::nullopt;
    struct stat info {};
    if (::fstatat(m_rootFd, file.constData(), &info, 0) == 0)
        return NotesIndex::Entry{file, msecsOf(info)};
    // A symlink to nothing is still an entry of the folder, as the walk sees it.
    if (errno == ENOENT && ::fstatat(m_rootFd, file.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0)
        return NotesIndex::Entry{file, NotesIndex::unknownMsecs};
    return std::nullopt;
}

bool VaultWalk::walk(const QByteArray &folder, const Visit &visit)
{
    if (visit && !visit(folder))
        return false;
    // Opened relative to the root and never through a symlink, so a link loop cannot trap the
    // walk and only one folder is open at a time, however deep the tree.
    const int fd = folder.isEmpty() ? ::dup(m_rootFd)
                                    : ::openat(m_rootFd, folder.constData(),
                                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return true;
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return true;
    }
    struct Entry {
        QByteArray name;
        bool isFolder;
        qint64 msecs = NotesIndex::unknownMsecs; // for notes
    };
    std::vector<Entry> entries;
    while (const dirent *entry = ::readdir(dir)) {
        if (isHidden(entry->d_name))
            continue; // and "." and ".."
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat info {};
            isFolder = ::fstatat(fd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                       S_ISDIR(info.st_mode);
        }
        entries.push_back({QByteArray(entry->d_name), isFolder});
    }
    for (Entry &entry : entries) {
        struct stat info {};
        if (isNoteName(entry.name) && ::fstatat(fd, entry.name.constData(), &info, 0) == 0)
            entry.msecs = msecsOf(info);
    }
    ::closedir(dir);

    std::sort(entries.begin(), entries.end(),
              [](const Entry &a, const Entry &b) { return a.name < b.name; });
    for (const Entry &entry : entries) {
        const QByteArray path = folder + entry.name;
        if (isNoteName(entry.name) && !isBoards(path))
            m_found.push_back({path, entry.msecs});
        if (entry.isFolder && !isBoards(path + '/') && !walk(path + '/', visit))
            return false;
    }
    return true;
}
