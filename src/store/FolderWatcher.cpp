#include "FolderWatcher.h"

#include "io/TextFile.h"
#include "platform/InotifyReader.h"
#include "store/StoreLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QSet>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// Folders of the tree. A file deleted while still open says nothing more (IN_EXCL_UNLINK).
constexpr uint32_t treeEvents = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM |
                                IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;
// The nearest folder there is while the path leads nowhere: the missing name appearing or
// becoming accessible, or the folder itself going away.
constexpr uint32_t anchorEvents = IN_CREATE | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF |
                                  IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;
// The kernel's own bound on symlinks in one lookup.
constexpr int maxLinks = 40;
// Rounds of looking again when the path changes while being attached to.
constexpr int maxAttachRounds = 8;
// A file written on and on still holds calls back no longer than this at a time, so that it
// cannot silence the whole folder.
constexpr auto longestHold = 10 * FolderWatcher::openWriterQuiet;

bool isRealDirectory(const QByteArray &path, unsigned char type)
{
    if (type == DT_DIR)
        return true;
    if (type != DT_UNKNOWN)
        return false;
    struct stat info {};
    return ::lstat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

QByteArray joined(const QByteArray &folder, const QByteArray &name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

QByteArray parentOf(const QByteArray &folder)
{
    const qsizetype slash = folder.lastIndexOf('/');
    return slash <= 0 ? QByteArrayLiteral("/") : folder.left(slash);
}

QByteArray nameOf(const QByteArray &folder)
{
    return folder.mid(folder.lastIndexOf('/') + 1);
}

bool isDenied(int error)
{
    return error == EACCES || error == EPERM;
}

// Not there, or not as a folder: something to wait for rather than a failure.
bool isMissing(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

// Where a path leads: the folder, all symlinks resolved; or, when it leads nowhere, the last
// folder reached, the name missing in it and why.
struct Location {
    QByteArray folder;
    QByteArray missing;
    int error = 0;
};

// Follows an absolute path one name at a time, as a lookup does, so that when it fails the
// folder to wait in is known.
Location locate(const QByteArray &path)
{
    std::vector<QByteArray> names; // the next one last
    const auto push = [&names](const QByteArray &more) {
        const QList<QByteArray> parts = more.split('/');
        for (auto part = parts.crbegin(); part != parts.crend(); ++part) {
            if (!part->isEmpty() && *part != ".")
                names.push_back(*part);
        }
    };
    push(path);
    QByteArray folder = "/";
    int links = 0;
    while (!names.empty()) {
        const QByteArray name = std::move(names.back());
        names.pop_back();
        if (name == "..") {
            folder = parentOf(folder);
            continue;
        }
        const QByteArray next = joined(folder, name);
        struct stat info {};
        if (::lstat(next.constData(), &info) != 0)
            return {folder, name, errno};
        if (S_ISLNK(info.st_mode)) {
            char target[PATH_MAX];
            const ssize_t length = ::readlink(next.constData(), target, sizeof target);
            if (length < 0)
                return {folder, name, errno};
            if (++links > maxLinks)
                return {folder, name, ELOOP};
            const QByteArray to(target, length);
            if (to.startsWith('/'))
                folder = "/";
            push(to);
            continue;
        }
        if (!S_ISDIR(info.st_mode))
            return {folder, name, ENOTDIR};
        folder = next;
    }
    return {folder, {}, 0};
}

enum class Cause { Instances, Descriptors, OpenFiles, Watches, Denied, Other };

struct Problem {
    Cause cause = Cause::Other;
    QByteArray path;
    int error = 0;
};

Problem problemFor(int error, const QByteArray &path, bool makingInstance)
{
    Cause cause = Cause::Other;
    if (makingInstance && error == EMFILE) {
        // EMFILE means either limit: if no descriptor can be had either, it is this process's.
        const int probe = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        cause = probe < 0 && errno == EMFILE ? Cause::Descriptors : Cause::Instances;
        if (probe >= 0)
            ::close(probe);
    } else if (makingInstance && error == ENFILE) {
        cause = Cause::OpenFiles;
    } else if (!makingInstance && error == ENOSPC) {
        cause = Cause::Watches;
    } else if (isDenied(error)) {
        cause = Cause::Denied;
    }
    return {cause, path, error};
}

QString reasonFor(const Problem &problem, bool withPath)
{
    const QString path = QFile::decodeName(problem.path);
    const QString where = withPath ? u" (%1)"_qs.arg(path) : QString();
    switch (problem.cause) {
    case Cause::Instances:
        return u"the system's limit of inotify instances is reached "
               "(raise fs.inotify.max_user_instances)"_qs;
    case Cause::Descriptors:
        return u"the program's limit of open files is reached"_qs;
    case Cause::OpenFiles:
        return u"the system's limit of open files is reached (raise fs.file-max)"_qs;
    case Cause::Watches:
        return u"the system's limit of folder watches is reached "
               "(raise fs.inotify.max_user_watches)"_qs;
    case Cause::Denied:
        return u"permission denied"_qs + where;
    case Cause::Other:
        break;
    }
    QString text = QString::fromLocal8Bit(std::strerror(problem.error));
    if (!text.isEmpty())
        text[0] = text[0].toLower();
    return text + where;
}

// Limits are one cause wherever they strike; other failures are one a folder.
QByteArray logKey(const Problem &problem)
{
    const QByteArray cause = QByteArray::number(int(problem.cause));
    if (problem.cause == Cause::Denied || problem.cause == Cause::Other)
        return cause + ':' + problem.path;
    return cause;
}

} // namespace

struct FolderWatcher::Private {
    FolderWatcher *q = nullptr;
    std::function<void()> onChange;
    QByteArray path;   // absolute, as asked for: what is watched
    QString shownName; // the folder as the user knows it
    int fd = -1;
    QSocketNotifier *notifier = nullptr;

    int rootWatch = -1;
    QByteArray rootFolder; // where the path led when it was last watched
    dev_t rootDevice = 0;
    ino_t rootInode = 0;
    QHash<int, QByteArray> folders; // watch descriptor -> folder path

    // While the path leads nowhere: the folder waited in and the name awaited there.
    int anchorWatch = -1;
    QByteArray awaited;

    // Files changed and not closed yet; no call while any is here.
    struct Writer {
        Clock::time_point first;
        Clock::time_point last;
    };
    QHash<QByteArray, Writer> writing;
    bool changed = false; // something changed since the last call
    QTimer gatherTimer;
    QTimer quietTimer;

    std::optional<Problem> instanceProblem;
    std::optional<Problem> rootProblem;   // what keeps the path from being watched, but absence
    QHash<QByteArray, Problem> unwatched; // folders of the tree that could not be watched
    QSet<QByteArray> logged;              // causes warned about since all was last watched
    QString failure;
    QTimer retryTimer;

    struct Walk {
        int topWatch = -1;
        int topError = 0;
        bool foundEntries = false; // which may have appeared before their folder was watched
    };

    bool openInstance();
    [[nodiscard]] bool attach();
    int placeAnchor(const QByteArray &folder, const QByteArray &name);
    void dropAnchor();
    Walk addTree(const QByteArray &top, bool isRoot);
    void forgetTree(const QByteArray &top);
    void dropBelow(const QByteArray &top);
    void detach();
    [[nodiscard]] bool rootStillThere() const;
    void readEvents();
    void noteWriter(const QByteArray &file, uint32_t mask);
    void retry();
    void expireWriters();
    void scheduleTimers();
    void note(const Problem &problem);
    [[nodiscard]] bool updateFailure();
    [[nodiscard]] bool takeCall();
};

bool FolderWatcher::Private::openInstance()
{
    fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0) {
        instanceProblem = problemFor(errno, path, true);
        note(*instanceProblem);
        return false;
    }
    instanceProblem.reset();
    notifier = new QSocketNotifier(fd, QSocketNotifier::Read, q);
    QObject::connect(notifier, &QSocketNotifier::activated, q, [this] { q->process(false); });
    return true;
}

// Watches the folder the path leads to, or else waits where it is missing. True when watched.
bool FolderWatcher::Private::attach()
{
    std::optional<std::pair<QByteArray, QByteArray>> previous;
    for (int round = 0; round < maxAttachRounds; ++round) {
        rootProblem.reset();
        Location at = locate(path);
        if (at.error == 0) {
            const Walk walk = addTree(at.folder, true);
            if (walk.topWatch >= 0) {
                dropAnchor();
                rootWatch = walk.topWatch;
                rootFolder = at.folder;
                struct stat info {};
                if (::stat(at.folder.constData(), &info) == 0) {
                    rootDevice = info.st_dev;
                    rootInode = info.st_ino;
                }
                return true;
            }
            if (isMissing(walk.topError))
                continue; // changed meanwhile
            rootProblem = problemFor(walk.topError, at.folder, false);
            note(*rootProblem);
            if (!isDenied(walk.topError))
                return false; // a limit: only retrying helps
            // Wait beside it for its permissions to change.
            at = {parentOf(at.folder), nameOf(at.folder), walk.topError};
        } else if (isDenied(at.error)) {
            // The last folder reached cannot be looked into.
            rootProblem = problemFor(at.error, at.folder, false);
            note(*rootProblem);
        }

        int error = placeAnchor(at.folder, at.missing);
        while (isDenied(error) && at.folder != "/") {
            if (!rootProblem) {
                rootProblem = problemFor(error, at.folder, false);
                note(*rootProblem);
            }
            at = {parentOf(at.folder), nameOf(at.folder), error};
            error = placeAnchor(at.folder, at.missing);
        }
        if (isMissing(error))
            continue;
        if (error != 0) {
            if (!rootProblem) {
                rootProblem = problemFor(error, at.folder, false);
                note(*rootProblem);
            }
            return false;
        }
        // The name may have appeared before the anchor was in place: look once more, and rest
        // when nothing moved.
        std::pair now{at.folder, at.missing};
        if (previous == now)
            return false;
        previous = std::move(now);
    }
    return false;
}

int FolderWatcher::Private::placeAnchor(const QByteArray &folder, const QByteArray &name)
{
    const int wd = ::inotify_add_watch(fd, folder.constData(), anchorEvents);
    if (wd < 0)
        return errno;
    if (anchorWatch != wd)
        dropAnchor();
    anchorWatch = wd;
    awaited = name;
    return 0;
}

void FolderWatcher::Private::dropAnchor()
{
    // The anchor may be a folder of the tree as well when the path is a symlink up the tree.
    if (anchorWatch >= 0 && !folders.contains(anchorWatch))
        ::inotify_rm_watch(fd, anchorWatch);
    anchorWatch = -1;
    awaited.clear();
}

FolderWatcher::Private::Walk FolderWatcher::Private::addTree(const QByteArray &top, bool isRoot)
{
    Walk walk;
    std::vector<QByteArray> pending{top};
    bool atTop = true;
    while (!pending.empty()) {
        const QByteArray folder = std::move(pending.back());
        pending.pop_back();
        const bool isTop = std::exchange(atTop, false);
        // The watch comes before the listing, so an entry made in between is seen at least once.
        const int wd = ::inotify_add_watch(fd, folder.constData(), treeEvents);
        if (wd < 0) {
            const int error = errno;
            if (isTop && isRoot) {
                walk.topError = error;
                return walk;
            }
            if (isMissing(error)) {
                // Gone meanwhile; its parent reports that.
                unwatched.remove(folder);
            } else {
                const Problem problem = problemFor(error, folder, false);
                unwatched.insert(folder, problem);
                note(problem);
            }
            continue;
        }
        if (isTop)
            walk.topWatch = wd;
        unwatched.remove(folder);
        folders.insert(wd, folder);

        DIR *dir = ::opendir(folder.constData());
        if (!dir)
            continue;
        while (const dirent *entry = ::readdir(dir)) {
            if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
                continue;
            if (TextFile::isTemporaryName(QFile::decodeName(entry->d_name)))
                continue;
            walk.foundEntries = true;
            QByteArray child = joined(folder, entry->d_name);
            if (isRealDirectory(child, entry->d_type))
                pending.push_back(std::move(child));
        }
        ::closedir(dir);
    }
    return walk;
}

void FolderWatcher::Private::forgetTree(const QByteArray &top)
{
    const QByteArray prefix = top + '/';
    for (auto it = folders.begin(); it != folders.end();) {
        if (it.value() == top || it.value().startsWith(prefix)) {
            if (it.key() != anchorWatch)
                ::inotify_rm_watch(fd, it.key());
            it = folders.erase(it);
        } else {
            ++it;
        }
    }
    dropBelow(top);
}

// Forgets what is known about files and folders at and below `top`, which are gone.
void FolderWatcher::Private::dropBelow(const QByteArray &top)
{
    const QByteArray prefix = top + '/';
    const auto below = [&](const QByteArray &entry) {
        return entry == top || entry.startsWith(prefix);
    };
    for (auto it = writing.begin(); it != writing.end();)
        it = below(it.key()) ? writing.erase(it) : std::next(it);
    for (auto it = unwatched.begin(); it != unwatched.end();)
        it = below(it.key()) ? unwatched.erase(it) : std::next(it);
}

// The folder watched is no longer at the path: stop watching it, whatever it is now.
void FolderWatcher::Private::detach()
{
    qCInfo(lcStore, "%s is gone: watching for it to come back", path.constData());
    for (auto it = folders.cbegin(); it != folders.cend(); ++it) {
        if (it.key() != anchorWatch)
            ::inotify_rm_watch(fd, it.key());
    }
    folders.clear();
    unwatched.clear();
    writing.clear();
    rootWatch = -1;
    rootFolder.clear();
}

bool FolderWatcher::Private::rootStillThere() const
{
    const Location at = locate(path);
    struct stat info {};
    return at.error == 0 && ::stat(at.folder.constData(), &info) == 0 &&
           info.st_dev == rootDevice && info.st_ino == rootInode;
}

void FolderWatcher::Private::noteWriter(const QByteArray &file, uint32_t mask)
{
    // A file being written, or just made by opening it, is not complete until closed; a name
    // renamed over or removed is.
    if (mask & (IN_MODIFY | IN_CREATE)) {
        const auto now = Clock::now();
        const auto known = writing.constFind(file);
        writing.insert(file, {known == writing.cend() ? now : known->first, now});
    } else if (mask & (IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO)) {
        writing.remove(file);
    }
}

void FolderWatcher::Private::readEvents()
{
    if (fd < 0)
        return;
    bool overflowed = false;
    bool rootGone = false;
    bool anchorStirred = false;
    readInotifyEvents(fd, 64, [&](const inotify_event &event, const char *name) {
        if (event.mask & IN_Q_OVERFLOW) {
            overflowed = true;
            return;
        }
        if (event.wd == anchorWatch && (name[0] == '\0' || awaited == name)) {
            anchorStirred = true;
            if (event.mask & IN_IGNORED)
                anchorWatch = -1;
        }
        if (event.mask & IN_IGNORED) {
            if (event.wd == rootWatch) {
                detach();
                rootGone = true;
                changed = true;
            } else {
                folders.remove(event.wd);
            }
            return;
        }
        const auto folder = folders.constFind(event.wd);
        if (folder == folders.cend())
            return; // the anchor, or a watch given up with its last events still queued
        if (name[0] == '\0') {
            if (event.wd == rootWatch) {
                changed = true;
                // Moved away, replaced, or moved and back again.
                if ((event.mask & IN_DELETE_SELF) || !rootStillThere()) {
                    detach();
                    rootGone = true;
                }
            } else if (!(event.mask & (IN_DELETE_SELF | IN_MOVE_SELF))) {
                // Its parent reports removing and moving it by name.
                changed = true;
            }
            return;
        }
        const QByteArray entry = joined(folder.value(), name);
        const bool temporary = TextFile::isTemporaryName(QFile::decodeName(name));
        if (!temporary)
            changed = true;
        if (!(event.mask & IN_ISDIR)) {
            if (!temporary)
                noteWriter(entry, event.mask);
            return;
        }
        if (event.mask & (IN_CREATE | IN_MOVED_TO)) {
            changed |= addTree(entry, false).foundEntries;
        } else if (event.mask & IN_MOVED_FROM) {
            forgetTree(entry);
        } else if (event.mask & IN_DELETE) {
            dropBelow(entry);
        } else if ((event.mask & IN_ATTRIB) && unwatched.contains(entry)) {
            // Perhaps its permissions now allow watching it.
            addTree(entry, false);
            changed |= !unwatched.contains(entry);
        }
    });
    if (overflowed) {
        qCDebug(lcStore, "too many changes at once: looking at the whole folder again");
        changed = true;
        if (rootWatch >= 0 && rootStillThere()) {
            // Lost events may include new folders.
            if (addTree(rootFolder, true).topWatch != rootWatch) {
                detach();
                rootGone = true;
            }
        } else if (rootWatch >= 0) {
            detach();
            rootGone = true;
        } else {
            anchorStirred = true;
        }
    }
    if (rootWatch < 0 && (rootGone || anchorStirred) && attach()) {
        qCInfo(lcStore, "%s is there: watching it", path.constData());
        changed = true;
    }
}

// Tries again what the system refused.
void FolderWatcher::Private::retry()
{
    if (path.isEmpty())
        return;
    if (fd < 0 && !openInstance())
        return;
    if (rootWatch < 0) {
        // Whatever happened meanwhile was not seen.
        if (attach())
            changed = true;
        return;
    }
    const QList<QByteArray> again = unwatched.keys();
    for (const QByteArray &folder : again) {
        if (!unwatched.contains(folder))
            continue; // watched along with a folder above it
        addTree(folder, false);
        changed |= !unwatched.contains(folder);
    }
}

void FolderWatcher::Private::expireWriters()
{
    const auto now = Clock::now();
    for (auto it = writing.begin(); it != writing.end();) {
        const bool done = now - it->last >= openWriterQuiet || now - it->first >= longestHold;
        it = done ? writing.erase(it) : std::next(it);
    }
}

void FolderWatcher::Private::scheduleTimers()
{
    if (writing.isEmpty()) {
        quietTimer.stop();
    } else {
        auto due = Clock::time_point::max();
        for (const Writer &writer : std::as_const(writing))
            due = std::min({due, writer.last + openWriterQuiet, writer.first + longestHold});
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now());
        quietTimer.start(std::max(wait, std::chrono::milliseconds{0}));
    }
    const bool refused = instanceProblem || rootProblem || !unwatched.isEmpty() ||
                         (rootWatch < 0 && anchorWatch < 0);
    if (!refused || path.isEmpty())
        retryTimer.stop();
    else if (!retryTimer.isActive())
        retryTimer.start();
}

