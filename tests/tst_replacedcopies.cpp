#include "io/ReplacedCopies.h"
#include "support/FileContents.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int modeOf(const QString &path)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? int(st.st_mode & 07777) : -1;
}

int messages = 0;

void countMessage(QtMsgType, const QMessageLogContext &, const QString &)
{
    ++messages;
}

} // namespace

class TestReplacedCopies : public QObject {
    Q_OBJECT

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
};

QTEST_GUILESS_MAIN(TestReplacedCopies)
#include "tst_replacedcopies.moc"
