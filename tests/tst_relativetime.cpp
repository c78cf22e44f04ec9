#include "notes/RelativeTime.h"

#include <QTest>

class TestRelativeTime : public QObject {
    Q_OBJECT

private slots:
    void words_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QDateTime>("moment");
        QTest::addColumn<QString>("expected");

        const QDateTime now(QDate(2025, 3, 14), QTime(15, 0));
        QTest::newRow("seconds") << u"en_US"_qs << now.addSecs(-30) << u"30 seconds ago"_qs;
        QTest::newRow("minutes") << u"en_US"_qs << now.addSecs(-5 * 60) << u"5 minutes ago"_qs;
        QTest::newRow("one hour") << u"en_US"_qs << now.addSecs(-3600) << u"1 hour ago"_qs;
        QTest::newRow("hours") << u"en_US"_qs << now.addSecs(-2 * 3600) << u"2 hours ago"_qs;
        QTest::newRow("yesterday") << u"en_US"_qs << now.addDays(-1) << u"yesterday"_qs;
        QTest::newRow("days") << u"en_US"_qs << now.addDays(-3) << u"3 days ago"_qs;
        QTest::newRow("last week") << u"en_US"_qs << now.addDays(-8) << u"last week"_qs;
        QTest::newRow("weeks") << u"en_US"_qs << now.addDays(-20) << u"2 weeks ago"_qs;
        QTest::newRow("last month") << u"en_US"_qs << now.addMonths(-1) << u"last month"_qs;
        QTest::newRow("months") << u"en_US"_qs << now.addMonths(-5) << u"5 months ago"_qs;
        QTest::newRow("last year") << u"en_US"_qs << now.addYears(-1) << u"last year"_qs;
        QTest::newRow("years") << u"en_US"_qs << now.addYears(-3) << u"3 years ago"_qs;
        QTest::newRow("future") << u"en_US"_qs << now.addDays(3) << u"in 3 days"_qs;
        QTest::newRow("German hours")
            << u"de_DE"_qs << now.addSecs(-2 * 3600) << u"vor 2 Stunden"_qs;
        QTest::newRow("German yesterday") << u"de_DE"_qs << now.addDays(-1) << u"gestern"_qs;
        QTest::newRow("French yesterday") << u"fr_FR"_qs << now.addDays(-1) << u"hier"_qs;
    }

    void words()
    {
        QFETCH(QString, locale);
        QFETCH(QDateTime, moment);
        const QDateTime now(QDate(2025, 3, 14), QTime(15, 0));
        QTEST(RelativeTime::describe(moment, now, QLocale(locale)), "expected");
    }

    void cLocaleReadsEnglish()
    {
        const QDateTime now(QDate(2025, 3, 14), QTime(15, 0));
        QCOMPARE(RelativeTime::describe(now.addSecs(-3600), now, QLocale::c()), u"1 hour ago"_qs);
    }

    void invalidMomentSaysNothing()
    {
        QCOMPARE(RelativeTime::describe(QDateTime(), QDateTime::currentDateTime()), QString());
    }
};

QTEST_GUILESS_MAIN(TestRelativeTime)
#include "tst_relativetime.moc"
