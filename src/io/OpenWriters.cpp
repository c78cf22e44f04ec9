#include "OpenWriters.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Looks through /proc for a descriptor of the same inode opened for writing. Only processes this
// user may look into are seen, which are the ones that write the user's files.
bool writerInProc(const struct stat &file)
{
    DIR *proc = ::opendir("/proc");
    if (!proc)
        return false;
    bool found = false;
    char path[600]; // two names of up to 255 bytes each
    while (!found) {
        const dirent *process = ::readdir(proc);
        if (!process)
            break;
        if (process->d_name[0] < '1' || process->d_name[0] > '9')
            continue;
        std::snprintf(path, sizeof path, "/proc/%s/fd", process->d_name);
        DIR *fds = ::opendir(path);
        if (!fds)
            continue;
        while (const dirent *fd = ::readdir(fds)) {
            if (fd->d_name[0] == '.')
                continue;
            std::snprintf(path, sizeof path, "/proc/%s/fd/%s", process->d_name, fd->d_name);
            struct stat target {};
            if (::stat(path, &target) != 0 || target.st_ino != file.st_ino ||
                target.st_dev != file.st_dev)
                continue;
            std::snprintf(path, sizeof path, "/proc/%s/fdinfo/%s", process->d_name, fd->d_name);
            FILE *info = std::fopen(path, "re");
            if (!info)
                continue;
            char line[128];
            while (std::fgets(line, sizeof line, info)) {
                if (std::strncmp(line, "flags:", 6) == 0) {
                    const unsigned long flags = std::strtoul(line + 6, nullptr, 8);
                    found = (flags & O_ACCMODE) != O_RDONLY;
                    break;
                }
            }
            std::fclose(info);
            if (found)
                break;
        }
        ::closedir(fds);
    }
    ::closedir(proc);
    return found;
}

} // namespace

bool OpenWriters::present(int fd)
{
    // A read lease is refused exactly while someone has the file open for writing. It needs the
    // file to be ours (or CAP_LEASE) and a file system that has leases; otherwise ask /proc.
    // A writer that opens the file while the lease is held breaks it with a signal, SIGIO unless
    // told otherwise, which would end the process: SIGURG is ignored unless someone asks for it.
    ::fcntl(fd, F_SETSIG, SIGURG);
    if (::fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(fd, F_SETLEASE, F_UNLCK);
        return false;
    }
    if (errno == EAGAIN || errno == EBUSY)
        return true;
    struct stat file {};
    return ::fstat(fd, &file) == 0 && writerInProc(file);
}

bool OpenWriters::present(const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return false;
    const bool writing = present(fd);
    ::close(fd);
    return writing;
}
