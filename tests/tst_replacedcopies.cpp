#include "io/ReplacedCopies.h"
#include "support/FileContents.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int modeOf(const QString &path)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? int(st.st_mode & 07777) : -1;
}

// Sets the modification time of `path` itself, not of what a symlink points to.
bool setModified(const QString &path, const QDateTime &when)
{
    const qint64 ms = when.toMSecsSinceEpoch();
    timespec times[2]{};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(ms / 1000);
    times[1].tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    return ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW) ==
           0;
}

bool isSymLink(const QString &path)
{
    struct stat st {};
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0 && S_ISLNK(st.st_mode);
}

int messages = 0;

void countMessage(QtMsgType, const QMessageLogContext &, const QString &)
{
    ++messages;
}

} // namespace

class TestReplacedCopies : public QObject {
    Q_OBJECT

public:
    enum class Kind { File, Folder, SymLink, Fifo };
    Q_ENUM(Kind)

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QByteArray m_savedState;
    QByteArray m_savedHome;
    const QDateTime m_now{QDate(2024, 3, 5), QTime(7, 8, 9, 45)};

    [[nodiscard]] QString at(const QString &relative) const { return m_dir->filePath(relative); }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        m_savedState = qgetenv("XDG_STATE_HOME");
        m_savedHome = qgetenv("HOME");
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        QVERIFY(QDir().mkdir(at(u"vault"_qs)));
        qputenv("XDG_STATE_HOME", QFile::encodeName(at(u"state"_qs)));
    }

    void cleanup()
    {
        m_dir.reset();
        qputenv("XDG_STATE_HOME", m_savedState);
        qputenv("HOME", m_savedHome);
    }

    void folder_data()
    {
        QTest::addColumn<bool>("set");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("home");
        QTest::addColumn<QString>("folder");
        QTest::newRow("set") << true << u"/var/lib/someone/state"_qs << u"/home/u"_qs
                             << u"/var/lib/someone/state/Tallowfern/replaced"_qs;
        QTest::newRow("set with a trailing slash")
            << true << u"/srv/state/"_qs << u"/home/u"_qs << u"/srv/state/Tallowfern/replaced"_qs;
        QTest::newRow("unset") << false << QString() << u"/home/u"_qs
                               << u"/home/u/.local/state/Tallowfern/replaced"_qs;
        QTest::newRow("empty") << true << QString() << u"/home/v"_qs
                               << u"/home/v/.local/state/Tallowfern/replaced"_qs;
        QTest::newRow("relative is ignored") << true << u"state/here"_qs << u"/home/w"_qs
                                             << u"/home/w/.local/state/Tallowfern/replaced"_qs;
        QTest::newRow("non-ASCII") << true << u"/tmp/Zustände"_qs << u"/home/u"_qs
                                   << u"/tmp/Zustände/Tallowfern/replaced"_qs;
    }

    void folder()
    {
        QFETCH(bool, set);
        QFETCH(QString, state);
        QFETCH(QString, home);
        QFETCH(QString, folder);
        qputenv("HOME", QFile::encodeName(home));
        if (set)
            qputenv("XDG_STATE_HOME", QFile::encodeName(state));
        else
            qunsetenv("XDG_STATE_HOME");
        QCOMPARE(ReplacedCopies::folder(), folder);
    }

    void keepCopiesExactBytes()
    {
        const QString source = at(u"vault/board.md"_qs);
        const QByteArray first = "# Today\n- [ ] Gr\xFC\xDF"
                                 "e \xC0\xAF\xED\xA0\x80 \xEF\xBB\xBF\n";
        QVERIFY(putFile(source, first));

        const std::optional<QString> copy = ReplacedCopies::keep(source, m_now);
        QVERIFY(copy.has_value());
        const QString folder = at(u"state/Tallowfern/replaced"_qs);
        QCOMPARE(ReplacedCopies::folder(), folder);
        QCOMPARE(*copy, folder + u"/board.md.20240305-070809.045"_qs);
        QCOMPARE(contentOf(*copy), first);
        QCOMPARE(contentOf(source), first);
        // Private, like every folder on the way that keep() had to make.
        QCOMPARE(modeOf(folder), 0700);
        QCOMPARE(modeOf(at(u"state/Tallowfern"_qs)), 0700);
        QCOMPARE(modeOf(at(u"state"_qs)), 0700);
    }

    void keepSameMillisecondCounts()
    {
        const QString source = at(u"vault/board.md"_qs);
        QStringList copies;
        QList<QByteArray> versions;
        for (int i = 0; i < 4; ++i) {
            const QByteArray bytes = "version " + QByteArray::number(i) + "\n";
            QVERIFY(putFile(source, bytes));
            const std::optional<QString> copy = ReplacedCopies::keep(source, m_now);
            QVERIFY(copy.has_value());
            copies << *copy;
            versions << bytes;
        }
        const QString base = ReplacedCopies::folder() + u"/board.md.20240305-070809.045"_qs;
        QCOMPARE(copies, (QStringList{base, base + u"-2"_qs, base + u"-3"_qs, base + u"-4"_qs}));
        for (qsizetype i = 0; i < copies.size(); ++i)
            QCOMPARE(contentOf(copies[i]), versions[i]);
        // Nothing else, temporary files included, is left in the folder.
        QCOMPARE(QDir(ReplacedCopies::folder())
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
                 (QStringList{
                     u"board.md.20240305-070809.045"_qs, u"board.md.20240305-070809.045-2"_qs,
                     u"board.md.20240305-070809.045-3"_qs, u"board.md.20240305-070809.045-4"_qs}));
    }

    void keepOtherTimeGetsItsOwnName()
    {
        const QString source = at(u"vault/board.md"_qs);
        QVERIFY(putFile(source, "x"));
        const std::optional<QString> first = ReplacedCopies::keep(source, m_now);
        const std::optional<QString> later = ReplacedCopies::keep(source, m_now.addMSecs(1));
        QVERIFY(first && later);
        QCOMPARE(QFileInfo(*later).fileName(), u"board.md.20240305-070809.046"_qs);
    }

    void keepEmptyFile()
    {
        const QString source = at(u"vault/empty.md"_qs);
        QVERIFY(putFile(source, QByteArray()));
        const std::optional<QString> copy = ReplacedCopies::keep(source, m_now);
        QVERIFY(copy.has_value());
        QVERIFY(QFileInfo::exists(*copy));
        QCOMPARE(QFileInfo(*copy).size(), qint64(0));
    }

    void keepThroughLink()
    {
        QVERIFY(putFile(at(u"vault/real.md"_qs), "the target's text"));
        QVERIFY(::symlink("real.md", QFile::encodeName(at(u"vault/board.md"_qs)).constData()) == 0);
        const std::optional<QString> copy = ReplacedCopies::keep(at(u"vault/board.md"_qs), m_now);
        QVERIFY(copy.has_value());
        QCOMPARE(QFileInfo(*copy).fileName(), u"board.md.20240305-070809.045"_qs);
        QVERIFY(!QFileInfo(*copy).isSymLink());
        QCOMPARE(contentOf(*copy), QByteArray("the target's text"));
    }

    void keepNothing_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("missing file") << u"missing"_qs;
        QTest::newRow("folder") << u"folder"_qs;
        QTest::newRow("dangling link") << u"dangling"_qs;
    }

    void keepNothing()
    {
        QFETCH(QString, kind);
        const QString source = at(u"vault/board.md"_qs);
        if (kind == u"folder")
            QVERIFY(QDir().mkdir(source));
        if (kind == u"dangling")
            QVERIFY(::symlink("gone.md", QFile::encodeName(source).constData()) == 0);
        QVERIFY(!ReplacedCopies::keep(source, m_now).has_value());
        QVERIFY(!QFileInfo::exists(at(u"state"_qs)));
    }

    void keepWhenFolderCannotBeMade()
    {
        const QString source = at(u"vault/board.md"_qs);
        QVERIFY(putFile(source, "keep me"));
        QVERIFY(putFile(at(u"blocker"_qs), "a file where the state folder would go"));
        qputenv("XDG_STATE_HOME", QFile::encodeName(at(u"blocker/state"_qs)));
        messages = 0;
        const QtMessageHandler previous = qInstallMessageHandler(countMessage);
        const std::optional<QString> copy = ReplacedCopies::keep(source, m_now);
        qInstallMessageHandler(previous);
        QVERIFY(!copy.has_value());
        QCOMPARE(messages, 0);
        QCOMPARE(contentOf(source), QByteArray("keep me"));
        QCOMPARE(contentOf(at(u"blocker"_qs)),
                 QByteArray("a file where the state folder would go"));
    }

    void removeOlderThan_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("ageMinutes");
        QTest::addColumn<int>("keptDays");
        QTest::addColumn<bool>("removed");
        constexpr qint64 day = 24 * 60;
        QTest::newRow("31-day-old copy")
            << Kind::File << u"board.md.20240203-070809.045"_qs << 31 * day << 30 << true;
        QTest::newRow("29-day-old copy")
            << Kind::File << u"board.md.20240205-070809.045"_qs << 29 * day << 30 << false;
        QTest::newRow("30 days old to the millisecond")
            << Kind::File << u"board.md"_qs << 30 * day << 30 << false;
        QTest::newRow("a minute past 30 days")
            << Kind::File << u"board.md"_qs << 30 * day + 1 << 30 << true;
        QTest::newRow("modified in the future")
            << Kind::File << u"board.md"_qs << -day << 30 << false;
        QTest::newRow("old hidden leftover")
            << Kind::File << u".board.md.tmp"_qs << 40 * day << 30 << true;
        QTest::newRow("non-ASCII name")
            << Kind::File << u"Einkäufe.md.20240101-000000.000"_qs << 60 * day << 30 << true;
        QTest::newRow("2-day-old copy, a day kept")
            << Kind::File << u"board.md"_qs << 2 * day << 1 << true;
        QTest::newRow("old subfolder") << Kind::Folder << u"old"_qs << 31 * day << 30 << false;
        QTest::newRow("old symlink to an old file elsewhere")
            << Kind::SymLink << u"link.md"_qs << 31 * day << 30 << false;
        QTest::newRow("old fifo") << Kind::Fifo << u"pipe"_qs << 31 * day << 30 << false;
    }

    void removeOlderThan()
    {
        QFETCH(Kind, kind);
        QFETCH(QString, name);
        QFETCH(qint64, ageMinutes);
        QFETCH(int, keptDays);
        QFETCH(bool, removed);
        const QString folder = ReplacedCopies::folder();
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + u'/' + name;
        const QDateTime modified = m_now.addSecs(-60 * ageMinutes);
        // What a symlink points to, and what a folder holds: as old, and never touched.
        const QString outside = at(u"vault/outside.md"_qs);
        const QString inside = path + u"/copy.md"_qs;
        switch (kind) {
        case Kind::File:
            QVERIFY(putFile(path, "replaced text"));
            break;
        case Kind::Folder:
            QVERIFY(QDir().mkdir(path));
            QVERIFY(putFile(inside, "in a subfolder"));
            QVERIFY(setModified(inside, modified));
            break;
        case Kind::SymLink:
            QVERIFY(putFile(outside, "the user's own note"));
            QVERIFY(setModified(outside, modified));
            QVERIFY(::symlink(QFile::encodeName(outside).constData(),
                              QFile::encodeName(path).constData()) == 0);
            break;
        case Kind::Fifo:
            QVERIFY(::mkfifo(QFile::encodeName(path).constData(), 0600) == 0);
            break;
        }
        QVERIFY(setModified(path, modified));

        const ReplacedCopies::Removal removal =
            ReplacedCopies::removeOlderThan(m_now, std::chrono::days{keptDays});
        QCOMPARE(removal.failures, QStringList());
        QCOMPARE(removal.removed, removed ? QStringList{path} : QStringList());
        struct stat st {};
        QCOMPARE(::lstat(QFile::encodeName(path).constData(), &st) == 0, !removed);
        QVERIFY(QFileInfo(folder).isDir());
        if (kind == Kind::Folder)
            QCOMPARE(contentOf(inside), QByteArray("in a subfolder"));
        if (kind == Kind::SymLink) {
            QVERIFY(isSymLink(path));
            QCOMPARE(contentOf(outside), QByteArray("the user's own note"));
        }
    }

    void removeKeepsTheOthers()
    {
        const QString folder = ReplacedCopies::folder();
        QVERIFY(QDir().mkpath(folder));
        QStringList expected;
        for (int days : {10, 45, 29, 31, 365}) {
            const QString path = folder + u"/board.md."_qs + QString::number(days);
            QVERIFY(putFile(path, QByteArray::number(days)));
            QVERIFY(setModified(path, m_now.addDays(-days)));
            if (days > 30)
                expected.append(path);
        }
        ReplacedCopies::Removal removal = ReplacedCopies::removeOlderThan(m_now);
        removal.removed.sort();
        expected.sort();
        QCOMPARE(removal.removed, expected);
        QCOMPARE(QDir(folder).entryList(QDir::Files, QDir::Name),
                 (QStringList{u"board.md.10"_qs, u"board.md.29"_qs}));
        // Once more: nothing left to remove.
        QCOMPARE(ReplacedCopies::removeOlderThan(m_now).removed, QStringList());
    }

    // The copy keep() makes now is removed a month from now, not before.
    void removeWhatKeepMade()
    {
        const QString source = at(u"vault/board.md"_qs);
        QVERIFY(putFile(source, "kept a while"));
        const QDateTime now = QDateTime::currentDateTime();
        const std::optional<QString> copy = ReplacedCopies::keep(source, now);
        QVERIFY(copy.has_value());
        QCOMPARE(ReplacedCopies::removeOlderThan(now.addDays(29)).removed, QStringList());
        QVERIFY(QFileInfo::exists(*copy));
        QCOMPARE(ReplacedCopies::removeOlderThan(now.addDays(31)).removed, QStringList{*copy});
        QVERIFY(!QFileInfo::exists(*copy));
        QCOMPARE(contentOf(source), QByteArray("kept a while"));
    }

    void removeWithoutFolder()
    {
        const ReplacedCopies::Removal removal = ReplacedCopies::removeOlderThan(m_now);
        QCOMPARE(removal.removed, QStringList());
        QCOMPARE(removal.failures, QStringList());
        QVERIFY(!QFileInfo::exists(at(u"state"_qs)));
    }

    void removeWhereNoFolderIs_data()
    {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("blocker");
        QTest::addColumn<QString>("failure");
        // A file where the copies' folder should be, and one on the way to it.
        QTest::newRow("a file as the folder") << u"state"_qs << u"state/Tallowfern/replaced"_qs
                                              << u"/Tallowfern/replaced: not a folder"_qs;
        QTest::newRow("a file on the way")
            << u"blocker/state"_qs << u"blocker"_qs << u"/Tallowfern/replaced: not a folder"_qs;
        // A symlink to a folder elsewhere, whose old files are not the copies'.
        QTest::newRow("a symlink as the folder")
            << u"state"_qs << u"vault/elsewhere/old.md"_qs
            << u"/Tallowfern/replaced: a symbolic link, not followed"_qs;
    }

    void removeWhereNoFolderIs()
    {
        QFETCH(QString, state);
        QFETCH(QString, blocker);
        QFETCH(QString, failure);
        qputenv("XDG_STATE_HOME", QFile::encodeName(at(state)));
        const QString folder = ReplacedCopies::folder();
        QVERIFY(QDir().mkpath(QFileInfo(at(blocker)).path()));
        QVERIFY(putFile(at(blocker), "not a copy"));
        QVERIFY(setModified(at(blocker), m_now.addDays(-60)));
        if (failure.contains(u"symbolic")) {
            QVERIFY(QDir().mkpath(QFileInfo(folder).path()));
            QVERIFY(::symlink(QFile::encodeName(QFileInfo(at(blocker)).path()).constData(),
                              QFile::encodeName(folder).constData()) == 0);
        }

        const ReplacedCopies::Removal removal = ReplacedCopies::removeOlderThan(m_now);
        QCOMPARE(removal.removed, QStringList());
        QCOMPARE(removal.failures, QStringList{at(state) + failure});
        QCOMPARE(contentOf(at(blocker)), QByteArray("not a copy"));
    }
};

QTEST_GUILESS_MAIN(TestReplacedCopies)
#include "tst_replacedcopies.moc"
