#include "io/TextFile.h"
#include "store/FolderWatcher.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int gatherMs = int(FolderWatcher::gatherInterval.count());
// A call that comes this soon after the change was not held back for a gathering window.
constexpr qint64 promptMs = gatherMs / 2;
// Long enough for a watcher to deliver what it gathered and fall quiet.
constexpr int settleMs = 3 * gatherMs;

// Counts calls with their times; shared so that a call after the watcher is gone is still seen.
struct Calls {
    QElapsedTimer clock;
    QList<qint64> at;
    bool allOnMainThread = true;

    Calls() { clock.start(); }
    [[nodiscard]] qsizetype count() const { return at.size(); }
    [[nodiscard]] qint64 now() const { return clock.elapsed(); }

    static std::function<void()> recorder(const std::shared_ptr<Calls> &calls)
    {
        return [calls] {
            calls->at.append(calls->clock.elapsed());
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
        for (int i = 0; i < 100; ++i) {
            QVERIFY(writeFile(path(u"file-%1.md"_qs.arg(i % 10))));
            QCoreApplication::processEvents();
            if (i % 5 == 4)
                QThread::msleep(5);
        }
        const qint64 burstEnd = m_calls->now();
        QVERIFY2(burstEnd - start < gatherMs - 50,
                 qPrintable(u"the burst took %1 ms"_qs.arg(burstEnd - start)));

        QTest::qWait(1000);
        QCOMPARE(m_calls->count(), 2);
        const qint64 first = m_calls->at[0];
        const qint64 second = m_calls->at[1];
        QVERIFY2(first - start < promptMs, qPrintable(u"first after %1 ms"_qs.arg(first - start)));
        QVERIFY2(second - first >= gatherMs,
                 qPrintable(u"second %1 ms after the first"_qs.arg(second - first)));
        QVERIFY2(second - first < 3 * gatherMs,
                 qPrintable(u"second %1 ms after the first"_qs.arg(second - first)));
        QVERIFY(second >= burstEnd);

        // Quiet again: the next change is reported at once.
        const qint64 wrote = m_calls->now();
        QVERIFY(writeFile(path(u"file-0.md"_qs)));
        QTRY_COMPARE_WITH_TIMEOUT(m_calls->count(), 3, 2000);
        QVERIFY2(m_calls->at[2] - wrote < promptMs,
                 qPrintable(u"reported after %1 ms"_qs.arg(m_calls->at[2] - wrote)));
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

    void unwatchableFolderLeavesItInert_data()
    {
        QTest::addColumn<QString>("relative");
        QTest::addColumn<QString>("kind");

        QTest::newRow("missing") << u"missing"_qs << u"missing"_qs;
        QTest::newRow("missing parent") << u"missing/vault"_qs << u"missing"_qs;
        QTest::newRow("regular file") << u"file.md"_qs << u"file"_qs;
        QTest::newRow("empty path") << QString() << u"empty"_qs;
        QTest::newRow("no permission") << u"locked"_qs << u"locked"_qs;
    }

    void unwatchableFolderLeavesItInert()
    {
        QFETCH(QString, relative);
        QFETCH(QString, kind);
        const QString target = relative.isEmpty() ? QString() : path(relative);

        if (kind == u"file") {
            QVERIFY(writeFile(target));
        } else if (kind == u"locked") {
            if (::geteuid() == 0)
                QSKIP("permissions do not apply to root");
            QVERIFY(makeFolder(target));
            QVERIFY(QFile::setPermissions(target, QFileDevice::Permissions{}));
        }

        // The log says why nothing is watched.
        if (!target.isEmpty())
            QTest::ignoreMessage(
                QtWarningMsg, QRegularExpression(u"^cannot watch "_qs +
                                                 QRegularExpression::escape(target) + u": .+"_qs));
        const auto watcher = watch(target);
        QVERIFY(!watcher->isActive());

        if (kind == u"file") {
            QVERIFY(writeFile(target));
        } else if (kind == u"missing") {
            QVERIFY(QDir().mkpath(target));
            QVERIFY(writeFile(target + u"/late.md"_qs));
        } else if (kind == u"locked") {
            QVERIFY(QFile::setPermissions(target, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                      QFileDevice::ExeOwner));
            QVERIFY(writeFile(target + u"/late.md"_qs));
        }
        QVERIFY(writeFile(path(u"beside.md"_qs)));
        QTest::qWait(settleMs);
        QCOMPARE(m_calls->count(), 0);
        QVERIFY(!watcher->isActive());
    }

    void unreadableSubfolderIsSkipped()
    {
        if (::geteuid() == 0)
            QSKIP("permissions do not apply to root");
        QVERIFY(makeFolder(path(u"locked"_qs)));
        QVERIFY(QFile::setPermissions(path(u"locked"_qs), QFileDevice::Permissions{}));
        const auto watcher = watch(m_dir->path());
        QVERIFY(watcher->isActive());
        QVERIFY(writeFile(path(u"open.md"_qs)));
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        QVERIFY(QFile::setPermissions(path(u"locked"_qs), QFileDevice::ReadOwner |
                                                              QFileDevice::WriteOwner |
                                                              QFileDevice::ExeOwner));
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

    void removedTopFolderMakesItInert()
    {
        QVERIFY(makeFolder(path(u"vault"_qs)));
        const auto watcher = watch(path(u"vault"_qs));
        QVERIFY(watcher->isActive());
        QTest::ignoreMessage(
            QtWarningMsg,
            qPrintable(path(u"vault"_qs) + u" is gone: its changes are no longer seen"_qs));
        QVERIFY(QDir(path(u"vault"_qs)).removeRecursively());
        QTRY_VERIFY_WITH_TIMEOUT(m_calls->count() >= 1, 2000);
        QTRY_VERIFY_WITH_TIMEOUT(!watcher->isActive(), 2000);
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
