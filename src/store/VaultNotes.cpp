#include "VaultNotes.h"

#include "notes/NotesIndex.h"
#include "notes/VaultWalk.h"
#include "platform/InotifyReader.h"
#include "store/Preferences.h"
#include "store/StoreLog.h"
#include "store/VaultLocations.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QSet>
#include <QSocketNotifier>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

// Only what changes the list: a note's time shows once its writer closes it (or touches it),
// not at every write, so that a program writing a big file in the vault does not wake this for
// each block. A file deleted while still open says nothing more (IN_EXCL_UNLINK).
constexpr uint32_t watchedEvents = IN_CREATE | IN_DELETE | IN_CLOSE_WRITE | IN_ATTRIB |
                                   IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF |
                                   IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;
// Reads of queued events per wake-up, so that a flood of changes leaves the thread responsive.
constexpr int maxReadsAtOnce = 64;

std::atomic<void (*)()> beforeWalk{nullptr};
// Said once a run; later the same trouble goes to the debug log.
std::atomic<bool> limitReported{false};

} // namespace

// The list as last published: a copy the worker no longer changes, so that a search on the main
// thread never waits for the worker's updates, only for the exchange of one pointer.
struct VaultNotes::Shared {
    mutable QMutex mutex;
    std::shared_ptr<const NotesIndex> index = std::make_shared<const NotesIndex>();
    std::atomic<bool> cancelled{false};
};

// Lives on the walking thread: walks, watches and applies what inotify reports.
class VaultNotes::Worker : public QObject {
public:
    Worker(std::shared_ptr<Shared> shared, VaultNotes *owner, int generation, const QString &vault,
           const QString &boardsFolder)
        : m_shared(std::move(shared)), m_owner(owner), m_generation(generation),
          m_vault(QFile::encodeName(QDir::cleanPath(vault))), m_boardsFolder(boardsFolder)
    {}

    ~Worker() override
    {
        m_notifier.reset();
        stopWatching();
        if (m_rootFd >= 0)
            ::close(m_rootFd);
    }

