#include "platform/LaunchAtLogin.h"
#include "support/StoreFixture.h"

#include <QTest>

#include <memory>
#include <unistd.h>

class TestLaunchAtLogin : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;

    QString entry() const
    {
        return m_scratch->path(u"config/autostart/io.tallowfern.Tallowfern.desktop"_qs);
    }

private slots:
    void init() { m_scratch = std::make_unique<Scratch>(); }

    void entryLocation()
    {
        QCOMPARE(LaunchAtLogin::entryPath(), entry());
        qunsetenv("XDG_CONFIG_HOME");
        QCOMPARE(LaunchAtLogin::entryPath(),
                 m_scratch->home() + u"/.config/autostart/io.tallowfern.Tallowfern.desktop"_qs);
    }

    void onAndOff()
    {
        QVERIFY(!LaunchAtLogin::isEnabled());
        QCOMPARE(LaunchAtLogin::setEnabled(true, u"/usr/bin/tallowfern"_qs), std::nullopt);
        QVERIFY(LaunchAtLogin::isEnabled());
        const QByteArray text = Scratch::read(entry());
        QVERIFY(text.startsWith("[Desktop Entry]\n"));
        QVERIFY(text.contains("\nType=Application\n"));
        QVERIFY(text.contains("\nExec=/usr/bin/tallowfern\n"));
        // The icon the package installs into the theme.
        QVERIFY(text.contains("\nIcon=io.tallowfern.Tallowfern\n"));
        QCOMPARE(LaunchAtLogin::setEnabled(false, QString()), std::nullopt);
        QVERIFY(!QFileInfo::exists(entry()));
        QVERIFY(!LaunchAtLogin::isEnabled());
        QCOMPARE(LaunchAtLogin::setEnabled(false, QString()), std::nullopt); // already off
    }

    void hiddenEntryIsOff_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("hidden") << QByteArray("[Desktop Entry]\nType=Application\nHidden=true\n")
                                << false;
        QTest::newRow("hidden with spaces")
            << QByteArray("[Desktop Entry]\nHidden = true\n") << false;
        QTest::newRow("not hidden") << QByteArray("[Desktop Entry]\nHidden=false\n") << true;
        QTest::newRow("other group")
            << QByteArray("[Desktop Entry]\n[Desktop Action x]\nHidden=true\n") << true;
        QTest::newRow("plain") << QByteArray("[Desktop Entry]\nExec=x\n") << true;
        QTest::newRow("not UTF-8") << QByteArray("[Desktop Entry]\nName=\xff\n") << false;
    }
    void hiddenEntryIsOff()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, enabled);
        Scratch::write(entry(), text);
        QCOMPARE(LaunchAtLogin::isEnabled(), enabled);
        if (!enabled) {
            // Switching on replaces it with a working entry.
            QCOMPARE(LaunchAtLogin::setEnabled(true, u"/opt/t/tallowfern"_qs), std::nullopt);
            QVERIFY(LaunchAtLogin::isEnabled());
        }
    }

    void quoting_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("exec");
        QTest::newRow("plain") << u"/usr/bin/tallowfern"_qs << u"/usr/bin/tallowfern"_qs;
        QTest::newRow("space") << u"/home/a b/tallowfern"_qs << u"\"/home/a b/tallowfern\""_qs;
        QTest::newRow("dollar and quote") << u"/x/$HOME\"q/t"_qs << u"\"/x/\\\\$HOME\\\\\"q/t\""_qs;
        QTest::newRow("backslash") << u"/x\\y/t"_qs << u"\"/x\\\\\\\\y/t\""_qs;
        QTest::newRow("percent") << u"/x/100%/t"_qs << u"/x/100%%/t"_qs;
        QTest::newRow("non-ASCII") << u"/home/jürgen/t"_qs << u"/home/jürgen/t"_qs;
    }
    void quoting()
    {
        QFETCH(QString, program);
        QFETCH(QString, exec);
        QCOMPARE(LaunchAtLogin::quotedExec(program), exec);
    }

    void autostartFolderIsAFile()
    {
        Scratch::write(m_scratch->path(u"config/autostart"_qs), "not a folder");
        const auto error = LaunchAtLogin::setEnabled(true, u"/usr/bin/tallowfern"_qs);
        QVERIFY(error);
        QVERIFY2(error->startsWith(u"Not a directory"_qs), qPrintable(*error));
        QVERIFY(!LaunchAtLogin::isEnabled());
        QCOMPARE(Scratch::read(m_scratch->path(u"config/autostart"_qs)),
                 QByteArray("not a folder"));
    }

    void readOnlyAutostartFolder()
    {
        if (::geteuid() == 0)
            QSKIP("permissions do not bind root; the unprivileged run of this test covers it");
        QDir().mkpath(m_scratch->path(u"config/autostart"_qs));
        QFile::setPermissions(m_scratch->path(u"config/autostart"_qs),
                              QFile::ReadOwner | QFile::ExeOwner);
        const auto error = LaunchAtLogin::setEnabled(true, u"/usr/bin/tallowfern"_qs);
        QVERIFY(error);
        QVERIFY2(error->startsWith(u"Permission denied"_qs), qPrintable(*error));
        QVERIFY(!LaunchAtLogin::isEnabled());
        // And switching off an entry that cannot be removed says so.
        QFile::setPermissions(m_scratch->path(u"config/autostart"_qs),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QCOMPARE(LaunchAtLogin::setEnabled(true, u"/usr/bin/tallowfern"_qs), std::nullopt);
        QFile::setPermissions(m_scratch->path(u"config/autostart"_qs),
                              QFile::ReadOwner | QFile::ExeOwner);
        const auto removal = LaunchAtLogin::setEnabled(false, QString());
        QFile::setPermissions(m_scratch->path(u"config/autostart"_qs),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(removal);
        QVERIFY2(removal->startsWith(u"Permission denied"_qs), qPrintable(*removal));
        QVERIFY(LaunchAtLogin::isEnabled());
    }
};

QTEST_GUILESS_MAIN(TestLaunchAtLogin)
#include "tst_launchatlogin.moc"
