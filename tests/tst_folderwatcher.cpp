#include "io/TextFile.h"
#include "store/FolderWatcher.h"
#include "support/UsedUpInotify.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int gatherMs = int(FolderWatcher::gatherInterval.count());
// A call that comes this soon after the change was not held back for a gathering window.
constexpr qint64 promptMs = gatherMs / 2;
// Long enough for a watcher to deliver what it gathered and fall quiet.
constexpr int settleMs = 3 * gatherMs;
constexpr int retryMs = int(std::chrono::milliseconds(FolderWatcher::retryInterval).count());
// Generous, for states that come about by themselves on a busy machine.
constexpr int patienceMs = 5000;

// Counts calls with their times and what `probe` saw at each; shared so that a call after the
// watcher is gone is still seen.
struct Calls {
    QElapsedTimer clock;
    QList<qint64> at;
    std::function<QByteArray()> probe;
    QList<QByteArray> seen;
    bool allOnMainThread = true;

    Calls() { clock.start(); }
    [[nodiscard]] qsizetype count() const { return at.size(); }
    [[nodiscard]] qint64 now() const { return clock.elapsed(); }

    static std::function<void()> recorder(const std::shared_ptr<Calls> &calls)
    {
        return [calls] {
            calls->at.append(calls->clock.elapsed());
            if (calls->probe)
                calls->seen.append(calls->probe());
            if (QThread::currentThread() != QCoreApplication::instance()->thread())
                calls->allOnMainThread = false;
        };
    }
};

bool writeFile(const QString &path, const QByteArray &data = "- [ ] item\n")
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Append) && file.write(data) == data.size();
}

bool makeFolder(const QString &path)
{
    return QDir().mkdir(path);
}

bool renameFile(const QString &from, const QString &to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(unreadable)");
}

bool setOpen(const QString &folder, bool open)
{
    return QFile::setPermissions(folder, open ? QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                    QFileDevice::ExeOwner
                                              : QFileDevice::Permissions{});
}

// Bytes of events queued and not yet read on all inotify instances of this process.
qint64 unreadInotifyBytes()
{
    qint64 total = 0;
    DIR *fds = ::opendir("/proc/self/fd");
    if (!fds)
        return -1;
    while (const dirent *entry = ::readdir(fds)) {
        const QByteArray link = "/proc/self/fd/" + QByteArray(entry->d_name);
        char target[64] = {};
        if (::readlink(link.constData(), target, sizeof target - 1) <= 0 ||
            qstrcmp(target, "anon_inode:inotify") != 0)
            continue;
        int queued = 0;
        if (::ioctl(std::atoi(entry->d_name), FIONREAD, &queued) == 0)
            total += queued;
    }
    ::closedir(fds);
    return total;
}

// Waits until the watchers have read every event so far. Once they have, a call those events
// were going to cause at once has been made: what happens next cannot be mistaken for them.
bool waitUntilRead()
{
    return QTest::qWaitFor([] { return unreadInotifyBytes() == 0; }, patienceMs);
}

} // namespace

class TestFolderWatcher : public QObject {
    Q_OBJECT

private:
    std::shared_ptr<Calls> m_calls;
    std::unique_ptr<QTemporaryDir> m_dir;

    [[nodiscard]] QString path(const QString &relative) const { return m_dir->filePath(relative); }

    std::unique_ptr<FolderWatcher> watch(const QString &folder)
    {
        return std::make_unique<FolderWatcher>(folder, Calls::recorder(m_calls));
    }