void FolderWatcher::Private::note(const Problem &problem)
{
    const QByteArray key = logKey(problem);
    if (logged.contains(key))
        return;
    logged.insert(key);
    const QByteArray where =
        problem.cause == Cause::Denied || problem.cause == Cause::Other ? problem.path : path;
    qCWarning(lcStore, "cannot watch %s: %s", where.constData(),
              qPrintable(reasonFor(problem, false)));
}

bool FolderWatcher::Private::updateFailure()
{
    const Problem *problem = instanceProblem ? &*instanceProblem
                             : rootProblem   ? &*rootProblem
                                             : nullptr;
    if (!problem && !unwatched.isEmpty()) {
        // Of several folders, the same one each time.
        problem =
            &*std::min_element(unwatched.cbegin(), unwatched.cend(),
                               [](const Problem &a, const Problem &b) { return a.path < b.path; });
    }
    const QString text = problem ? u"Changes to the %1 folder aren't seen: %2."_qs.arg(
                                       shownName, reasonFor(*problem, true))
                                 : QString();
    if (text == failure)
        return false;
    failure = text;
    if (text.isEmpty())
        logged.clear();
    return true;
}

bool FolderWatcher::Private::takeCall()
{
    if (!changed || !writing.isEmpty() || gatherTimer.isActive())
        return false;
    changed = false;
    // A new window starts with each call, so calls stay at least one interval apart.
    gatherTimer.start();
    return true;
}

