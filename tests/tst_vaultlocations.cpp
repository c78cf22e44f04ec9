#include "store/Preferences.h"
#include "store/VaultLocations.h"
#include "support/StoreFixture.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// Where things are, from the stored vault and folders or from TALLOWFERN_VAULT.
class TestVaultLocations : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    std::unique_ptr<Preferences> m_prefs;

private slots:
    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        QSettings(Preferences::settingsPath(), QSettings::IniFormat)
            .setValue(u"vaultPath"_qs, u"/stored/My Vault"_qs);
        m_prefs = std::make_unique<Preferences>();
    }
    void cleanup() { m_prefs.reset(); }

    void paths_data()
    {
        QTest::addColumn<QString>("environment");
        QTest::addColumn<QString>("vault");
        QTest::addColumn<QString>("name");
        QTest::newRow("stored vault") << QString() << u"/stored/My Vault"_qs << u"My Vault"_qs;
        QTest::newRow("variable wins") << u"/env/Other"_qs << u"/env/Other"_qs << u"Other"_qs;
        QTest::newRow("trailing slash")
            << u"/env/Slashed/"_qs << u"/env/Slashed/"_qs << u"Slashed"_qs;
    }
    void paths()
    {
        QFETCH(QString, environment);
        QFETCH(QString, vault);
        QFETCH(QString, name);
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(environment));
        m_prefs->setBoardsFolder(u"B/Days"_qs);
        m_prefs->setNotesFolder(u"N"_qs);
        const VaultLocations locations(m_prefs.get());
        QCOMPARE(locations.vaultDir(), vault);
        QCOMPARE(locations.vaultName(), name);
        QCOMPARE(locations.boardsDir(), vault + u"/B/Days"_qs);
        QCOMPARE(locations.notesDir(), vault + u"/N"_qs);
        QCOMPARE(locations.boardPath(u"2025-03-07"_qs), vault + u"/B/Days/2025-03-07.md"_qs);
        QCOMPARE(locations.notePath(u"2025-03-07"_qs), vault + u"/N/2025-03-07.md"_qs);
    }

    void followsTheVariableOnEveryCall()
    {
        const VaultLocations locations(m_prefs.get());
        qputenv("TALLOWFERN_VAULT", "/first");
        QCOMPARE(locations.vaultDir(), u"/first"_qs);
        qunsetenv("TALLOWFERN_VAULT");
        QCOMPARE(locations.vaultDir(), u"/stored/My Vault"_qs);
    }

    void vaultRelativePath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("the vault") << u"/env/V/"_qs << QVariant(QString());
        QTest::newRow("inside") << u"/env/V/a/b"_qs << QVariant(u"a/b"_qs);
        QTest::newRow("outside") << u"/env/Vault2/a"_qs << QVariant();
    }
    void vaultRelativePath()
    {
        QFETCH(QString, path);
        QFETCH(QVariant, expected);
        qputenv("TALLOWFERN_VAULT", "/env/V");
        const VaultLocations locations(m_prefs.get());
        QCOMPARE(locations.vaultRelativePath(path), expected);
    }

    void obsidianUrlNamesTheVault()
    {
        qputenv("TALLOWFERN_VAULT", "/env/My Vault");
        const VaultLocations locations(m_prefs.get());
        QCOMPARE(locations.obsidianUrl(u"Boards/2025-03-07"_qs),
                 QByteArray("obsidian://open?vault=My%20Vault&file=Boards/2025-03-07"));
    }

    void changedWithTheFolders_data()
    {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("changes");
        QTest::newRow("vault") << QByteArray("vaultPath") << QVariant(u"/v"_qs) << 1;
        QTest::newRow("boards") << QByteArray("boardsFolder") << QVariant(u"b"_qs) << 1;
        QTest::newRow("notes") << QByteArray("notesFolder") << QVariant(u"n"_qs) << 1;
        QTest::newRow("swipe") << QByteArray("swipeToSwitch") << QVariant(false) << 0;
    }
    void changedWithTheFolders()
    {
        QFETCH(QByteArray, property);
        QFETCH(QVariant, value);
        QFETCH(int, changes);
        const VaultLocations locations(m_prefs.get());
        QSignalSpy changed(&locations, &VaultLocations::changed);
        m_prefs->setProperty(property.constData(), value);
        QCOMPARE(changed.count(), changes);
    }
};

QTEST_GUILESS_MAIN(TestVaultLocations)
#include "tst_vaultlocations.moc"
