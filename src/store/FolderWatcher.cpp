#include "FolderWatcher.h"

#include "io/TextFile.h"
#include "platform/InotifyReader.h"
#include "store/StoreLog.h"

#include <QFile>
#include <QHash>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstring>
#include <vector>

#include <dirent.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uint32_t watchedEvents = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE |
                                   IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF |
                                   IN_MOVE_SELF | IN_ONLYDIR;

bool isRealDirectory(const QByteArray &path, unsigned char type)
{
    if (type == DT_DIR)
        return true;
    if (type != DT_UNKNOWN)
        return false;
    struct stat info {};
    return ::lstat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

struct FolderWatcher::Private {
    std::function<void()> onChange;
    int fd = -1;
    int rootWatch = -1;
    QHash<int, QByteArray> folders; // watch descriptor -> folder path
    QSocketNotifier *notifier = nullptr;
    QTimer gatherTimer;
    bool gathered = false; // something changed since the last call
    bool limitReported = false;

    // Returns whether the tree had entries, which may have appeared before their folder was
    // watched and so count as a change.
    bool addTree(const QByteArray &top, bool isRoot);
    void forgetTree(const QByteArray &top);
    [[nodiscard]] bool readEvents();
};

bool FolderWatcher::Private::addTree(const QByteArray &top, bool isRoot)
{
    bool foundEntries = false;
    std::vector<QByteArray> pending{top};
    bool first = true;
    while (!pending.empty()) {
        const QByteArray folder = std::move(pending.back());
        pending.pop_back();
        // The root may be a symlink to where the files really are; nothing below it is followed,
        // so links cannot lead the walk in circles.
        const bool atRoot = first && isRoot;
        const uint32_t mask = watchedEvents | (atRoot ? 0u : uint32_t(IN_DONT_FOLLOW));
        // The watch comes before the listing, so an entry made in between is seen at least once.
        const int wd = ::inotify_add_watch(fd, folder.constData(), mask);
        if (atRoot)
            rootWatch = wd;
        first = false;
        if (wd < 0) {
            const int error = errno;
            if (error == ENOSPC && !limitReported) {
                limitReported = true;
                qCWarning(lcStore,
                          "the system's limit of folder watches is reached "
                          "(fs.inotify.max_user_watches): changes in %s and other folders are "
                          "not seen",
                          folder.constData());
            } else if (error != ENOSPC && atRoot) {
                qCWarning(lcStore, "cannot watch %s: %s", folder.constData(), std::strerror(error));
            }
            continue;
        }
        folders.insert(wd, folder);

        DIR *dir = ::opendir(folder.constData());
        if (!dir)
            continue;
        while (const dirent *entry = ::readdir(dir)) {
            if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
                continue;
            if (TextFile::isTemporaryName(QFile::decodeName(entry->d_name)))
                continue;
            foundEntries = true;
            QByteArray child = folder + '/' + entry->d_name;
            if (isRealDirectory(child, entry->d_type))
                pending.push_back(std::move(child));
        }
        ::closedir(dir);
    }
    return foundEntries;
}

void FolderWatcher::Private::forgetTree(const QByteArray &top)
{
    const QByteArray prefix = top + '/';
    for (auto it = folders.begin(); it != folders.end();) {
        if (it.value() == top || it.value().startsWith(prefix)) {
            ::inotify_rm_watch(fd, it.key());
            it = folders.erase(it);
        } else {
            ++it;
        }
    }
}

bool FolderWatcher::Private::readEvents()
{
    bool changed = false;
    bool overflowed = false;
    readInotifyEvents(fd, 64, [&](const inotify_event &event, const char *name) {
        if (event.mask & IN_Q_OVERFLOW) {
            overflowed = true;
            return;
        }
        if (event.mask & IN_IGNORED) {
            if (event.wd == rootWatch) {
                qCWarning(lcStore, "%s is gone: its changes are no longer seen",
                          folders.value(event.wd).constData());
                rootWatch = -1;
            }
            folders.remove(event.wd);
            return;
        }
        const auto folder = folders.constFind(event.wd);
        if (folder == folders.cend())
            return; // a watch already given up, its last events still queued
        if (event.len == 0 || name[0] == '\0') {
            // Events on a folder itself; the parent reports the same change by name, except
            // for the top folder.
            if (event.wd == rootWatch || !(event.mask & (IN_DELETE_SELF | IN_MOVE_SELF)))
                changed = true;
            return;
        }
        if (!TextFile::isTemporaryName(QFile::decodeName(name)))
            changed = true;
        if (event.mask & IN_ISDIR) {
            const QByteArray path = folder.value() + '/' + name;
            if (event.mask & (IN_CREATE | IN_MOVED_TO))
                changed |= addTree(path, false);
            else if (event.mask & IN_MOVED_FROM)
                forgetTree(path);
        }
    });
    if (overflowed)
        qCDebug(lcStore, "too many changes at once: looking at the whole folder again");
    if (overflowed && rootWatch >= 0) {
        // Lost events may include new folders: look at the whole tree again.
        const QByteArray root = folders.value(rootWatch);
        addTree(root, true);
        changed = true;
    }
    return changed;
}

FolderWatcher::FolderWatcher(const QString &path, std::function<void()> onChange, QObject *parent)
    : QObject(parent), d(new Private)
{
    d->onChange = std::move(onChange);
    d->gatherTimer.setSingleShot(true);
    d->gatherTimer.setTimerType(Qt::PreciseTimer);
    d->gatherTimer.setInterval(gatherInterval);
    connect(&d->gatherTimer, &QTimer::timeout, this, [this] {
        if (!d->gathered)
            return; // a whole window without changes: quiet again
        d->gathered = false;
        // A new window starts with each call, so calls stay at least one interval apart.
        d->gatherTimer.start();
        const auto callback = d->onChange;
        if (callback)
            callback();
    });

    if (path.isEmpty())
        return;
    d->fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (d->fd < 0) {
        qCWarning(lcStore, "cannot watch %s for changes: %s", qPrintable(path),
                  std::strerror(errno));
        return;
    }
    QByteArray root = QFile::encodeName(path);
    while (root.size() > 1 && root.endsWith('/'))
        root.chop(1);
    d->addTree(root, true);
    if (d->rootWatch < 0) {
        ::close(d->fd);
        d->fd = -1;
        d->folders.clear();
        return;
    }

    d->notifier = new QSocketNotifier(d->fd, QSocketNotifier::Read, this);
    connect(d->notifier, &QSocketNotifier::activated, this, [this] {
        if (!d->readEvents())
            return;
        if (d->gatherTimer.isActive()) {
            d->gathered = true;
            return;
        }
        d->gatherTimer.start();
        // Last, because the callback may delete this watcher.
        const auto callback = d->onChange;
        if (callback)
            callback();
    });
}

FolderWatcher::~FolderWatcher()
{
    delete d->notifier;
    if (d->fd >= 0)
        ::close(d->fd);
    delete d;
}

bool FolderWatcher::isActive() const
{
    return d->rootWatch >= 0;
}