    void walkAll()
    {
        if (const auto hook = beforeWalk.load())
            hook();
        stopWatching();
        if (m_rootFd >= 0)
            ::close(m_rootFd);
        m_rootFd = m_vault.isEmpty()
                       ? -1
                       : ::open(m_vault.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (m_rootFd < 0) {
            m_index = NotesIndex();
            publish();
            reportWalked(false);
            return;
        }
        startWatching();
        VaultWalk walk(m_rootFd, m_boardsFolder);
        if (!walk.walk({}, [this](const QByteArray &folder) { return visit(folder); }))
            return; // cancelled
        m_index = NotesIndex(walk.take());
        publish();
        if (m_inotify >= 0) {
            m_notifier = std::make_unique<QSocketNotifier>(m_inotify, QSocketNotifier::Read);
            connect(m_notifier.get(), &QSocketNotifier::activated, this, &Worker::readEvents);
        }
        reportWalked(m_inotify >= 0);
    }

private:
    // What one read of the queue asks for.
    struct Batch {
        QSet<QByteArray> files;
        QList<QByteArray> goneFolders;
        QList<QByteArray> newFolders;
        bool overflow = false;
        bool vaultGone = false;
    };

    [[nodiscard]] bool cancelled() const { return m_shared->cancelled.load(); }

    void publish()
    {
        m_index.prepareSearch();
        // The paths and the search buffer are shared with the copy, not copied.
        auto published = std::make_shared<const NotesIndex>(m_index);
        {
            QMutexLocker lock(&m_shared->mutex);
            std::swap(m_shared->index, published);
        }
        // The old list goes here, outside the lock.
    }

    void reportWalked(bool live)
    {
        QMetaObject::invokeMethod(
            m_owner,
            [owner = m_owner, generation = m_generation, live] {
                if (owner->m_generation == generation)
                    owner->walked(live);
            },
            Qt::QueuedConnection);
    }

    void reportChanged()
    {
        QMetaObject::invokeMethod(
            m_owner,
            [owner = m_owner, generation = m_generation] {
                if (owner->m_generation == generation)
                    emit owner->changed();
            },
            Qt::QueuedConnection);
    }

    static void reportTrouble(const char *why)
    {
        if (!limitReported.exchange(true))
            qCWarning(lcStore,
                      "Changes to the vault's notes aren't followed: %s; the notes are listed "
                      "anew each time the Notes tab opens",
                      why);
        else
            qCDebug(lcStore, "the vault's notes are not watched: %s", why);
    }

    void startWatching()
    {
        m_inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (m_inotify >= 0)
            return;
        reportTrouble(errno == EMFILE ? "the system's limit of inotify instances is reached "
                                        "(raise fs.inotify.max_user_instances)"
                                      : std::strerror(errno));
    }

    // Also from within the notifier's own signal, so it is deleted later.
    void stopWatching()
    {
        if (m_notifier) {
            m_notifier->setEnabled(false);
            m_notifier.release()->deleteLater();
        }
        if (m_inotify >= 0)
            ::close(m_inotify);
        m_inotify = -1;
        m_folders.clear();
    }

    // Before a folder's entries are read: its watch, so that nothing done to it meanwhile is
    // missed.
    bool visit(const QByteArray &folder)
    {
        if (cancelled())
            return false;
        if (m_inotify < 0)
            return true;
        const QByteArray path = folder.isEmpty() ? m_vault : m_vault + '/' + folder.chopped(1);
        const int watch = ::inotify_add_watch(m_inotify, path.constData(), watchedEvents);
        if (watch >= 0) {
            m_folders.insert(watch, folder);
            return true;
        }
        const int error = errno;
        if (error == ENOSPC || error == ENOMEM) {
            reportTrouble("the system's limit of folder watches is reached "
                          "(raise fs.inotify.max_user_watches)");
            stopWatching();
        } else {
            // Unreadable or gone since it was listed: the walk finds nothing there either.
            qCDebug(lcStore, "not watching %s: %s", path.constData(), std::strerror(error));
        }
        return true;
    }

    void readEvents()
    {
        Batch batch;
        VaultWalk rules(m_rootFd, m_boardsFolder);
        readInotifyEvents(
            m_inotify, maxReadsAtOnce,
            [&](const inotify_event &event, const char *name) { take(batch, rules, event, name); });
        if (batch.vaultGone) {
            stopWatching();
            m_index = NotesIndex();
            publish();
            reportWalked(false);
        } else if (batch.overflow) {
            // Changes were lost: only a new walk knows the list now. Not from within the
            // notifier's signal, which the walk replaces.
            QMetaObject::invokeMethod(
                this, [this] { walkAll(); }, Qt::QueuedConnection);
        } else if (!batch.files.isEmpty() || !batch.goneFolders.isEmpty() ||
                   !batch.newFolders.isEmpty()) {
            apply(batch);
        }
    }

    void take(Batch &batch, const VaultWalk &rules, const inotify_event &event, const char *name)
    {
        if (event.mask & IN_Q_OVERFLOW) {
            batch.overflow = true;
            return;
        }
        const auto folder = m_folders.constFind(event.wd);
        if (folder == m_folders.cend())
            return;
        if (event.mask & IN_IGNORED) {
            if (folder->isEmpty())
                batch.vaultGone = true;
            m_folders.erase(folder);
            return;
        }
        if (*name == '\0') {
            // A subfolder's own removal or move is handled through its parent's event.
            if (folder->isEmpty() && (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF)))
                batch.vaultGone = true;
            return;
        }
        const QByteArray path = *folder + name;
        if (!rules.isListed(path))
            return;
        if (event.mask & IN_ISDIR) {
            if (event.mask & (IN_DELETE | IN_MOVED_FROM))
                batch.goneFolders.append(path + '/');
            if (event.mask & (IN_CREATE | IN_MOVED_TO))
                batch.newFolders.append(path + '/');
        }
        if (VaultWalk::isNoteName(name))
            batch.files.insert(path);
    }