    // Waits until whatever was gathered has been delivered, then forgets all calls so far.
    void settle()
    {
        QTest::qWait(settleMs);
        m_calls->at.clear();
        m_calls->seen.clear();
    }

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_qs));
        m_calls = std::make_shared<Calls>();
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }

    void cleanup()
    {
        QVERIFY(m_calls->allOnMainThread);
        m_dir.reset();
    }

    void writeIsReportedAtOnce()
    {
        QVERIFY(writeFile(path(u"2025-03-07.md"_qs)));
        const auto watcher = watch(m_dir->path());
        QVERIFY(watcher->isActive());
        QTest::qWait(100);
        QCOMPARE(m_calls->count(), 0);

        const qint64 wrote = m_calls->now();
        QVERIFY(writeFile(path(u"2025-03-07.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        const qint64 latency = m_calls->at.first() - wrote;
        QVERIFY2(latency < promptMs, qPrintable(u"reported after %1 ms"_qs.arg(latency)));
        QTest::qWait(settleMs);
        QCOMPARE(m_calls->count(), 1);
    }

    void burstGivesOneCallAtOnceAndOneGathered()
    {
        const auto watcher = watch(m_dir->path());
        QVERIFY(watcher->isActive());

        const qint64 start = m_calls->now();
        qint64 lastWrite = start;
        for (int i = 0; i < 100; ++i) {
            QVERIFY(writeFile(path(u"file-%1.md"_qs.arg(i % 10))));
            lastWrite = m_calls->now();
            QCoreApplication::processEvents();
            if (i % 5 == 4)
                QThread::msleep(5);
        }
        const qint64 burstEnd = m_calls->now();

        // Nothing is lost: a call comes after the last write.
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 2 && m_calls->at.last() >= lastWrite,
                                 patienceMs);
        const QList<qint64> at = m_calls->at;
        const qint64 first = at.first();
        QVERIFY2(first - start < promptMs, qPrintable(u"first after %1 ms"_qs.arg(first - start)));
        for (qsizetype i = 1; i < at.size(); ++i) {
            QVERIFY2(at[i] - at[i - 1] >= gatherMs,
                     qPrintable(u"call %1 came %2 ms after the one before"_qs.arg(i).arg(
                         at[i] - at[i - 1])));
        }
        QVERIFY2(at.last() - at[at.size() - 2] < 3 * gatherMs,
                 qPrintable(u"the last call came %1 ms after the one before"_qs.arg(
                     at.last() - at[at.size() - 2])));
        // Each gathered call but the last has later changes to wait for, so there are no more
        // calls than windows the burst spans: for a burst shorter than a window, one at once and
        // one gathered, however busy the machine.
        QVERIFY2(
            (at.size() - 2) * gatherMs < burstEnd - first,
            qPrintable(u"%1 calls for a burst of %2 ms"_qs.arg(at.size()).arg(burstEnd - start)));

        // Quiet again: the next change is reported at once.
        QTest::qWait(settleMs);
        const qsizetype before = m_calls->count();
        QCOMPARE(before, at.size());
        const qint64 wrote = m_calls->now();
        QVERIFY(writeFile(path(u"file-0.md"_qs)));
        QTRY_COMPARE_WITH_TIMEOUT(m_calls->count(), before + 1, patienceMs);
        QVERIFY2(m_calls->at.last() - wrote < promptMs,
                 qPrintable(u"reported after %1 ms"_qs.arg(m_calls->at.last() - wrote)));
    }

    void newSubfoldersAreWatched()
    {
        const auto watcher = watch(m_dir->path());
        QVERIFY(makeFolder(path(u"Notes"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        QVERIFY(writeFile(path(u"Notes/idea.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        // The inner folder and the file exist before the watcher hears of the outer folder.
        QVERIFY(makeFolder(path(u"Notes/2025"_qs)));
        QVERIFY(makeFolder(path(u"Notes/2025/March"_qs)));
        QVERIFY(makeFolder(path(u"Notes/2025/March/Week 10"_qs)));
        QVERIFY(writeFile(path(u"Notes/2025/March/Week 10/07.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        QVERIFY(writeFile(path(u"Notes/2025/March/Week 10/07.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        QVERIFY(makeFolder(path(u"Notes/2025/March/.hidden"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();
        QVERIFY(writeFile(path(u"Notes/2025/March/.hidden/x.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
    }

    void foldersPresentAtStartAreWatched()
    {
        QVERIFY(makeFolder(path(u"a"_qs)));
        QVERIFY(makeFolder(path(u"a/b"_qs)));
        QVERIFY(makeFolder(path(u"a/b/.c"_qs)));
        const auto watcher = watch(m_dir->path());
        QVERIFY(writeFile(path(u"a/b/.c/deep.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
    }

    void foldersMovedInOutAndAround()
    {
        QTemporaryDir outside;
        QVERIFY(outside.isValid());
        QVERIFY(makeFolder(outside.filePath(u"Archive"_qs)));
        QVERIFY(makeFolder(outside.filePath(u"Archive/2024"_qs)));
        const auto watcher = watch(m_dir->path());

        QVERIFY(renameFile(outside.filePath(u"Archive"_qs), path(u"Archive"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();
        QVERIFY(writeFile(path(u"Archive/2024/old.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        QVERIFY(renameFile(path(u"Archive"_qs), path(u"Attic"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();
        QVERIFY(writeFile(path(u"Attic/2024/old.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        QVERIFY(renameFile(path(u"Attic"_qs), outside.filePath(u"Attic"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();
        QVERIFY(writeFile(outside.filePath(u"Attic/2024/old.md"_qs)));
        QTest::qWait(settleMs);
        QCOMPARE(m_calls->count(), 0);
    }

    void atomicSaveIsReported()
    {
        const QString target = path(u"Board.md"_qs);
        const QString staged = path(u"Board.md.staged"_qs);
        QVERIFY(writeFile(target, "old\n"));
        QVERIFY(writeFile(staged, "new\n"));
        const auto watcher = watch(m_dir->path());
        QTest::qWait(100);
        QCOMPARE(m_calls->count(), 0);

        // Only the rename happens while watching.
        const qint64 renamed = m_calls->now();
        QVERIFY(renameFile(staged, target));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        QVERIFY(m_calls->at.first() - renamed < promptMs);
        settle();

        // A whole save: the file written beside the target, then renamed over it.
        QVERIFY(writeFile(staged, "newer\n"));
        QVERIFY(renameFile(staged, target));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        // The file keeps being watched after being replaced.
        QVERIFY(writeFile(target, "newest\n"));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
    }

    void temporaryFilesAreIgnored()
    {
        const QStringList candidates = {
            u".2025-03-07.md.tallowfern-abc123"_qs,
            u".2025-03-07.md.tallowfern-tmp-abc123"_qs,
            u".2025-03-07.md.tf-abc123"_qs,
            u"2025-03-07.md.tallowfern-tmp-abc123"_qs,
            u".2025-03-07.md.tmp"_qs,
        };
        QString temporary;
        for (const QString &candidate : candidates) {
            if (TextFile::isTemporaryName(candidate)) {
                temporary = candidate;
                break;
            }
        }
        if (temporary.isEmpty())
            QSKIP("TextFile::isTemporaryName() accepts none of the candidate names");
        const QString otherTemporary = temporary.chopped(1) + u'9';
        if (!TextFile::isTemporaryName(otherTemporary))
            QSKIP("TextFile::isTemporaryName() accepts only one exact name");

        QVERIFY(makeFolder(path(u"Notes"_qs)));
        const auto watcher = watch(m_dir->path());
        QVERIFY(writeFile(path(temporary), "draft\n"));
        QVERIFY(writeFile(path(temporary), "more\n"));
        QVERIFY(renameFile(path(temporary), path(otherTemporary)));
        QVERIFY(QFile::remove(path(otherTemporary)));
        QVERIFY(writeFile(path(u"Notes/"_qs + temporary), "draft\n"));
        QVERIFY(QFile::remove(path(u"Notes/"_qs + temporary)));
        QTest::qWait(settleMs);
        QCOMPARE(m_calls->count(), 0);

        // Renaming one over a real file is a change to that file.
        QVERIFY(writeFile(path(temporary), "saved\n"));
        QVERIFY(renameFile(path(temporary), path(u"2025-03-07.md"_qs)));
        QTRY_COMPARE_WITH_TIMEOUT(m_calls->count(), 1, 2000);
    }

    void completeChangesAreReportedAtOnce_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("file made and closed") << u"made"_qs;
        QTest::newRow("file renamed into place") << u"renamed"_qs;
        QTest::newRow("file removed") << u"removed"_qs;
        QTest::newRow("folder made") << u"folder"_qs;
    }

    // Only files still open for writing wait; these are whole at once.
    void completeChangesAreReportedAtOnce()
    {
        QFETCH(QString, kind);
        const QString outside = path(u"elsewhere"_qs);
        QVERIFY(makeFolder(outside));
        QVERIFY(makeFolder(path(u"vault"_qs)));
        QVERIFY(writeFile(path(u"vault/old.md"_qs)));
        QVERIFY(writeFile(outside + u"/new.md"_qs));
        const auto watcher = watch(path(u"vault"_qs));

        const qint64 changed = m_calls->now();
        if (kind == u"made")
            QVERIFY(writeFile(path(u"vault/new.md"_qs)));
        else if (kind == u"renamed")
            QVERIFY(renameFile(outside + u"/new.md"_qs, path(u"vault/new.md"_qs)));
        else if (kind == u"removed")
            QVERIFY(QFile::remove(path(u"vault/old.md"_qs)));
        else
            QVERIFY(makeFolder(path(u"vault/new"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, patienceMs);
        const qint64 latency = m_calls->at.first() - changed;
        QVERIFY2(latency < FolderWatcher::openWriterQuiet.count(),
                 qPrintable(u"reported after %1 ms"_qs.arg(latency)));
    }

    void halfWrittenFileIsHeldBack_data()
    {
        QTest::addColumn<bool>("existing");
        QTest::addColumn<bool>("closes");
        QTest::newRow("rewritten in place") << true << true;
        QTest::newRow("made new") << false << true;
        QTest::newRow("kept open") << true << false;
    }

    // Written the way editors save in place: truncated, written in parts, closed.
    void halfWrittenFileIsHeldBack()
    {
        QFETCH(bool, existing);
        QFETCH(bool, closes);
        const QString file = path(u"2025-03-07.md"_qs);
        if (existing)
            QVERIFY(writeFile(file, "- [ ] old\n"));
        m_calls->probe = [file] { return readFile(file); };
        const auto watcher = watch(m_dir->path());
        QVERIFY(watcher->isActive());

        const QByteArray whole = "- [ ] buy milk\n- [ ] call the plumber\n- [x] water the plants\n";
        const qsizetype half = whole.size() / 2;
        int fd = ::open(QFile::encodeName(file).constData(),
                        O_WRONLY | O_CLOEXEC | (existing ? O_TRUNC : O_CREAT | O_EXCL), 0644);
        QVERIFY(fd >= 0);
        const auto closeFile = qScopeGuard([&fd] {
            if (fd >= 0)
                ::close(fd);
        });
        QCOMPARE(::write(fd, whole.constData(), size_t(half)), ssize_t(half));
        // The watcher has heard of the truncation and the first half and said nothing.
        QVERIFY(waitUntilRead());
        QCOMPARE(m_calls->count(), 0);

        QCOMPARE(::write(fd, whole.constData() + half, size_t(whole.size() - half)),
                 ssize_t(whole.size() - half));
        if (closes) {
            QCOMPARE(::close(std::exchange(fd, -1)), 0);
            QTRY_COMPARE_WITH_TIMEOUT(m_calls->count(), 1, patienceMs);
        } else {
            // A writer that keeps the file open is heard once it leaves the file alone.
            QTRY_COMPARE_WITH_TIMEOUT(m_calls->count(), 1, patienceMs);
        }
        QCOMPARE(m_calls->seen.first(), whole);
    }

    void pathWatchedOnceItCan_data()
    {
        QTest::addColumn<QString>("relative");
        QTest::addColumn<QString>("kind");
        // The folder that cannot be looked into, for permissions.
        QTest::addColumn<QString>("locked");

        QTest::newRow("missing") << u"missing"_qs << u"missing"_qs << QString();
        QTest::newRow("missing parent") << u"missing/vault"_qs << u"missing"_qs << QString();
        QTest::newRow("regular file") << u"file.md"_qs << u"file"_qs << QString();
        QTest::newRow("no permission") << u"locked"_qs << u"locked"_qs << u"locked"_qs;
        QTest::newRow("no permission above") << u"locked/vault"_qs << u"locked"_qs << u"locked"_qs;
        QTest::newRow("empty path") << QString() << u"empty"_qs << QString();
    }

    // Whatever keeps the folder from being watched at first, it is watched once it can be.
    void pathWatchedOnceItCan()
    {
        QFETCH(QString, relative);
        QFETCH(QString, kind);
        QFETCH(QString, locked);
        const QString target = relative.isEmpty() ? QString() : path(relative);

        if (kind == u"file") {
            QVERIFY(writeFile(target));
        } else if (kind == u"locked") {
            if (::geteuid() == 0)
                QSKIP("permissions do not apply to root");
            QVERIFY(QDir().mkpath(target));
            QVERIFY(setOpen(path(locked), false));
            // The log says why nothing is watched.
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(u"^cannot watch "_qs +
                                                    QRegularExpression::escape(path(locked)) +
                                                    u": permission denied$"_qs));
        }
        const auto reopen = qScopeGuard([&] {
            if (!locked.isEmpty())
                setOpen(path(locked), true);
        });

        const auto watcher = watch(target);
        QVERIFY(!watcher->isActive());
        if (kind == u"locked") {
            QVERIFY2(watcher->failure().contains(u"permission denied (%1)"_qs.arg(path(locked))),
                     qPrintable(watcher->failure()));
        } else {
            QCOMPARE(watcher->failure(), QString());
        }

        if (kind == u"empty") {
            QVERIFY(writeFile(path(u"beside.md"_qs)));
            QTest::qWait(settleMs);
            QCOMPARE(m_calls->count(), 0);
            QVERIFY(!watcher->isActive());
            return;
        }
        QSignalSpy failureChanges(watcher.get(), &FolderWatcher::failureChanged);
        if (kind == u"missing") {
            QVERIFY(QDir().mkpath(target));
        } else if (kind == u"file") {
            QVERIFY(QFile::remove(target));
            QVERIFY(makeFolder(target));
        } else {
            QVERIFY(setOpen(path(locked), true));
        }
        QTRY_VERIFY_WITH_TIMEOUT(watcher->isActive() && m_calls->count() >= 1, patienceMs);
        QCOMPARE(watcher->failure(), QString());
        QCOMPARE(failureChanges.count(), kind == u"locked" ? 1 : 0);

        settle();
        QVERIFY(writeFile(target + u"/late.md"_qs));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, patienceMs);
    }

    void unreadableSubfolderIsReported()
    {
        if (::geteuid() == 0)
            QSKIP("permissions do not apply to root");
        const QString locked = path(u"locked"_qs);
        QVERIFY(makeFolder(locked));
        QVERIFY(setOpen(locked, false));
        const auto reopen = qScopeGuard([&] { setOpen(locked, true); });
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(u"cannot watch %1: permission denied"_qs.arg(locked)));
        const auto watcher = watch(m_dir->path());
        QVERIFY(watcher->isActive());
        QVERIFY2(watcher->failure().contains(u"permission denied (%1)"_qs.arg(locked)),
                 qPrintable(watcher->failure()));
        QVERIFY(!watcher->failure().contains(u'\n'));

        // The rest is watched all the same.
        QVERIFY(writeFile(path(u"open.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, patienceMs);

        // And the folder as soon as it may be.
        QSignalSpy failureChanges(watcher.get(), &FolderWatcher::failureChanged);
        QVERIFY(setOpen(locked, true));
        QTRY_COMPARE_WITH_TIMEOUT(watcher->failure(), QString(), patienceMs);
        QCOMPARE(failureChanges.count(), 1);
        settle();
        QVERIFY(writeFile(locked + u"/x.md"_qs));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, patienceMs);
    }

    void instanceLimitIsReported()
    {
        UsedUpInotify used;
        if (!used.limitReached)
            QSKIP(used.reason);

        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(u"^cannot watch "_qs + QRegularExpression::escape(m_dir->path()) +
                               u": .*\\(raise fs\\.inotify\\.max_user_instances\\)$"_qs));
        const auto watcher = watch(m_dir->path());
        used.giveBack();
        QVERIFY(!watcher->isActive());
        const QString failure = watcher->failure();
        QVERIFY2(failure.contains(u"fs.inotify.max_user_instances"_qs), qPrintable(failure));
        QVERIFY2(failure.startsWith(u"Changes to the %1 folder aren't seen: "_qs.arg(
                     QFileInfo(m_dir->path()).fileName())),
                 qPrintable(failure));
        QVERIFY(!failure.contains(u'\n'));

        // Watching starts by itself once instances are to be had.
        QSignalSpy failureChanges(watcher.get(), &FolderWatcher::failureChanged);
        QTRY_VERIFY_WITH_TIMEOUT(watcher->isActive(), 4 * retryMs);
        QCOMPARE(watcher->failure(), QString());
        QCOMPARE(failureChanges.count(), 1);
        settle();
        QVERIFY(writeFile(path(u"x.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, patienceMs);
    }

    void noCallsAfterDestruction_data()
    {
        QTest::addColumn<bool>("withPendingGathered");
        QTest::newRow("unread events") << false;
        QTest::newRow("gathered call pending") << true;
    }

    void noCallsAfterDestruction()
    {
        QFETCH(bool, withPendingGathered);
        auto watcher = watch(m_dir->path());
        QVERIFY(watcher->isActive());
        qsizetype expected = 0;
        if (withPendingGathered) {
            QVERIFY(writeFile(path(u"a.md"_qs)));
            QTRY_COMPARE_WITH_TIMEOUT(m_calls->count(), 1, 2000);
            expected = 1;
            QVERIFY(writeFile(path(u"a.md"_qs)));
            // Let the watcher read the second change, so that a call is waiting for the window.
            QTest::qWait(50);
            QCOMPARE(m_calls->count(), 1);
        } else {
            QVERIFY(writeFile(path(u"a.md"_qs)));
        }
        watcher.reset();
        QVERIFY(writeFile(path(u"a.md"_qs)));
        QTest::qWait(settleMs);
        QCOMPARE(m_calls->count(), expected);
    }

    void callbackMayDeleteTheWatcher_data()
    {
        QTest::addColumn<int>("deletingCall");
        QTest::newRow("immediate call") << 1;
        QTest::newRow("gathered call") << 2;
    }

    void callbackMayDeleteTheWatcher()
    {
        QFETCH(int, deletingCall);
        std::unique_ptr<FolderWatcher> watcher;
        int calls = 0;
        watcher = std::make_unique<FolderWatcher>(m_dir->path(), [&] {
            if (++calls == deletingCall)
                watcher.reset();
        });
        QVERIFY(writeFile(path(u"a.md"_qs)));
        QTRY_COMPARE_WITH_TIMEOUT(calls, 1, 2000);
        QVERIFY(writeFile(path(u"b.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(!watcher, 2000);
        QCOMPARE(calls, deletingCall);
        QVERIFY(writeFile(path(u"a.md"_qs)));
        QTest::qWait(settleMs);
        QCOMPARE(calls, deletingCall);
    }

    void symlinksAreNotFollowed()
    {
        QTemporaryDir outside;
        QVERIFY(outside.isValid());
        QVERIFY(makeFolder(path(u"a"_qs)));
        QVERIFY(QFile::link(m_dir->path(), path(u"a/loop"_qs)));
        QVERIFY(QFile::link(u"."_qs, path(u"a/self"_qs)));
        QVERIFY(QFile::link(outside.path(), path(u"elsewhere"_qs)));

        QElapsedTimer clock;
        clock.start();
        const auto watcher = watch(m_dir->path());
        QVERIFY(clock.elapsed() < 5000);
        QVERIFY(watcher->isActive());

        // A loop made while watching is not descended either.
        QVERIFY(QFile::link(path(u"a"_qs), path(u"a/back"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        settle();

        QVERIFY(writeFile(outside.filePath(u"foreign.md"_qs)));
        QTest::qWait(settleMs);
        QCOMPARE(m_calls->count(), 0);

        QVERIFY(writeFile(path(u"a/x.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
    }

    void symlinkedTopFolderIsFollowed()
    {
        QVERIFY(makeFolder(path(u"vault"_qs)));
        QVERIFY(QFile::link(path(u"vault"_qs), path(u"link"_qs)));
        const auto watcher = watch(path(u"link"_qs));
        QVERIFY(watcher->isActive());
        QVERIFY(writeFile(path(u"vault/x.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
    }

    void recreatedSubfolderKeepsReporting()
    {
        QVERIFY(makeFolder(path(u"Daily"_qs)));
        QVERIFY(writeFile(path(u"Daily/x.md"_qs)));
        const auto watcher = watch(m_dir->path());
        for (int round = 0; round < 3; ++round) {
            QVERIFY(QDir(path(u"Daily"_qs)).removeRecursively());
            QVERIFY(makeFolder(path(u"Daily"_qs)));
            QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
            settle();
            QVERIFY(writeFile(path(u"Daily/x.md"_qs)));
            QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
            settle();
        }
    }

    void topFolderComesBack_data()
    {
        QTest::addColumn<QString>("how");
        // Whether the watcher sees the folder gone before it comes back.
        QTest::addColumn<bool>("seenGone");
        QTest::addColumn<bool>("viaLink");

        QTest::newRow("removed, made again") << u"removed"_qs << true << false;
        QTest::newRow("removed, made again at once") << u"removed"_qs << false << false;
        QTest::newRow("renamed away and back") << u"back"_qs << true << false;
        QTest::newRow("renamed away and back at once") << u"back"_qs << false << false;
        QTest::newRow("renamed away, new one made") << u"replaced"_qs << true << false;
        QTest::newRow("renamed away, new one made at once") << u"replaced"_qs << false << false;
        QTest::newRow("parent removed, path made again") << u"parent"_qs << true << false;
        QTest::newRow("symlink target removed, made again") << u"removed"_qs << true << true;
    }

    // The path is watched, not the folder that was there: sync tools and checkouts remove and
    // make folders again.
    void topFolderComesBack()
    {
        QFETCH(QString, how);
        QFETCH(bool, seenGone);
        QFETCH(bool, viaLink);
        const QString root = path(u"vault/boards"_qs);
        const QString away = path(u"vault/boards.old"_qs);
        const QString marker = root + u"/marker.md"_qs;
        QVERIFY(QDir().mkpath(root));
        QVERIFY(writeFile(root + u"/2025-03-07.md"_qs));
        const QString watched = viaLink ? path(u"link"_qs) : root;
        if (viaLink)
            QVERIFY(QFile::link(root, watched));
        m_calls->probe = [root, marker] {
            QByteArray state = QFileInfo(root).isDir() ? "there" : "gone";
            if (QFileInfo::exists(marker))
                state += "+marker";
            return state;
        };
        const auto watcher = watch(watched);
        QVERIFY(watcher->isActive());

        if (how == u"removed")
            QVERIFY(QDir(root).removeRecursively());
        else if (how == u"parent")
            QVERIFY(QDir(path(u"vault"_qs)).removeRecursively());
        else
            QVERIFY(renameFile(root, away));
        if (seenGone) {
            QTRY_VERIFY_WITH_TIMEOUT(!watcher->isActive(), patienceMs);
            settle();
            if (QFileInfo(away).isDir()) {
                // Not the watched folder any more.
                QVERIFY(writeFile(away + u"/while-gone.md"_qs));
                QVERIFY(waitUntilRead());
            }
        }
        if (how == u"back")
            QVERIFY(renameFile(away, root));
        else
            QVERIFY(QDir().mkpath(root));
        QTRY_VERIFY_WITH_TIMEOUT(watcher->isActive() && m_calls->count() >= 1, patienceMs);
        QCOMPARE(watcher->failure(), QString());
        if (seenGone) {
            // Nothing was reported while it was gone.
            for (const QByteArray &state : std::as_const(m_calls->seen))
                QCOMPARE(state, QByteArray("there"));
        }

        settle();
        if (QFileInfo(away).isDir()) {
            QVERIFY(writeFile(away + u"/after.md"_qs));
            QVERIFY(waitUntilRead());
        }
        QVERIFY(writeFile(marker));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, patienceMs);
        // The only calls are for the write into the folder at the path.
        for (const QByteArray &state : std::as_const(m_calls->seen))
            QCOMPARE(state, QByteArray("there+marker"));
    }

    // When the kernel drops events, folders made meanwhile must still be found.
    void overflowFindsFoldersMadeMeanwhile()
    {
        QFile limitFile(u"/proc/sys/fs/inotify/max_queued_events"_qs);
        QVERIFY(limitFile.open(QIODevice::ReadOnly));
        const int limit = limitFile.readAll().trimmed().toInt();
        if (limit <= 0 || limit > 100000)
            QSKIP("the event queue is too long to fill in a test");

        QVERIFY(makeFolder(path(u"flood"_qs)));
        const auto watcher = watch(m_dir->path());
        // Each new file queues two events: created, closed after writing.
        for (int i = 0; i < limit / 2 + 100; ++i) {
            const QByteArray name = QFile::encodeName(path(u"flood/%1"_qs.arg(i)));
            const int fd = ::open(name.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            QVERIFY(fd >= 0);
            ::close(fd);
        }
        QVERIFY(makeFolder(path(u"late"_qs)));
        QVERIFY(makeFolder(path(u"late/later"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 5000);
        settle();

        QVERIFY(writeFile(path(u"late/later/x.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
    }
};

QTEST_GUILESS_MAIN(TestFolderWatcher)
#include "tst_folderwatcher.moc"
