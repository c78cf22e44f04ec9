#include "platform/DayChangeTimer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <ctime>

#include <unistd.h>

namespace {

QDateTime utc(const char *iso)
{
    return QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODateWithMs);
}

void useZone(const QByteArray &zone)
{
    qputenv("TZ", zone);
    ::tzset();
}

bool writeFile(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(data) == data.size();
}

// Replaces `path` the way package managers and timedatectl do: a new file renamed over it.
bool replaceFile(const QString &path, const QByteArray &data)
{
    const QString temporary = path + u".new"_qs;
    return writeFile(temporary, data) && ::rename(QFile::encodeName(temporary).constData(),
                                                  QFile::encodeName(path).constData()) == 0;
}

bool replaceSymlink(const QString &link, const QString &target)
{
    const QByteArray temporary = QFile::encodeName(link + u".new"_qs);
    return ::symlink(QFile::encodeName(target).constData(), temporary.constData()) == 0 &&
           ::rename(temporary.constData(), QFile::encodeName(link).constData()) == 0;
}

} // namespace

class TestDayChangeTimer : public QObject {
    Q_OBJECT

private:
    QByteArray m_originalZone;
    bool m_hadZone = false;

private slots:
    void initTestCase()
    {
        m_hadZone = qEnvironmentVariableIsSet("TZ");
        m_originalZone = qgetenv("TZ");
        QVERIFY2(QFile::exists(u"/usr/share/zoneinfo/Europe/Berlin"_qs), "tzdata is missing");
    }

    void init() { useZone("Europe/Berlin"); }

    void cleanup()
    {
        if (m_hadZone)
            qputenv("TZ", m_originalZone);
        else
            qunsetenv("TZ");
        ::tzset();
    }

    void nextMidnight_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QDateTime>("expected");