    void apply(Batch &batch)
    {
        // A folder that left takes its watches along; one moved elsewhere in the vault would
        // otherwise go on reporting under its old name.
        for (const QByteArray &gone : std::as_const(batch.goneFolders)) {
            for (auto it = m_folders.begin(); it != m_folders.end();) {
                if (it->startsWith(gone)) {
                    ::inotify_rm_watch(m_inotify, it.key());
                    it = m_folders.erase(it);
                } else {
                    ++it;
                }
            }
        }
        // A folder made with its subfolders is walked once, from the top.
        std::sort(batch.newFolders.begin(), batch.newFolders.end());
        VaultWalk walk(m_rootFd, m_boardsFolder);
        QByteArray walked;
        for (const QByteArray &folder : std::as_const(batch.newFolders)) {
            if (!walked.isEmpty() && folder.startsWith(walked))
                continue;
            walked = folder;
            if (!walk.walk(folder, [this](const QByteArray &each) { return visit(each); }))
                return; // cancelled
        }
        std::vector<NotesIndex::Entry> found = walk.take();
        QSet<QByteArray> gone;
        for (const QByteArray &file : std::as_const(batch.files)) {
            if (const auto note = walk.note(file))
                found.push_back(*note);
            else
                gone.insert(file);
        }
        m_index.update(std::move(found), gone, batch.goneFolders);
        publish();
        if (m_inotify < 0)
            reportWalked(false); // the system stopped the watching
        else
            reportChanged();
    }

    std::shared_ptr<Shared> m_shared;
    VaultNotes *m_owner;
    int m_generation;
    // The list this changes; published as a copy after each change.
    NotesIndex m_index;
    QByteArray m_vault;
    QString m_boardsFolder;
    int m_rootFd = -1;
    int m_inotify = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    // Each watch's folder: "" for the vault, otherwise "a/b/".
    QHash<int, QByteArray> m_folders;
};

VaultNotes::VaultNotes(const Preferences *preferences, const VaultLocations *locations,
                       QObject *parent)
    : QObject(parent), m_preferences(preferences), m_locations(locations),
      m_shared(std::make_shared<Shared>())
{
    connect(locations, &VaultLocations::changed, this, [this] {
        if (m_thread &&
            (m_locations->vaultDir() != m_vault || m_preferences->boardsFolder() != m_boardsFolder))
            relocate();
    });
}

VaultNotes::~VaultNotes()
{
    stop();
}

void VaultNotes::setBeforeWalkForTesting(void (*hook)())
{
    beforeWalk = hook;
}

void VaultNotes::require()
{
    if (m_loading || (m_worker && m_live))
        return;
    if (!m_thread) {
        m_vault = m_locations->vaultDir();
        m_boardsFolder = m_preferences->boardsFolder();
        m_thread = new QThread(this);
        m_thread->setObjectName(QStringLiteral("vault notes"));
        m_worker = new Worker(m_shared, this, m_generation, m_vault, m_boardsFolder);
        m_worker->moveToThread(m_thread);
        connect(m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
        m_thread->start(QThread::LowPriority);
    }
    setLoading(true);
    QMetaObject::invokeMethod(
        m_worker, [worker = m_worker] { worker->walkAll(); }, Qt::QueuedConnection);
}

void VaultNotes::walked(bool live)
{
    m_live = live;
    m_known = true;
    setLoading(false);
    emit changed();
}

void VaultNotes::setLoading(bool loading)
{
    if (m_loading == loading)
        return;
    m_loading = loading;
    emit loadingChanged();
}

void VaultNotes::stop()
{
    if (!m_thread)
        return;
    m_shared->cancelled = true;
    m_thread->quit();
    // At most the folder the walk is reading; the worker is deleted as the thread ends.
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
    m_worker = nullptr;
    ++m_generation;
}

void VaultNotes::relocate()
{
    stop();
    m_shared = std::make_shared<Shared>();
    m_live = false;
    m_known = false;
    setLoading(false);
    emit changed();
}

std::shared_ptr<const NotesIndex> VaultNotes::published() const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->index;
}

qsizetype VaultNotes::size() const
{
    return published()->size();
}

QList<NoteFile> VaultNotes::shown(const QString &query) const
{
    return published()->shown(query);
}
