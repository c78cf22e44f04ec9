#pragma once

#include <QFile>
#include <QString>
#include <QtGlobal>

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

// Uses up the inotify instances a watcher made now could get, until destroyed or given back. As
// root, those of a user that runs nothing rather than root's own, which other programs need
// meanwhile. `reason` says why it could not, when it could not.
class UsedUpInotify {
public:
    static constexpr uid_t spareUid = 2147480001;

    UsedUpInotify()
    {
        QFile limitFile(QStringLiteral("/proc/sys/fs/inotify/max_user_instances"));
        const int limit =
            limitFile.open(QIODevice::ReadOnly) ? limitFile.readAll().trimmed().toInt() : 0;
        if (limit <= 0 || limit > 4096) {
            reason = "the limit of inotify instances is too high to reach in a test";
            return;
        }
        m_borrowed = ::geteuid() == 0 && ::seteuid(spareUid) == 0;
        int error = 0;
        while (m_fds.size() <= size_t(limit)) {
            const int fd = ::inotify_init1(IN_CLOEXEC);
            if (fd < 0) {
                error = errno;
                break;
            }
            m_fds.push_back(fd);
        }
        if (error != EMFILE) {
            reason = "making inotify instances did not stop at the limit";
            giveBack();
            return;
        }
        // EMFILE is also what a process out of descriptors is told.
        const int probe = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (probe < 0) {
            reason = "the descriptor limit is below the limit of inotify instances";
            giveBack();
            return;
        }
        ::close(probe);
        limitReached = !m_borrowed || m_fds.size() == size_t(limit);
        if (!limitReached)
            reason = "the spare user's instances were not all to be had";
    }
    ~UsedUpInotify() { giveBack(); }
    UsedUpInotify(const UsedUpInotify &) = delete;
    UsedUpInotify &operator=(const UsedUpInotify &) = delete;

    void giveBack()
    {
        for (const int fd : m_fds)
            ::close(fd);
        m_fds.clear();
        if (m_borrowed && ::geteuid() != 0)
            m_borrowed = ::seteuid(0) != 0;
    }

    bool limitReached = false;
    const char *reason = "";

private:
    std::vector<int> m_fds;
    bool m_borrowed = false;
};
