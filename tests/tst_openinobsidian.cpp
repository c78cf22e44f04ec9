#include "store/BoardStore.h"
#include "store/VaultLocator.h"
#include "support/StoreFixture.h"

#include <QFile>
#include <QStandardPaths>
#include <QTest>

#include <memory>

// Opening a note goes through the desktop's real handler lookup: xdg-open finds the handler
// registered for obsidian:// and gives it the URL, which must decode back to the exact names.
class TestOpenInObsidian : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    QString m_received;

    // What the handler received; empty if nothing arrived in time.
    QString lastUrl()
    {
        QString url;
        (void)QTest::qWaitFor(
            [&] {
                url = QString::fromUtf8(Scratch::read(m_received)).trimmed();
                return !url.isEmpty();
            },
            10000);
        QFile::remove(m_received);
        return url;
    }

    static QString queryItem(const QString &url, const QString &key)
    {
        const QString query = url.mid(url.indexOf(u'?') + 1);
        for (const QString &item : query.split(u'&')) {
            if (item.startsWith(key + u'='))
                return QString::fromUtf8(
                    QByteArray::fromPercentEncoding(item.mid(key.size() + 1).toUtf8()));
        }
        return {};
    }

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(u"xdg-open"_qs).isEmpty())
            QFAIL("xdg-open is missing: install xdg-utils (tools/dev test does)");
        // xdg-open consults URL handlers only on a desktop session.
        if (qEnvironmentVariableIsEmpty("DISPLAY") &&
            qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
            QFAIL("needs a display: run under Xvfb (tools/dev test does)");
    }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        const QString data = m_scratch->path(u"data"_qs);
        m_received = m_scratch->path(u"received.txt"_qs);
        const QString handler = m_scratch->path(u"record-url"_qs);
        Scratch::write(handler, "#!/bin/sh\nprintf '%s\\n' \"$1\" > \"" + m_received.toUtf8() +
                                    ".part\" && mv \"" + m_received.toUtf8() + ".part\" \"" +
                                    m_received.toUtf8() + "\"\n");
        QFile::setPermissions(handler, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        Scratch::write(
            data + u"/applications/obsidian-recorder.desktop"_qs,
            "[Desktop Entry]\nType=Application\nName=Recorder\nExec=" + handler.toUtf8() +
                " %u\nMimeType=x-scheme-handler/obsidian;\nNoDisplay=true\n");
        Scratch::write(
            m_scratch->path(u"config/mimeapps.list"_qs),
            "[Default Applications]\nx-scheme-handler/obsidian=obsidian-recorder.desktop\n");
        qputenv("XDG_DATA_HOME", QFile::encodeName(data));
        qunsetenv("XDG_CURRENT_DESKTOP");
        qunsetenv("DESKTOP_SESSION");
        qunsetenv("KDE_FULL_SESSION");
        qunsetenv("GNOME_DESKTOP_SESSION_ID");
        qunsetenv("BROWSER");
    }

    void namesSurviveTheTrip_data()
    {
        QTest::addColumn<QString>("vaultName");
        QTest::addColumn<QString>("file");
        QTest::newRow("plain") << u"vault"_qs << u"01 Journal/Boards/2025-03-07"_qs;
        QTest::newRow("specials") << u"Work & Life #2"_qs << u"a+b/c%d=e?f&g#h"_qs;
        QTest::newRow("non-ASCII") << u"Tagebücher"_qs << u"Ideen/Überlegungen 日本 ✨"_qs;
    }
    void namesSurviveTheTrip()
    {
        QFETCH(QString, vaultName);
        QFETCH(QString, file);
        const QString vault = m_scratch->path(vaultName);
        QDir().mkpath(vault);
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(vault));
        BoardStore store(&m_clock, nullptr);
        store.openInObsidian(file);
        const QString url = lastUrl();
        QCOMPARE(url, QString::fromLatin1(VaultLocator::obsidianUrl(vaultName, file)));
        QVERIFY(url.startsWith(u"obsidian://open?vault="_qs));
        QCOMPARE(queryItem(url, u"vault"_qs), vaultName);
        QCOMPARE(queryItem(url, u"file"_qs), file);
    }

    void todayBoard()
    {
        BoardStore store(&m_clock, nullptr);
        store.openTodayInObsidian();
        QCOMPARE(lastUrl(), u"obsidian://open?vault=vault&file=01%20Journal/Boards/2025-03-07"_qs);
    }
};

QTEST_GUILESS_MAIN(TestOpenInObsidian)
#include "tst_openinobsidian.moc"