        // Berlin is UTC+1 in winter and UTC+2 in summer.
        QTest::newRow("ordinary day") << QByteArray("Europe/Berlin") << utc("2026-05-12T08:15:00Z")
                                      << utc("2026-05-12T22:00:00Z");
        QTest::newRow("a moment before midnight")
            << QByteArray("Europe/Berlin") << utc("2026-05-12T21:59:59.800Z")
            << utc("2026-05-12T22:00:00Z");
        QTest::newRow("at midnight the following one")
            << QByteArray("Europe/Berlin") << utc("2026-05-12T22:00:00Z")
            << utc("2026-05-13T22:00:00Z");
        QTest::newRow("a moment after midnight")
            << QByteArray("Europe/Berlin") << utc("2026-05-12T22:00:00.001Z")
            << utc("2026-05-13T22:00:00Z");
        QTest::newRow("eve of spring forward")
            << QByteArray("Europe/Berlin") << utc("2026-03-28T19:00:00Z")
            << utc("2026-03-28T23:00:00Z");
        QTest::newRow("spring forward, before the jump")
            << QByteArray("Europe/Berlin") << utc("2026-03-29T00:30:00Z")
            << utc("2026-03-29T22:00:00Z");
        QTest::newRow("spring forward, after the jump")
            << QByteArray("Europe/Berlin") << utc("2026-03-29T10:00:00Z")
            << utc("2026-03-29T22:00:00Z");
        QTest::newRow("fall back, first 02:30")
            << QByteArray("Europe/Berlin") << utc("2026-10-25T00:30:00Z")
            << utc("2026-10-25T23:00:00Z");
        QTest::newRow("fall back, second 02:30")
            << QByteArray("Europe/Berlin") << utc("2026-10-25T01:30:00Z")
            << utc("2026-10-25T23:00:00Z");
        QTest::newRow("end of month") << QByteArray("Europe/Berlin") << utc("2026-04-30T16:00:00Z")
                                      << utc("2026-04-30T22:00:00Z");
        QTest::newRow("end of year") << QByteArray("Europe/Berlin") << utc("2026-12-31T22:30:00Z")
                                     << utc("2026-12-31T23:00:00Z");
        QTest::newRow("February 28 in a leap year")
            << QByteArray("Europe/Berlin") << utc("2028-02-28T11:00:00Z")
            << utc("2028-02-28T23:00:00Z");
        QTest::newRow("leap day") << QByteArray("Europe/Berlin") << utc("2028-02-29T11:00:00Z")
                                  << utc("2028-02-29T23:00:00Z");
        QTest::newRow("February 28 in a common year")
            << QByteArray("Europe/Berlin") << utc("2027-02-28T11:00:00Z")
            << utc("2027-02-28T23:00:00Z");
        QTest::newRow("UTC") << QByteArray("UTC") << utc("2026-05-12T08:15:00Z")
                             << utc("2026-05-13T00:00:00Z");
        // In 2018 São Paulo moved its clocks from 00:00 to 01:00: that day starts at 01:00.
        QTest::newRow("midnight that does not exist")
            << QByteArray("America/Sao_Paulo") << utc("2018-11-03T15:00:00Z")
            << utc("2018-11-04T03:00:00Z");
        // In 2019 it went back from 00:00 to 23:00, so 23:30 came twice on February 16.
        QTest::newRow("hour before midnight twice, second time")
            << QByteArray("America/Sao_Paulo") << utc("2019-02-17T02:30:00Z")
            << utc("2019-02-17T03:00:00Z");
    }

    void nextMidnight()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QDateTime, now);
        QFETCH(QDateTime, expected);
        QVERIFY(now.isValid());
        QVERIFY(expected.isValid());
        useZone(zone);
        QCOMPARE(DayChangeTimer::nextMidnight(now).toUTC(), expected);
    }

    void dayLength_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QDateTime>("noonBefore");
        QTest::addColumn<QDateTime>("noonOfDay");
        QTest::addColumn<int>("hours");

        QTest::newRow("ordinary") << QByteArray("Europe/Berlin") << utc("2026-05-11T10:00:00Z")
                                  << utc("2026-05-12T10:00:00Z") << 24;
        QTest::newRow("spring forward")
            << QByteArray("Europe/Berlin") << utc("2026-03-28T11:00:00Z")
            << utc("2026-03-29T10:00:00Z") << 23;
        QTest::newRow("fall back") << QByteArray("Europe/Berlin") << utc("2026-10-24T10:00:00Z")
                                   << utc("2026-10-25T11:00:00Z") << 25;
        QTest::newRow("day starting at 01:00")
            << QByteArray("America/Sao_Paulo") << utc("2018-11-03T15:00:00Z")
            << utc("2018-11-04T14:00:00Z") << 23;
        QTest::newRow("day ending at the second 24:00")
            << QByteArray("America/Sao_Paulo") << utc("2019-02-15T14:00:00Z")
            << utc("2019-02-16T14:00:00Z") << 25;
    }

    // The day holding `noonOfDay` runs from the midnight after `noonBefore` to its own next one.
    void dayLength()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QDateTime, noonBefore);
        QFETCH(QDateTime, noonOfDay);
        QFETCH(int, hours);
        useZone(zone);
        const QDateTime start = DayChangeTimer::nextMidnight(noonBefore);
        const QDateTime end = DayChangeTimer::nextMidnight(noonOfDay);
        QVERIFY(start < noonOfDay);
        QCOMPARE(start.secsTo(end), qint64(hours) * 3600);
    }

    void armedForMidnightFromTheStart()
    {
        const QDateTime before = QDateTime::currentDateTime();
        const DayChangeTimer timer(QString{});
        const QDateTime after = QDateTime::currentDateTime();
        const QDateTime armed = timer.armedFor();
        QVERIFY(armed == DayChangeTimer::nextMidnight(before) ||
                armed == DayChangeTimer::nextMidnight(after));
    }

    void firesAtTheMomentOnceThenWaitsForMidnight()
    {
        DayChangeTimer timer(QString{});
        QSignalSpy spy(&timer, &DayChangeTimer::dayMayHaveChanged);
        QElapsedTimer clock;
        clock.start();
        const QDateTime moment = QDateTime::currentDateTime().addMSecs(300);
        timer.armAt(moment);
        QCOMPARE(timer.armedFor(), moment);

        QVERIFY(spy.wait(2000));
        const qint64 elapsed = clock.elapsed();
        QVERIFY2(elapsed >= 250, qPrintable(u"fired after %1 ms"_qs.arg(elapsed)));
        QVERIFY2(elapsed < 1000, qPrintable(u"fired after %1 ms"_qs.arg(elapsed)));
        QVERIFY(QDateTime::currentDateTime() >= moment);
        QCOMPARE(spy.count(), 1);

        const QDateTime now = QDateTime::currentDateTime();
        const QDateTime armed = timer.armedFor();
        QVERIFY2(armed == DayChangeTimer::nextMidnight(moment) ||
                     armed == DayChangeTimer::nextMidnight(now),
                 qPrintable(armed.toString(Qt::ISODateWithMs)));
        QTest::qWait(1000);
        QCOMPARE(spy.count(), 1);
    }

    void laterArmingReplacesEarlier()
    {
        DayChangeTimer timer(QString{});
        QSignalSpy spy(&timer, &DayChangeTimer::dayMayHaveChanged);
        QElapsedTimer clock;
        clock.start();
        const QDateTime now = QDateTime::currentDateTime();
        timer.armAt(now.addMSecs(200));
        timer.armAt(now.addMSecs(600));

        QVERIFY(spy.wait(2000));
        QVERIFY2(clock.elapsed() >= 550, qPrintable(u"fired after %1 ms"_qs.arg(clock.elapsed())));
        QTest::qWait(500);
        QCOMPARE(spy.count(), 1);
    }

    void momentInThePastFiresAtOnce()
    {
        DayChangeTimer timer(QString{});
        QSignalSpy spy(&timer, &DayChangeTimer::dayMayHaveChanged);
        timer.armAt(QDateTime::currentDateTime().addSecs(-60));
        QVERIFY(spy.wait(1000));
        QTest::qWait(300);
        QCOMPARE(spy.count(), 1);
        QVERIFY(timer.armedFor() > QDateTime::currentDateTime());
    }

    // A receiver may arm again for its own moment; that is not overwritten by the midnight.
    void receiverCanArmAgain()
    {
        DayChangeTimer timer(QString{});
        QSignalSpy spy(&timer, &DayChangeTimer::dayMayHaveChanged);
        QDateTime second;
        connect(&timer, &DayChangeTimer::dayMayHaveChanged, this, [&] {
            if (!second.isValid()) {
                second = QDateTime::currentDateTime().addMSecs(200);
                timer.armAt(second);
            }
        });
        timer.armAt(QDateTime::currentDateTime().addMSecs(100));
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 2, 3000);
        QVERIFY(QDateTime::currentDateTime() >= second);
        QVERIFY(timer.armedFor() > QDateTime::currentDateTime().addSecs(1));
    }

    void zoneChange_data()
    {
        QTest::addColumn<bool>("symlinked");
        QTest::addColumn<QString>("change");

        QTest::newRow("zone file replaced") << false << u"replace"_qs;
        QTest::newRow("zone file written in place") << false << u"write"_qs;
        QTest::newRow("zone file removed") << false << u"remove"_qs;
        QTest::newRow("zone link pointed elsewhere") << true << u"relink"_qs;
        QTest::newRow("zone link target replaced") << true << u"replace target"_qs;
        QTest::newRow("zone link target written in place") << true << u"write target"_qs;
    }

    void zoneChange()
    {
        QFETCH(bool, symlinked);
        QFETCH(QString, change);

        QTemporaryDir etc;
        QTemporaryDir zones;
        QVERIFY(etc.isValid() && zones.isValid());
        const QString zoneFile = etc.filePath(u"localtime"_qs);
        const QString berlin = zones.filePath(u"Berlin"_qs);
        const QString tokyo = zones.filePath(u"Tokyo"_qs);
        QVERIFY(writeFile(berlin, "TZif Berlin"));
        QVERIFY(writeFile(tokyo, "TZif Tokyo"));
        if (symlinked)
            QVERIFY(QFile::link(berlin, zoneFile));
        else
            QVERIFY(writeFile(zoneFile, "TZif Berlin"));

        DayChangeTimer timer(zoneFile);
        QSignalSpy spy(&timer, &DayChangeTimer::dayMayHaveChanged);

        // Other files beside the zone file and other zones are no concern.
        QVERIFY(writeFile(etc.filePath(u"hostname"_qs), "box"));
        QVERIFY(replaceFile(etc.filePath(u"hosts"_qs), "127.0.0.1 box"));
        QVERIFY(replaceFile(tokyo, "TZif Tokyo 2"));
        QTest::qWait(300);
        QCOMPARE(spy.count(), 0);

        const auto makeChange = [&](const QString &what) {
            if (what == u"replace")
                return replaceFile(zoneFile, "TZif Tokyo");
            if (what == u"write")
                return writeFile(zoneFile, "TZif Tokyo");
            if (what == u"remove")
                return QFile::remove(zoneFile);
            if (what == u"relink")
                return replaceSymlink(zoneFile, tokyo);
            if (what == u"replace target")
                return replaceFile(berlin, "TZif Berlin 2");
            if (what == u"write target")
                return writeFile(berlin, "TZif Berlin 2");
            return false;
        };

        QVERIFY(makeChange(change));
        QVERIFY(spy.wait(2000));
        QTest::qWait(200);
        const qsizetype afterFirst = spy.count();
        QVERIFY2(afterFirst <= 2, qPrintable(QString::number(afterFirst)));
        QVERIFY(timer.armedFor() > QDateTime::currentDateTime());

        // The watch must survive the change: the same kind of change again is seen again.
        if (change == u"relink") {
            QVERIFY(writeFile(berlin, "TZif Berlin 2"));
            QTest::qWait(300);
            QCOMPARE(spy.count(), afterFirst); // no longer the zone in use
            QVERIFY(writeFile(tokyo, "TZif Tokyo 3"));
        } else if (change == u"remove") {
            QVERIFY(writeFile(zoneFile, "TZif Berlin"));
        } else {
            QVERIFY(makeChange(change));
        }
        QTRY_VERIFY_WITH_TIMEOUT(spy.count() > afterFirst, 2000);
    }

    void zoneFolderMissing()
    {
        QTemporaryDir scratch;
        DayChangeTimer timer(scratch.filePath(u"no/such/folder/localtime"_qs));
        QSignalSpy spy(&timer, &DayChangeTimer::dayMayHaveChanged);
        timer.armAt(QDateTime::currentDateTime().addMSecs(100));
        QVERIFY(spy.wait(2000));
    }
};

QTEST_GUILESS_MAIN(TestDayChangeTimer)
#include "tst_daychangetimer.moc"
