#include "store/Preferences.h"
#include "support/StoreFixture.h"

#include <QMetaProperty>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// The settings on their own: what an empty, a hand-edited or a written file reads as.
class TestPreferences : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;

    static void store(const QString &key, const QVariant &value)
    {
        QSettings settings(Preferences::settingsPath(), QSettings::IniFormat);
        settings.setValue(key, value);
    }
    static QVariant stored(const QString &key)
    {
        return QSettings(Preferences::settingsPath(), QSettings::IniFormat).value(key);
    }

private slots:
    void init() { m_scratch = std::make_unique<Scratch>(); }

    void settingsPath_data()
    {
        QTest::addColumn<QString>("config");
        QTest::addColumn<QString>("expected");
        QTest::newRow("absolute") << u"/tmp/cfg"_qs << u"/tmp/cfg/Tallowfern/Tallowfern.conf"_qs;
        QTest::newRow("unset") << QString() << u"~/.config/Tallowfern/Tallowfern.conf"_qs;
        QTest::newRow("relative is ignored")
            << u"cfg"_qs << u"~/.config/Tallowfern/Tallowfern.conf"_qs;
    }
    void settingsPath()
    {
        QFETCH(QString, config);
        QFETCH(QString, expected);
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config));
        expected.replace(u"~"_qs, m_scratch->home());
        QCOMPARE(Preferences::settingsPath(), expected);
    }

    void defaults()
    {
        store(u"vaultPath"_qs, m_scratch->vault());
        const Preferences prefs;
        QVERIFY(!prefs.isFirstRun());
        QCOMPARE(prefs.vaultPath(), m_scratch->vault());
        QCOMPARE(prefs.boardsFolder(), Preferences::defaultBoardsFolder.toString());
        QCOMPARE(prefs.notesFolder(), Preferences::defaultNotesFolder.toString());
        QVERIFY(prefs.swipeToSwitch());
        QVERIFY(prefs.carryOver());
        QVERIFY(prefs.morningBanner());
        QCOMPARE(prefs.notchPosition(), Preferences::NotchPosition::Automatic);
        QCOMPARE(prefs.openShortcut(), Shortcut::defaultOpen());
        QCOMPARE(prefs.switchTabShortcut(), Shortcut::defaultSwitchTab());
    }

    void firstRunKeepsTheVaultItFound()
    {
        {
            const Preferences prefs;
            QVERIFY(prefs.isFirstRun());
            QVERIFY(!prefs.vaultPath().isEmpty());
            QCOMPARE(stored(u"vaultPath"_qs).toString(), prefs.vaultPath());
        }
        const Preferences again;
        QVERIFY(!again.isFirstRun());
    }

    void storedValues_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("boards folder") << u"boardsFolder"_qs << QVariant(u"Days"_qs)
                                       << QByteArray("boardsFolder") << QVariant(u"Days"_qs);
        QTest::newRow("empty notes folder") << u"notesFolder"_qs << QVariant(u""_qs)
                                            << QByteArray("notesFolder") << QVariant(u""_qs);
        QTest::newRow("false as text") << u"swipeToSwitch"_qs << QVariant(u"false"_qs)
                                       << QByteArray("swipeToSwitch") << QVariant(false);
        QTest::newRow("true as text")
            << u"carryOver"_qs << QVariant(u"true"_qs) << QByteArray("carryOver") << QVariant(true);
        QTest::newRow("not a Boolean") << u"morningBanner"_qs << QVariant(u"nope"_qs)
                                       << QByteArray("morningBanner") << QVariant(true);
        QTest::newRow("number is not a Boolean")
            << u"carryOver"_qs << QVariant(u"0"_qs) << QByteArray("carryOver") << QVariant(true);
    }
    void storedValues()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        QFETCH(QByteArray, property);
        QFETCH(QVariant, expected);
        store(u"vaultPath"_qs, m_scratch->vault());
        store(key, value);
        const Preferences prefs;
        QCOMPARE(prefs.property(property.constData()), expected);
    }

    void notchPosition_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<Preferences::NotchPosition>("expected");
        QTest::newRow("left") << u"left"_qs << Preferences::NotchPosition::Left;
        QTest::newRow("padded, capitalised")
            << u" Centre "_qs << Preferences::NotchPosition::Centre;
        QTest::newRow("right") << u"RIGHT"_qs << Preferences::NotchPosition::Right;
        QTest::newRow("mistyped") << u"middle"_qs << Preferences::NotchPosition::Automatic;
    }
    void notchPosition()
    {
        QFETCH(QString, stored);
        QFETCH(Preferences::NotchPosition, expected);
        store(u"notchPosition"_qs, stored);
        const Preferences prefs;
        QCOMPARE(prefs.notchPosition(), expected);
    }

    void setterStoresAndSignalsOnce_data()
    {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("value");
        QTest::newRow("vault") << QByteArray("vaultPath") << QVariant(u"/elsewhere"_qs);
        QTest::newRow("boards") << QByteArray("boardsFolder") << QVariant(u"B"_qs);
        QTest::newRow("notes") << QByteArray("notesFolder") << QVariant(u"N"_qs);
        QTest::newRow("swipe") << QByteArray("swipeToSwitch") << QVariant(false);
        QTest::newRow("carry-over") << QByteArray("carryOver") << QVariant(false);
        QTest::newRow("banner") << QByteArray("morningBanner") << QVariant(false);
        QTest::newRow("position") << QByteArray("notchPosition")
                                  << QVariant::fromValue(Preferences::NotchPosition::Right);
        QTest::newRow("open shortcut")
            << QByteArray("openShortcut")
            << QVariant::fromValue(
                   Shortcut(Shortcut::keySpace, Shortcut::Control | Shortcut::Option));
        QTest::newRow("tab shortcut")
            << QByteArray("switchTabShortcut")
            << QVariant::fromValue(Shortcut(Shortcut::keyReturn, Shortcut::Command));
    }
    void setterStoresAndSignalsOnce()
    {
        QFETCH(QByteArray, property);
        QFETCH(QVariant, value);
        store(u"vaultPath"_qs, m_scratch->vault());
        Preferences prefs;
        const QMetaProperty meta =
            prefs.metaObject()->property(prefs.metaObject()->indexOfProperty(property));
        QSignalSpy changed(&prefs, meta.notifySignal());
        QVERIFY(meta.write(&prefs, value));
        QVERIFY(meta.write(&prefs, value));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(meta.read(&prefs), value);
        const Preferences reread;
        QCOMPARE(meta.read(&reread), value);
    }

    void boardsMovedOnlyWithTheBoards_data()
    {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("moves");
        QTest::newRow("vault") << QByteArray("vaultPath") << u"/other"_qs << true;
        QTest::newRow("boards folder") << QByteArray("boardsFolder") << u"Elsewhere"_qs << true;
        QTest::newRow("notes folder") << QByteArray("notesFolder") << u"Elsewhere"_qs << false;
    }
    void boardsMovedOnlyWithTheBoards()
    {
        QFETCH(QByteArray, property);
        QFETCH(QString, value);
        QFETCH(bool, moves);
        store(u"vaultPath"_qs, m_scratch->vault());
        Preferences prefs;
        QStringList storedWhenMoved;
        connect(&prefs, &Preferences::boardsMoved, this,
                [&] { storedWhenMoved.append(stored(QString::fromLatin1(property)).toString()); });
        prefs.setProperty(property.constData(), value);
        // Announced once the new place is in the file.
        QCOMPARE(storedWhenMoved, moves ? QStringList{value} : QStringList());
    }

    void unusableShortcutReadsAsDefault()
    {
        store(u"openShortcut"_qs, u"{not json"_qs);
        const Preferences prefs;
        QCOMPARE(prefs.openShortcut(), Shortcut::defaultOpen());
        QCOMPARE(stored(u"openShortcut"_qs).toString(), u"{not json"_qs);
    }
};

QTEST_GUILESS_MAIN(TestPreferences)
#include "tst_preferences.moc"