FolderWatcher::FolderWatcher(const QString &path, std::function<void()> onChange, QObject *parent)
    : QObject(parent), d(new Private)
{
    d->q = this;
    d->onChange = std::move(onChange);
    d->gatherTimer.setSingleShot(true);
    d->gatherTimer.setTimerType(Qt::PreciseTimer);
    d->gatherTimer.setInterval(gatherInterval);
    connect(&d->gatherTimer, &QTimer::timeout, this, [this] { process(false); });
    d->quietTimer.setSingleShot(true);
    d->quietTimer.setTimerType(Qt::PreciseTimer);
    connect(&d->quietTimer, &QTimer::timeout, this, [this] { process(false); });
    d->retryTimer.setSingleShot(true);
    d->retryTimer.setInterval(retryInterval);
    connect(&d->retryTimer, &QTimer::timeout, this, [this] { process(true); });

    if (path.isEmpty())
        return;
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    d->path = QFile::encodeName(absolute);
    d->shownName = QFileInfo(absolute).fileName();
    if (d->shownName.isEmpty())
        d->shownName = absolute;
    if (d->openInstance() && !d->attach() && !d->rootProblem)
        qCInfo(lcStore, "%s is not there: watching for it to appear", d->path.constData());
    d->scheduleTimers();
    (void)d->updateFailure();
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

QString FolderWatcher::failure() const
{
    return d->failure;
}

void FolderWatcher::process(bool retrying)
{
    if (retrying)
        d->retry();
    d->readEvents();
    d->expireWriters();
    d->scheduleTimers();
    const bool failureMoved = d->updateFailure();
    std::function<void()> callback;
    if (d->takeCall())
        callback = d->onChange;
    const QPointer<FolderWatcher> self(this);
    if (failureMoved)
        emit failureChanged();
    // Last, because the callback may delete this watcher.
    if (self && callback)
        callback();
}
