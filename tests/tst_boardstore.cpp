#include "store/BoardStore.h"
#include "store/VaultLocator.h"
#include "support/BoardText.h"
#include "support/StoreFixture.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

QStringList filesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

class TestBoardStore : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;

    std::unique_ptr<BoardStore> makeStore()
    {
        return std::make_unique<BoardStore>(&m_clock, &m_launcher);
    }
    QString boardFile(const QString &day) const
    {
        return m_scratch->boards() + u'/' + day + u".md"_qs;
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        m_launcher.opened.clear();
    }

    // ---- preferences

    void firstLaunchKeepsDiscoveredVault()
    {
        qunsetenv("TALLOWFERN_VAULT");
        const QString vault = m_scratch->path(u"Notes Vault"_qs);
        QDir().mkpath(vault);
        const QString list = m_scratch->path(u"config/obsidian/obsidian.json"_qs);
        Scratch::write(
            list, QJsonDocument(QJsonObject{{u"vaults"_qs,
                                             QJsonObject{{u"a1"_qs, QJsonObject{{u"path"_qs, vault},
                                                                                {u"ts"_qs, 5}}}}}})
                      .toJson());
        {
            auto store = makeStore();
            QVERIFY(store->isFirstRun());
            QCOMPARE(store->vaultPath(), vault);
            QVERIFY(QFileInfo::exists(vault + u"/01 Journal/Boards/2025-03-07.md"_qs));
        }
        QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
        QCOMPARE(settings.value(u"vaultPath"_qs).toString(), vault);

        // Discovery is not run again: another vault in Obsidian's list changes nothing.
        const QString other = m_scratch->path(u"Other"_qs);
        QDir().mkpath(other);
        Scratch::write(
            list,
            QJsonDocument(QJsonObject{{u"vaults"_qs,
                                       QJsonObject{{u"b"_qs, QJsonObject{{u"path"_qs, other},
                                                                         {u"open"_qs, true}}}}}})
                .toJson());
        auto second = makeStore();
        QVERIFY(!second->isFirstRun());
        QCOMPARE(second->vaultPath(), vault);
    }

    void emptyStoredVaultIsNotFirstRun()
    {
        {
            QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
            settings.setValue(u"vaultPath"_qs, QString(u""_qs));
        }
        auto store = makeStore();
        QVERIFY(!store->isFirstRun());
        QCOMPARE(store->vaultPath(), QString());
    }

    void defaults()
    {
        auto store = makeStore();
        QCOMPARE(store->boardsFolder(), u"01 Journal/Boards"_qs);
        QCOMPARE(store->notesFolder(), u"01 Journal/Quick Notes"_qs);
        QVERIFY(store->swipeToSwitch());
        QVERIFY(store->carryOver());
        QVERIFY(store->morningBanner());
        QCOMPARE(store->openShortcut(), Shortcut::defaultOpen());
        QCOMPARE(store->switchTabShortcut(), Shortcut::defaultSwitchTab());
        QCOMPARE(store->notchPosition(), BoardStore::NotchPosition::Automatic);
        QCOMPARE(store->day(), u"2025-03-07"_qs);
        QVERIFY(!store->viewedDay());
        QCOMPARE(store->lastError(), QString());
    }

    void notchPositionIsStored_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<BoardStore::NotchPosition>("position");
        QTest::newRow("left") << QVariant(u"left"_qs) << BoardStore::NotchPosition::Left;
        QTest::newRow("centre") << QVariant(u"centre"_qs) << BoardStore::NotchPosition::Centre;
        QTest::newRow("right, any case")
            << QVariant(u" Right "_qs) << BoardStore::NotchPosition::Right;
        QTest::newRow("unknown word")
            << QVariant(u"middle"_qs) << BoardStore::NotchPosition::Automatic;
        QTest::newRow("a number") << QVariant(2) << BoardStore::NotchPosition::Automatic;
    }

    void notchPositionIsStored()
    {
        QFETCH(QVariant, stored);
        QFETCH(BoardStore::NotchPosition, position);
        {
            QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
            settings.setValue(u"notchPosition"_qs, stored);
        }
        auto store = makeStore();
        QCOMPARE(store->notchPosition(), position);
        QSignalSpy changed(store.get(), &BoardStore::notchPositionChanged);
        store->setNotchPosition(BoardStore::NotchPosition::Right);
        store->setNotchPosition(BoardStore::NotchPosition::Right);
        QCOMPARE(changed.count(), position == BoardStore::NotchPosition::Right ? 0 : 1);
        store.reset();
        QCOMPARE(makeStore()->notchPosition(), BoardStore::NotchPosition::Right);
    }

    void settingsSurviveRestart()
    {
        {
            auto store = makeStore();
            store->setCarryOver(false);
            store->setMorningBanner(false);
            store->setSwipeToSwitch(false);
            store->setNotesFolder(u"Daily/Notes"_qs);
            store->setOpenShortcut(Shortcut(40, Shortcut::Control | Shortcut::Option));
            store->setSwitchTabShortcut(Shortcut(49, Shortcut::Command));
        }
        auto store = makeStore();
        QVERIFY(!store->carryOver());
        QVERIFY(!store->morningBanner());
        QVERIFY(!store->swipeToSwitch());
        QCOMPARE(store->notesFolder(), u"Daily/Notes"_qs);
        QCOMPARE(store->openShortcut(), Shortcut(40, Shortcut::Control | Shortcut::Option));
        QCOMPARE(store->switchTabShortcut(), Shortcut(49, Shortcut::Command));
        QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
        const QByteArray json = settings.value(u"openShortcut"_qs).toByteArray();
        QCOMPARE(QJsonDocument::fromJson(json).object().keys(),
                 (QStringList{u"keyCode"_qs, u"modifiers"_qs}));
    }

    void unusableStoredValues_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("stored");
        QTest::newRow("bool as other text") << u"carryOver"_qs << QVariant(u"yes"_qs);
        QTest::newRow("bool as number") << u"morningBanner"_qs << QVariant(0);
        QTest::newRow("shortcut not JSON") << u"openShortcut"_qs << QVariant(QByteArray("{nope"));
        QTest::newRow("shortcut wrong members")
            << u"switchTabShortcut"_qs << QVariant(QByteArray(R"({"key":45})"));
    }
    void unusableStoredValues()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, stored);
        {
            QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
            settings.setValue(key, stored);
        }
        auto store = makeStore();
        QVERIFY(store->carryOver());
        QVERIFY(store->morningBanner());
        QCOMPARE(store->openShortcut(), Shortcut::defaultOpen());
        QCOMPARE(store->switchTabShortcut(), Shortcut::defaultSwitchTab());
        // The bad value stays until the setting is assigned.
        QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
        QVERIFY(settings.contains(key));
    }

    void movingBoardsFolderClosesPastAndReloads()
    {
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"old"_qs}, {}, {}));
        auto store = makeStore();
        store->view(u"2025-03-01"_qs);
        QVERIFY(store->isViewingPast());
        Scratch::write(m_scratch->vault() + u"/Elsewhere/2025-03-07.md"_qs,
                       boardText({u"there"_qs}, {}, {}));
        QSignalSpy viewed(store.get(), &BoardStore::viewedDayChanged);
        store->setBoardsFolder(u"Elsewhere"_qs);
        QVERIFY(!store->viewedDay());
        QVERIFY(!store->viewedBoard());
        QCOMPARE(viewed.count(), 1);
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"there"_qs});

        // A folder without today's board gets one.
        store->setBoardsFolder(u"New/Folder"_qs);
        QVERIFY(QFileInfo::exists(m_scratch->vault() + u"/New/Folder/2025-03-07.md"_qs));
        QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
        QCOMPARE(settings.value(u"boardsFolder"_qs).toString(), u"New/Folder"_qs);
    }

    void movingNotesFolderTouchesNothingElse()
    {
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"old"_qs}, {}, {}));
        auto store = makeStore();
        store->add(u"task"_qs, LaneKind::Todo);
        store->view(u"2025-03-01"_qs);
        QSignalSpy board(store.get(), &BoardStore::boardChanged);
        QSignalSpy day(store.get(), &BoardStore::dayChanged);
        QSignalSpy viewed(store.get(), &BoardStore::viewedDayChanged);
        store->setNotesFolder(u"Somewhere"_qs);
        QCOMPARE(board.count(), 0);
        QCOMPARE(day.count(), 0);
        QCOMPARE(viewed.count(), 0);
        QCOMPARE(store->viewedDay(), std::optional<QString>(u"2025-03-01"_qs));
    }

    // ---- vault

    void detectVault_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("expected"); // a folder name under the scratch dir, or "" for
                                               // the fallback
        QTest::newRow("open beats recent")
            << QByteArray(
                   R"({"vaults":{"x":{"path":"@/A","open":true,"ts":1},"y":{"path":"@/B","ts":999}}})")
            << u"A"_qs;
        QTest::newRow("larger ts wins")
            << QByteArray(R"({"vaults":{"x":{"path":"@/A","ts":5},"y":{"path":"@/B"}}})")
            << u"A"_qs;
        QTest::newRow("missing folder never chosen")
            << QByteArray(R"({"vaults":{"x":{"path":"@/Gone","open":true},"y":{"path":"@/B"}}})")
            << u"B"_qs;
        QTest::newRow("full tie keeps the first")
            << QByteArray(R"({"vaults":{"a":{"path":"@/A","ts":3},"b":{"path":"@/B","ts":3}}})")
            << u"A"_qs;
        QTest::newRow("entry without path")
            << QByteArray(R"({"vaults":{"x":{"path":"@/A"},"y":{"ts":3}}})") << QString();
        QTest::newRow("ts not a number")
            << QByteArray(R"({"vaults":{"x":{"path":"@/A","ts":"recent"}}})") << QString();
        QTest::newRow("not JSON") << QByteArray("{\"vaults\": {") << QString();
        QTest::newRow("vaults not an object") << QByteArray(R"({"vaults":[]})") << QString();
        QTest::newRow("empty file") << QByteArray() << QString();
        QTest::newRow("binary") << QByteArray("\xff\xfe\x00\x01", 4) << QString();
        QTest::newRow("other members ignored")
            << QByteArray(R"({"frame":"hidden","vaults":{"x":{"path":"@/B","extra":[1]}}})")
            << u"B"_qs;
    }
    void detectVault()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, expected);
        QDir().mkpath(m_scratch->path(u"A"_qs));
        QDir().mkpath(m_scratch->path(u"B"_qs));
        json.replace("@", m_scratch->path().toUtf8());
        Scratch::write(m_scratch->path(u"config/obsidian/obsidian.json"_qs), json);
        const QString result = VaultLocator::detectVault();
        QCOMPARE(result, expected.isEmpty() ? m_scratch->home() + u"/Documents/Tallowfern"_qs
                                            : m_scratch->path(expected));
    }

    void detectVaultReadsFlatpakAndSnapLists()
    {
        QDir().mkpath(m_scratch->path(u"A"_qs));
        QDir().mkpath(m_scratch->path(u"B"_qs));
        const auto list = [&](const QString &folder, int ts) {
            return QJsonDocument(
                       QJsonObject{
                           {u"vaults"_qs,
                            QJsonObject{{u"x"_qs, QJsonObject{{u"path"_qs, m_scratch->path(folder)},
                                                              {u"ts"_qs, ts}}}}}})
                .toJson();
        };
        const QByteArray a = list(u"A"_qs, 1);
        const QByteArray b = list(u"B"_qs, 2);
        Scratch::write(m_scratch->home() +
                           u"/.var/app/md.obsidian.Obsidian/config/obsidian/obsidian.json"_qs,
                       a);
        QCOMPARE(VaultLocator::detectVault(), m_scratch->path(u"A"_qs));
        Scratch::write(
            m_scratch->home() + u"/snap/obsidian/current/.config/obsidian/obsidian.json"_qs, b);
        QCOMPARE(VaultLocator::detectVault(), m_scratch->path(u"B"_qs));
    }

    void fallbackUsesDocumentsFolder()
    {
        Scratch::write(m_scratch->path(u"config/user-dirs.dirs"_qs),
                       "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n");
        QCOMPARE(VaultLocator::detectVault(), m_scratch->home() + u"/Dokumente/Tallowfern"_qs);
        QVERIFY(!QFileInfo::exists(m_scratch->home() + u"/Dokumente/Tallowfern"_qs));
    }

    void environmentOverridesVault()
    {
        {
            QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
            settings.setValue(u"vaultPath"_qs, u"/stored/vault"_qs);
        }
        auto store = makeStore();
        QCOMPARE(store->vaultPath(), u"/stored/vault"_qs);
        QCOMPARE(store->boardsDir(), m_scratch->boards());
        // Consulted on every read, not once.
        qputenv("TALLOWFERN_VAULT", "/tmp/v");
        QCOMPARE(store->boardsDir(), u"/tmp/v/01 Journal/Boards"_qs);
        QCOMPARE(store->vaultName(), u"v"_qs);
        qunsetenv("TALLOWFERN_VAULT");
        QCOMPARE(store->boardsDir(), u"/stored/vault/01 Journal/Boards"_qs);
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(m_scratch->vault()));
    }

    void vaultRelativePath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("vault itself") << u"@"_qs << QVariant(QString());
        QTest::newRow("boards folder with slash")
            << u"@/01 Journal/Boards/"_qs << QVariant(u"01 Journal/Boards"_qs);
        QTest::newRow("sibling with same prefix") << u"@-old/x"_qs << QVariant();
        QTest::newRow("dot dot back in") << u"@/a/../b"_qs << QVariant(u"b"_qs);
        QTest::newRow("doubled slashes") << u"@//a//b"_qs << QVariant(u"a/b"_qs);
        QTest::newRow("outside") << u"/etc"_qs << QVariant();
        QTest::newRow("parent") << u"@/.."_qs << QVariant();
    }
    void vaultRelativePath()
    {
        QFETCH(QString, path);
        QFETCH(QVariant, expected);
        auto store = makeStore();
        path.replace(u'@', m_scratch->vault());
        QCOMPARE(store->vaultRelativePath(path), expected);
    }

    void obsidianUrlDecodesBack_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("spaces and slash") << u"01 Journal/Boards/2025-03-07"_qs;
        QTest::newRow("specials") << u"a&b#c+d%e=f?g h"_qs;
        QTest::newRow("non-ASCII") << u"Ärger/über 日本 🚀"_qs;
        QTest::newRow("already encoded look") << u"x%20y%2Fz"_qs;
    }
    void obsidianUrlDecodesBack()
    {
        QFETCH(QString, file);
        const QString vaultName = u"My Vault & Co #1"_qs;
        const QByteArray url = VaultLocator::obsidianUrl(vaultName, file);
        QVERIFY(url.startsWith("obsidian://open?vault="));
        QVERIFY(!url.contains(' '));
        QVERIFY(!url.contains('+'));
        const QByteArray query = url.mid(url.indexOf('?') + 1);
        const QList<QByteArray> items = query.split('&');
        QCOMPARE(items.size(), 2);
        QVERIFY(items[0].startsWith("vault="));
        QVERIFY(items[1].startsWith("file="));
        QCOMPARE(QString::fromUtf8(QByteArray::fromPercentEncoding(items[0].mid(6))), vaultName);
        QCOMPARE(QString::fromUtf8(QByteArray::fromPercentEncoding(items[1].mid(5))), file);
        // Qt's parser agrees.
        const QUrl parsed = QUrl::fromEncoded(url, QUrl::StrictMode);
        QVERIFY(parsed.isValid());
        QCOMPARE(parsed.scheme(), u"obsidian"_qs);
        QCOMPARE(parsed.host(), u"open"_qs);
    }

    void openTodayInObsidian()
    {
        auto store = makeStore();
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({}, {}, {}));
        store->view(u"2025-03-01"_qs);
        store->openTodayInObsidian();
        QCOMPARE(m_launcher.opened,
                 QByteArrayList{"obsidian://open?vault=vault&file=01%20Journal/Boards/2025-03-07"});
    }

    // ---- day boards

    void createsTodayWithCarryOver()
    {
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"too old"_qs}, {}, {}));
        const QByteArray previous = boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"finished"_qs});
        Scratch::write(boardFile(u"2025-03-05"_qs), previous);
        auto store = makeStore();
        QCOMPARE(texts(store->board(), LaneKind::Todo), (QStringList{u"a"_qs, u"b"_qs}));
        QCOMPARE(texts(store->board(), LaneKind::Doing), QStringList{u"c"_qs});
        QVERIFY(store->board().cards(LaneKind::Done).isEmpty());
        QCOMPARE(store->greeting(), std::optional<Greeting>(Greeting(3, u"2025-03-05"_qs)));
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), store->board().markdown().toUtf8());
        QCOMPARE(Scratch::read(boardFile(u"2025-03-05"_qs)), previous);
        const Board source = Board::parse(QString::fromUtf8(previous));
        for (const Card &card : store->board().cards(LaneKind::Todo))
            QVERIFY(!source.locate(card.id()));
    }

    void carriesExtraLinesAndFromOldSource()
    {
        Scratch::write(boardFile(u"2025-02-03"_qs), "## Doing\n- [ ] old\n\tnote\n");
        auto store = makeStore();
        QCOMPARE(store->board().cards(LaneKind::Doing).size(), 1);
        QCOMPARE(store->board().cards(LaneKind::Doing)[0].extraLines(), QStringList{u"\tnote"_qs});
        QCOMPARE(store->greeting(), std::optional<Greeting>(Greeting(1, u"2025-02-03"_qs)));
    }

    void previousBoardRules_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("expected");
        QTest::newRow("notes and txt never")
            << QStringList{u"notes.md"_qs, u"2025-03-05.txt"_qs} << QString();
        // Letters sort after digits, so a ten-letter name is never before a day key.
        QTest::newRow("ten letters never") << QStringList{u"abcdefghij.md"_qs} << QString();
        QTest::newRow("any ten characters before today count")
            << QStringList{u"2024-draft.md"_qs} << u"2024-draft"_qs;
        QTest::newRow("a later real day wins")
            << QStringList{u"2024-draft.md"_qs, u"2025-03-01.md"_qs} << u"2025-03-01"_qs;
        QTest::newRow("today and later never")
            << QStringList{u"2025-03-08.md"_qs, u"2025-03-07.md"_qs, u"2025-02-01.md"_qs}
            << u"2025-02-01"_qs;
        QTest::newRow("upper-case extension") << QStringList{u"2025-03-05.MD"_qs} << QString();
    }
    void previousBoardRules()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, expected);
        m_clock.set(2025, 3, 7);
        for (const QString &file : files)
            Scratch::write(m_scratch->boards() + u'/' + file, boardText({file}, {}, {}));
        QFile::remove(boardFile(u"2025-03-07"_qs));
        auto store = makeStore();
        const auto previous = store->previousBoardPath();
        if (expected.isEmpty()) {
            QVERIFY(!previous);
        } else {
            QVERIFY(previous);
            QCOMPARE(QFileInfo(*previous).fileName(), expected + u".md"_qs);
        }
    }

    void deletedTodayIsRecreatedOnWake()
    {
        Scratch::write(boardFile(u"2025-03-05"_qs), boardText({u"carry me"_qs}, {}, {}));
        auto store = makeStore();
        store->setGreeting(std::nullopt);
        store->add(u"today only"_qs, LaneKind::Todo);
        QFile::remove(boardFile(u"2025-03-07"_qs));
        store->loadToday();
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"carry me"_qs});
        QCOMPARE(store->greeting(), std::optional<Greeting>(Greeting(1, u"2025-03-05"_qs)));
        QVERIFY(QFileInfo::exists(boardFile(u"2025-03-07"_qs)));
    }

    void carryOverOff()
    {
        Scratch::write(boardFile(u"2025-03-05"_qs), boardText({u"a"_qs}, {u"b"_qs}, {}));
        {
            QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
            settings.setValue(u"carryOver"_qs, false);
        }
        auto store = makeStore();
        QVERIFY(store->board().cards(LaneKind::Todo).isEmpty());
        QCOMPARE(store->greeting(), std::optional<Greeting>(Greeting(0, u"2025-03-05"_qs)));
    }

    void firstBoardInEmptyFolderGreets()
    {
        auto store = makeStore();
        QCOMPARE(store->greeting(), std::optional<Greeting>(Greeting(0, std::nullopt)));
    }

    void bannerOffNeverGreets()
    {
        Scratch::write(boardFile(u"2025-03-05"_qs), boardText({u"a"_qs}, {}, {}));
        {
            QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
            settings.setValue(u"morningBanner"_qs, false);
        }
        auto store = makeStore();
        QVERIFY(!store->greeting());
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"a"_qs});
        m_clock.set(2025, 3, 8);
        store->checkForChanges();
        QCOMPARE(store->day(), u"2025-03-08"_qs);
        QVERIFY(!store->greeting());
    }

    void unreadableSourceCarriesNothing()
    {
        Scratch::write(boardFile(u"2025-03-05"_qs), "## To do\n- [ ] caf\xe9\n");
        auto store = makeStore();
        QVERIFY(store->board().cards(LaneKind::Todo).isEmpty());
        QCOMPARE(store->greeting(), std::optional<Greeting>(Greeting(0, std::nullopt)));
    }

    void nonUtf8TodayIsAReadFailureAndKept()
    {
        const QByteArray latin1 = "## To do\n- [ ] caf\xe9 au lait\n";
        Scratch::write(boardFile(u"2025-03-07"_qs), latin1);
        auto store = makeStore();
        QVERIFY2(store->lastError().startsWith(u"Couldn't read 2025-03-07.md: "_qs),
                 qPrintable(store->lastError()));
        QVERIFY(store->lastError().contains(u"UTF-8"_qs));
        QVERIFY(store->board().cards(LaneKind::Todo).isEmpty());
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), latin1);

        QCOMPARE(store->boardUnreadable(), store->lastError());

        // An edit waits for the user's choice instead of writing over the bytes.
        store->add(u"new"_qs, LaneKind::Todo);
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), latin1);
        store->startFreshBoard();
        QCOMPARE(store->lastError(), QString());
        QCOMPARE(store->boardUnreadable(), QString());
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07 (unreadable)"_qs)), latin1);
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"new"_qs});
        QVERIFY(filesIn(m_scratch->replaced()).isEmpty());
    }

    void nonCanonicalFileIsKeptBeforeFirstSave()
    {
        const QByteArray text = "---\ntags: daily\n---\nIntro text\n## To do\n- [ ] a\n* [ ] star\n"
                                "## Archive\n- [x] old\n";
        Scratch::write(boardFile(u"2025-03-07"_qs), text);
        auto store = makeStore();
        QCOMPARE(store->lastError(), QString());
        QVERIFY(filesIn(m_scratch->replaced()).isEmpty());
        store->add(u"b"_qs, LaneKind::Todo);
        QCOMPARE(filesIn(m_scratch->replaced()).size(), 1);
        QCOMPARE(Scratch::read(m_scratch->replaced() + u'/' + filesIn(m_scratch->replaced())[0]),
                 text);
        // Now canonical: later saves replace only what the store wrote itself.
        store->add(u"c"_qs, LaneKind::Todo);
        QCOMPARE(filesIn(m_scratch->replaced()).size(), 1);
    }

    void canonicalFileNeedsNoCopy()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"a"_qs}, {}, {}));
        auto store = makeStore();
        store->add(u"b"_qs, LaneKind::Todo);
        store->toggle(store->board().cards(LaneKind::Todo)[0].id());
        QVERIFY(filesIn(m_scratch->replaced()).isEmpty());
    }

    void outsideChangeNotYetSeenIsMergedIn()
    {
        auto store = makeStore();
        store->add(u"mine"_qs, LaneKind::Todo);
        const QByteArray theirs = boardText({u"mine"_qs, u"theirs"_qs}, {}, {});
        Scratch::write(boardFile(u"2025-03-07"_qs), theirs);
        // No watcher event handled yet: the edit is made on their version all the same.
        store->add(u"more"_qs, LaneKind::Todo);
        const QStringList expected{u"mine"_qs, u"theirs"_qs, u"more"_qs};
        QCOMPARE(texts(store->board(), LaneKind::Todo), expected);
        QCOMPARE(texts(Board::parse(QString::fromUtf8(Scratch::read(boardFile(u"2025-03-07"_qs)))),
                       LaneKind::Todo),
                 expected);
        QVERIFY(filesIn(m_scratch->replaced()).isEmpty());
        QCOMPARE(store->lastError(), QString());
    }

    void hugeBoardLoads()
    {
        QByteArray text = "## To do\n";
        const QByteArray line = "- [ ] a task with a reasonably long description to fill space\n";
        while (text.size() < 20 * 1024 * 1024)
            text += line;
        Scratch::write(boardFile(u"2025-03-07"_qs), text);
        auto store = makeStore();
        QCOMPARE(store->lastError(), QString());
        QVERIFY(store->board().cards(LaneKind::Todo).size() > 300000);
    }

    void boardsFolderIsAFile()
    {
        Scratch::write(m_scratch->vault() + u"/01 Journal/Boards"_qs, "I am a file\n");
        auto store = makeStore();
        QVERIFY2(store->lastError().startsWith(u"Couldn't save board: "_qs),
                 qPrintable(store->lastError()));
        QVERIFY(store->lastError().contains(u"Not a directory"_qs));
        QCOMPARE(Scratch::read(m_scratch->vault() + u"/01 Journal/Boards"_qs),
                 QByteArray("I am a file\n"));
        store->add(u"kept in memory"_qs, LaneKind::Todo);
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"kept in memory"_qs});
        // Moving to a usable folder saves and clears the message.
        store->setBoardsFolder(u"Boards"_qs);
        QCOMPARE(store->lastError(), QString());
    }

    void readOnlyBoardsFolder()
    {
        if (::geteuid() == 0)
            QSKIP("permissions do not bind root; the unprivileged run of this test covers it");
        auto store = makeStore();
        store->add(u"a"_qs, LaneKind::Todo);
        const QByteArray before = Scratch::read(boardFile(u"2025-03-07"_qs));
        QFile::setPermissions(m_scratch->boards(), QFile::ReadOwner | QFile::ExeOwner);
        store->add(u"b"_qs, LaneKind::Todo);
        QVERIFY2(store->lastError().startsWith(u"Couldn't save board: Permission denied"_qs),
                 qPrintable(store->lastError()));
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), before);
        QCOMPARE(texts(store->board(), LaneKind::Todo), (QStringList{u"a"_qs, u"b"_qs}));
        QFile::setPermissions(m_scratch->boards(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        store->add(u"c"_qs, LaneKind::Todo);
        QCOMPARE(store->lastError(), QString());
        QCOMPARE(texts(Board::parse(QString::fromUtf8(Scratch::read(boardFile(u"2025-03-07"_qs)))),
                       LaneKind::Todo),
                 (QStringList{u"a"_qs, u"b"_qs, u"c"_qs}));
    }

    void symlinkedTodayIsWrittenThrough()
    {
        const QString target = m_scratch->path(u"elsewhere/today.md"_qs);
        Scratch::write(target, boardText({u"linked"_qs}, {}, {}));
        QDir().mkpath(m_scratch->boards());
        QVERIFY(QFile::link(target, boardFile(u"2025-03-07"_qs)));
        auto store = makeStore();
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"linked"_qs});
        store->add(u"more"_qs, LaneKind::Todo);
        QVERIFY(QFileInfo(boardFile(u"2025-03-07"_qs)).isSymLink());
        QVERIFY(Scratch::read(target).contains("- [ ] more\n"));
    }

    void missingVaultIsCreatedOnSave()
    {
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(m_scratch->path(u"no/such/vault"_qs)));
        auto store = makeStore();
        QCOMPARE(store->lastError(), QString());
        QVERIFY(QFileInfo::exists(
            m_scratch->path(u"no/such/vault/01 Journal/Boards/2025-03-07.md"_qs)));
    }

    void vaultWithSymlinkLoop()
    {
        QDir().mkpath(m_scratch->vault() + u"/loop"_qs);
        QVERIFY(
            QFile::link(m_scratch->vault() + u"/loop"_qs, m_scratch->vault() + u"/loop/again"_qs));
        auto store = makeStore();
        QCOMPARE(store->lastError(), QString());
        store->add(u"fine"_qs, LaneKind::Todo);
        QCOMPARE(store->lastError(), QString());
        store->vaultNotes()->require();
        QTRY_VERIFY(store->vaultNotes()->isKnown());
        store->setBoardsFolder(u"loop/again/again"_qs);
        QCOMPARE(store->lastError(), QString());
    }

    // ---- editing

    void addTrimsAndIgnoresBlank()
    {
        auto store = makeStore();
        const QByteArray before = Scratch::read(boardFile(u"2025-03-07"_qs));
        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        store->add(u"  \t \n"_qs, LaneKind::Todo);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), before);
        store->add(u"  Buy milk\n"_qs, LaneKind::Doing);
        QCOMPARE(texts(store->board(), LaneKind::Doing), QStringList{u"Buy milk"_qs});
        QVERIFY(
            Scratch::read(boardFile(u"2025-03-07"_qs)).contains("## Doing\n\n- [ ] Buy milk\n"));
    }

    // Pasted text with line breaks stays one card on one line of the file.
    void lineBreaksBecomeSpaces_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("card");
        QTest::newRow("newline") << u"Call\nAnna"_qs << u"Call Anna"_qs;
        QTest::newRow("crlf") << u"Call\r\nAnna"_qs << u"Call Anna"_qs;
        QTest::newRow("carriage return") << u"Call\rAnna"_qs << u"Call Anna"_qs;
        QTest::newRow("line separator") << u"Call\u2028Anna"_qs << u"Call Anna"_qs;
        QTest::newRow("paragraph separator") << u"Call\u2029Anna\n"_qs << u"Call Anna"_qs;
    }

    void lineBreaksBecomeSpaces()
    {
        QFETCH(QString, typed);
        QFETCH(QString, card);
        auto store = makeStore();
        store->add(typed, LaneKind::Todo);
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{card});
        const QByteArray line = "- [ ] " + card.toUtf8() + "\n";
        QVERIFY(Scratch::read(boardFile(u"2025-03-07"_qs)).contains(line));
        const Board reread =
            Board::parse(QString::fromUtf8(Scratch::read(boardFile(u"2025-03-07"_qs))));
        QCOMPARE(texts(reread, LaneKind::Todo), QStringList{card});

        store->rename(store->board().cards(LaneKind::Todo).first().id(), typed + u"!"_qs);
        QCOMPARE(texts(store->board(), LaneKind::Todo).first().endsWith(u'!'), true);
        QVERIFY(!texts(store->board(), LaneKind::Todo).first().contains(u'\n'));
    }

    void fileWithoutRoleLanesGainsThem()
    {
        // The reader always restores the role lanes, so an edit never meets a board without one.
        Scratch::write(boardFile(u"2025-03-07"_qs), "## To do\n## Review\n- [ ] r\n");
        auto store = makeStore();
        store->add(u"started"_qs, LaneKind::Doing);
        QCOMPARE(texts(store->board(), LaneKind::Doing), QStringList{u"started"_qs});
        QVERIFY(Scratch::read(boardFile(u"2025-03-07"_qs))
                    .contains("## To do\n\n\n\n## Doing\n\n- [ ] started\n\n\n## Done\n"));
    }

    void moveRules()
    {
        auto store = makeStore();
        for (const QString &t : {u"a"_qs, u"b"_qs, u"c"_qs})
            store->add(t, LaneKind::Todo);
        store->add(u"x"_qs, LaneKind::Doing);
        const auto id = [&](LaneKind kind, int i) { return store->board().cards(kind)[i].id(); };
        const QUuid a = id(LaneKind::Todo, 0), c = id(LaneKind::Todo, 2);

        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        store->move(a, LaneKind::Done, a);
        QCOMPARE(changed.count(), 0);

        store->move(c, LaneKind::Todo, a);
        QCOMPARE(texts(store->board(), LaneKind::Todo), (QStringList{u"c"_qs, u"a"_qs, u"b"_qs}));
        store->move(a, LaneKind::Todo, std::nullopt);
        QCOMPARE(texts(store->board(), LaneKind::Todo), (QStringList{u"c"_qs, u"b"_qs, u"a"_qs}));
        // A "before" card in another lane counts as absent.
        const QUuid b = id(LaneKind::Todo, 1);
        store->move(a, LaneKind::Doing, b);
        QCOMPARE(texts(store->board(), LaneKind::Doing), (QStringList{u"x"_qs, u"a"_qs}));
        QCOMPARE(store->board().cards(LaneKind::Doing)[1].id(), a);
        store->move(QUuid::createUuid(), LaneKind::Done, std::nullopt);
        QCOMPARE(Board::parse(QString::fromUtf8(Scratch::read(boardFile(u"2025-03-07"_qs))))
                     .cards(LaneKind::Doing)
                     .size(),
                 2);
    }

    void toggleRules()
    {
        auto store = makeStore();
        store->add(u"t"_qs, LaneKind::Todo);
        store->add(u"d"_qs, LaneKind::Doing);
        const QUuid d = store->board().cards(LaneKind::Doing)[0].id();
        store->toggle(d);
        QCOMPARE(texts(store->board(), LaneKind::Done), QStringList{u"d"_qs});
        QVERIFY(Scratch::read(boardFile(u"2025-03-07"_qs)).contains("**Complete**\n- [x] d\n"));
        store->toggle(d);
        QCOMPARE(texts(store->board(), LaneKind::Todo), (QStringList{u"t"_qs, u"d"_qs}));
        QVERIFY(store->board().cards(LaneKind::Doing).isEmpty());
        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        store->toggle(QUuid::createUuid());
        QCOMPARE(changed.count(), 0);
    }

    void toggleInCustomLaneDoesNothing()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs), "## Review\n- [ ] r\n");
        auto store = makeStore();
        const QUuid r = store->board().lanes()[3].cards()[0].id();
        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        store->toggle(r);
        QCOMPARE(changed.count(), 0);
        // But moving it is fine.
        store->move(r, LaneKind::Doing, std::nullopt);
        QCOMPARE(texts(store->board(), LaneKind::Doing), QStringList{u"r"_qs});
    }

    void renameAndDelete()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs), "## To do\n- [ ] a\n\tnote\n- [ ] b\n");
        auto store = makeStore();
        const QUuid a = store->board().cards(LaneKind::Todo)[0].id();
        const QUuid b = store->board().cards(LaneKind::Todo)[1].id();
        store->rename(a, u"  renamed \n"_qs);
        QCOMPARE(store->board().cards(LaneKind::Todo)[0].text(), u"renamed"_qs);
        QCOMPARE(store->board().cards(LaneKind::Todo)[0].id(), a);
        QCOMPARE(store->board().cards(LaneKind::Todo)[0].extraLines(), QStringList{u"\tnote"_qs});
        store->rename(a, u"   "_qs);
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"b"_qs});
        store->deleteCard(b);
        QVERIFY(store->board().cards(LaneKind::Todo).isEmpty());
        QVERIFY(!Scratch::read(boardFile(u"2025-03-07"_qs)).contains("- [ ] b"));
        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        store->deleteCard(b);
        store->rename(b, u"x"_qs);
        QCOMPARE(changed.count(), 0);
    }

    void copyToTodayTakesTextOnly()
    {
        Scratch::write(boardFile(u"2025-03-01"_qs), "## Done\n**Complete**\n- [x] old\n\tdetail\n");
        auto store = makeStore();
        store->view(u"2025-03-01"_qs);
        const Card past = store->viewedBoard()->cards(LaneKind::Done)[0];
        store->copyToToday(past.id().toString());
        store->copyToToday(past);
        const QList<Card> todo = store->board().cards(LaneKind::Todo);
        QCOMPARE(todo.size(), 2);
        QCOMPARE(todo[0].text(), u"old"_qs);
        QVERIFY(todo[0].extraLines().isEmpty());
        QVERIFY(todo[0].id() != past.id() && todo[1].id() != todo[0].id());
        QCOMPARE(store->viewedBoard()->cards(LaneKind::Done)[0], past);
    }

    void qmlFacingOperations()
    {
        auto store = makeStore();
        QVERIFY(QMetaObject::invokeMethod(store.get(), "add", Q_ARG(QString, u"via qml"_qs),
                                          Q_ARG(QString, u"doing"_qs)));
        QCOMPARE(texts(store->board(), LaneKind::Doing), QStringList{u"via qml"_qs});
        const QString id = store->board().cards(LaneKind::Doing)[0].id().toString();
        QVERIFY(QMetaObject::invokeMethod(store.get(), "move", Q_ARG(QString, id),
                                          Q_ARG(QString, u"done"_qs), Q_ARG(QString, QString())));
        QCOMPARE(texts(store->board(), LaneKind::Done), QStringList{u"via qml"_qs});
        store->add(u"x"_qs, u"nonsense"_qs);
        store->move(u"not-a-uuid"_qs, u"todo"_qs, QString());
        QCOMPARE(store->board().cards(LaneKind::Todo).size(), 0);
    }

    // ---- past days

    void stepping()
    {
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"one"_qs}, {}, {}));
        Scratch::write(boardFile(u"2025-03-04"_qs), boardText({u"four"_qs}, {}, {}));
        Scratch::write(boardFile(u"2025-03-09"_qs), boardText({u"future"_qs}, {}, {}));
        Scratch::write(m_scratch->boards() + u"/tasks.md"_qs, "x");
        Scratch::write(m_scratch->boards() + u"/2025-03-02.txt"_qs, "x");
        auto store = makeStore();
        QCOMPARE(store->boardDays(), (QSet<QString>{u"2025-03-01"_qs, u"2025-03-04"_qs,
                                                    u"2025-03-07"_qs, u"2025-03-09"_qs}));
        QVERIFY(!store->canStep(1));
        QVERIFY(store->canStep(-1));
        store->step(-1);
        QCOMPARE(store->viewedDay(), std::optional<QString>(u"2025-03-04"_qs));
        QCOMPARE(texts(store->shownBoard(), LaneKind::Todo), QStringList{u"four"_qs});
        QCOMPARE(store->shownDay(), u"2025-03-04"_qs);
        store->step(-5);
        QCOMPARE(store->viewedDay(), std::optional<QString>(u"2025-03-01"_qs));
        QVERIFY(!store->canStep(-1));
        store->step(-1);
        QCOMPARE(store->viewedDay(), std::optional<QString>(u"2025-03-01"_qs));
        QVERIFY(store->canStep(1));
        store->step(1);
        QCOMPARE(store->viewedDay(), std::optional<QString>(u"2025-03-04"_qs));
        store->step(0);
        QVERIFY(!store->viewedDay());
        QVERIFY(!store->isViewingPast());
        QCOMPARE(store->shownDay(), u"2025-03-07"_qs);
    }

    void viewRules()
    {
        auto store = makeStore();
        store->add(u"today"_qs, LaneKind::Todo);
        store->view(u"2025-03-07"_qs);
        QVERIFY(!store->viewedDay());
        store->view(u"2025-04-01"_qs);
        QVERIFY(!store->viewedDay());
        QCOMPARE(texts(store->shownBoard(), LaneKind::Todo), QStringList{u"today"_qs});
        const QString before = store->lastError();
        store->view(u"2025-02-10"_qs);
        QCOMPARE(store->viewedDay(), std::optional<QString>(u"2025-02-10"_qs));
        QVERIFY(store->viewedBoard());
        QCOMPARE(store->shownBoard().lanes().size(), 3);
        QVERIFY(store->shownBoard().cards(LaneKind::Todo).isEmpty());
        QCOMPARE(store->lastError(), before);
        store->view(std::nullopt);
        QVERIFY(!store->viewedBoard());
    }

    void dateParsing_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("valid");
        QTest::newRow("day") << u"2025-03-07"_qs << true;
        QTest::newRow("leap day") << u"2028-02-29"_qs << true;
        QTest::newRow("no such day") << u"2025-02-30"_qs << false;
        QTest::newRow("letters") << u"abcdefghij"_qs << false;
        QTest::newRow("short") << u"2025-3-7"_qs << false;
        QTest::newRow("empty") << QString() << false;
    }
    void dateParsing()
    {
        QFETCH(QString, key);
        QFETCH(bool, valid);
        QCOMPARE(BoardStore::date(key).has_value(), valid);
        if (valid)
            QCOMPARE(BoardStore::date(key)->toString(u"yyyy-MM-dd"), key);
    }

    // ---- day rollover

    void rolloverAtMidnight_data()
    {
        QTest::addColumn<QDateTime>("before");
        QTest::addColumn<QDateTime>("after");
        QTest::addColumn<QString>("dayBefore");
        QTest::addColumn<QString>("dayAfter");
        QTest::newRow("ordinary") << QDateTime(QDate(2025, 3, 7), QTime(23, 59, 59, 800))
                                  << QDateTime(QDate(2025, 3, 8), QTime(0, 0, 0, 300))
                                  << u"2025-03-07"_qs << u"2025-03-08"_qs;
        QTest::newRow("spring forward")
            << QDateTime(QDate(2026, 3, 28), QTime(23, 30))
            << QDateTime(QDate(2026, 3, 29), QTime(3, 30)) << u"2026-03-28"_qs << u"2026-03-29"_qs;
        QTest::newRow("fall back, 25 hour day") << QDateTime(QDate(2026, 10, 25), QTime(23, 59, 59))
                                                << QDateTime(QDate(2026, 10, 26), QTime(0, 0, 1))
                                                << u"2026-10-25"_qs << u"2026-10-26"_qs;
        QTest::newRow("new year") << QDateTime(QDate(2025, 12, 31), QTime(23, 59))
                                  << QDateTime(QDate(2026, 1, 1), QTime(0, 1)) << u"2025-12-31"_qs
                                  << u"2026-01-01"_qs;
    }
    void rolloverAtMidnight()
    {
        QFETCH(QDateTime, before);
        QFETCH(QDateTime, after);
        QFETCH(QString, dayBefore);
        QFETCH(QString, dayAfter);
        m_clock.set(before);
        auto store = makeStore();
        QCOMPARE(store->day(), dayBefore);
        store->add(u"unfinished"_qs, LaneKind::Doing);
        store->setGreeting(std::nullopt);
        m_clock.set(before.addSecs(0));
        store->checkForChanges();
        QCOMPARE(store->day(), dayBefore);
        m_clock.set(after);
        store->checkForChanges();
        QCOMPARE(store->day(), dayAfter);
        QCOMPARE(texts(store->board(), LaneKind::Doing), QStringList{u"unfinished"_qs});
        QCOMPARE(store->greeting(), std::optional<Greeting>(Greeting(1, dayBefore)));
        QVERIFY(QFileInfo::exists(boardFile(dayAfter)));
    }

    void rolloverSkipsPastRefresh()
    {
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"v1"_qs}, {}, {}));
        auto store = makeStore();
        store->view(u"2025-03-01"_qs);
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"v2"_qs}, {}, {}));
        m_clock.set(2025, 3, 8, 0, 5);
        store->checkForChanges();
        QCOMPARE(store->day(), u"2025-03-08"_qs);
        QCOMPARE(store->viewedDay(), std::optional<QString>(u"2025-03-01"_qs));
        QCOMPARE(texts(*store->viewedBoard(), LaneKind::Todo), QStringList{u"v1"_qs});
        // The next check refreshes it.
        store->checkForChanges();
        QCOMPARE(texts(*store->viewedBoard(), LaneKind::Todo), QStringList{u"v2"_qs});
    }

    void checkForChangesRules()
    {
        auto store = makeStore();
        store->add(u"mine"_qs, LaneKind::Todo);
        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        store->checkForChanges();
        QCOMPARE(changed.count(), 0); // own save: not re-read

        QFile::remove(boardFile(u"2025-03-07"_qs));
        store->checkForChanges();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"mine"_qs});
        QVERIFY(!QFileInfo::exists(boardFile(u"2025-03-07"_qs)));
        store->add(u"again"_qs, LaneKind::Todo);
        QVERIFY(QFileInfo::exists(boardFile(u"2025-03-07"_qs)));

        // Two outside writes within the same second are both noticed.
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"first"_qs}, {}, {}));
        store->checkForChanges();
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"first"_qs});
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"second"_qs}, {}, {}));
        store->checkForChanges();
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"second"_qs});
    }

    void outsideFixClearsError()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs), "\xff\xfe broken");
        auto store = makeStore();
        QVERIFY(!store->lastError().isEmpty());
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"fixed"_qs}, {}, {}));
        store->checkForChanges();
        QCOMPARE(store->lastError(), QString());
        QCOMPARE(texts(store->board(), LaneKind::Todo), QStringList{u"fixed"_qs});
    }

    // ---- watching the folder (real inotify)

    void outsideAtomicSaveIsPickedUp()
    {
        auto store = makeStore();
        // A broken file from outside: the watcher re-reads it and reports.
        Scratch::write(boardFile(u"2025-03-07"_qs), "\xff broken");
        QTRY_VERIFY_WITH_TIMEOUT(!store->lastError().isEmpty(), 3000);

        // Then a good one, saved the way editors do: a temporary file renamed over the board.
        const QString temporary = m_scratch->boards() + u"/.2025-03-07.md.swp"_qs;
        Scratch::write(temporary, boardText({u"from outside"_qs}, {}, {}));
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(::rename(QFile::encodeName(temporary).constData(),
                         QFile::encodeName(boardFile(u"2025-03-07"_qs)).constData()) == 0);
        QTRY_COMPARE_WITH_TIMEOUT(texts(store->board(), LaneKind::Todo),
                                  QStringList{u"from outside"_qs}, 3000);
        qInfo("outside save shown after %lld ms", elapsed.elapsed());
        QCOMPARE(store->lastError(), QString());
    }

    void ownSaveIsNotReloaded()
    {
        auto store = makeStore();
        QTest::qWait(400);
        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        store->add(u"mine"_qs, LaneKind::Todo);
        QCOMPARE(changed.count(), 1);
        QTest::qWait(800);
        QCOMPARE(changed.count(), 1);
    }

    void replacedWatcherNoLongerReports()
    {
        auto store = makeStore();
        store->setBoardsFolder(u"Moved"_qs);
        store->add(u"in the new folder"_qs, LaneKind::Todo);
        QTest::qWait(400);
        QSignalSpy changed(store.get(), &BoardStore::boardChanged);
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"old folder"_qs}, {}, {}));
        QTest::qWait(800);
        QCOMPARE(changed.count(), 0);
        // The new folder is watched.
        Scratch::write(m_scratch->vault() + u"/Moved/2025-03-07.md"_qs,
                       boardText({u"new folder"_qs}, {}, {}));
        QTRY_COMPARE_WITH_TIMEOUT(texts(store->board(), LaneKind::Todo),
                                  QStringList{u"new folder"_qs}, 3000);
    }

    void viewedPastDayFollowsOutsideEdits()
    {
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"v1"_qs}, {}, {}));
        auto store = makeStore();
        store->view(u"2025-03-01"_qs);
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"v2"_qs}, {}, {}));
        QTRY_COMPARE_WITH_TIMEOUT(texts(*store->viewedBoard(), LaneKind::Todo),
                                  QStringList{u"v2"_qs}, 3000);
    }

    void notesLeaveBoardsOut()
    {
        Scratch::write(m_scratch->vault() + u"/Inbox.md"_qs, "x");
        auto store = makeStore();
        store->vaultNotes()->require();
        QTRY_VERIFY(store->vaultNotes()->isKnown());
        const QList<NoteFile> notes = store->vaultNotes()->shown({});
        QStringList paths;
        for (const NoteFile &note : notes)
            paths.append(note.path);
        QVERIFY(paths.contains(u"Inbox"_qs));
        QVERIFY(!paths.contains(u"01 Journal/Boards/2025-03-07"_qs));
    }
};

QTEST_GUILESS_MAIN(TestBoardStore)
#include "tst_boardstore.moc"
