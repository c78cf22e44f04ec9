#include "store/DayFiles.h"
#include "support/StoreFixture.h"

#include <QTest>
#include <QTimeZone>

#include <memory>

// Day keys and the day-named files of a folder.
class TestDayFiles : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;

    QString folderWith(const QStringList &names) const
    {
        const QString folder = m_scratch->path(u"days"_qs);
        QDir().mkpath(folder);
        for (const QString &name : names)
            Scratch::write(folder + u'/' + name, "x");
        return folder;
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }
    void init() { m_scratch = std::make_unique<Scratch>(); }

    void date_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QDate>("expected");
        QTest::newRow("day") << u"2025-03-07"_qs << QDate(2025, 3, 7);
        QTest::newRow("leap day") << u"2028-02-29"_qs << QDate(2028, 2, 29);
        QTest::newRow("not a leap year") << u"2025-02-29"_qs << QDate();
        QTest::newRow("month 13") << u"2025-13-01"_qs << QDate();
        QTest::newRow("day zero") << u"2025-03-00"_qs << QDate();
        QTest::newRow("slashes") << u"2025/03/07"_qs << QDate();
        QTest::newRow("sign in a number") << u"2025-+3-07"_qs << QDate();
        QTest::newRow("Arabic-Indic digits") << u"\u0662\u0660\u0662\u0665-03-07"_qs << QDate();
        QTest::newRow("longer") << u"2025-03-07x"_qs << QDate();
        QTest::newRow("empty") << QString() << QDate();
    }
    void date()
    {
        QFETCH(QString, key);
        QFETCH(QDate, expected);
        const std::optional<QDate> parsed = DayFiles::date(key);
        QCOMPARE(parsed.value_or(QDate()), expected);
        if (parsed)
            QCOMPARE(DayFiles::key(*parsed), key);
    }

    void keyOfIsTheLocalDay_data()
    {
        QTest::addColumn<QDateTime>("moment");
        QTest::addColumn<QString>("expected");
        QTest::newRow("local") << QDateTime(QDate(2025, 3, 7), QTime(23, 59)) << u"2025-03-07"_qs;
        // 23:30 UTC is already the next day in Berlin.
        QTest::newRow("UTC late evening")
            << QDateTime(QDate(2025, 3, 7), QTime(23, 30), QTimeZone::utc()) << u"2025-03-08"_qs;
    }
    void keyOfIsTheLocalDay()
    {
        QFETCH(QDateTime, moment);
        QFETCH(QString, expected);
        QCOMPARE(DayFiles::keyOf(moment), expected);
    }

    void daysIn()
    {
        const QString folder =
            folderWith({u"2025-03-01.md"_qs, u"2025-03-09.md"_qs, u"2025-02-30.md"_qs,
                        u"notes.md"_qs, u"2025-03-02.txt"_qs, u"2025-03-03.MD"_qs,
                        u"2025-03-04.md.swp"_qs, u"Über-2025.md"_qs});
        QCOMPARE(DayFiles::daysIn(folder), (QSet<QString>{u"2025-03-01"_qs, u"2025-03-09"_qs}));
        QCOMPARE(DayFiles::daysIn(m_scratch->path(u"missing"_qs)), QSet<QString>());
    }

    void latestBefore_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty") << QStringList() << QString();
        QTest::newRow("the latest earlier day")
            << QStringList{u"2025-03-01.md"_qs, u"2025-03-05.md"_qs, u"2025-02-28.md"_qs}
            << u"2025-03-05"_qs;
        QTest::newRow("today and later never")
            << QStringList{u"2025-03-07.md"_qs, u"2025-03-08.md"_qs} << QString();
        QTest::newRow("any ten characters") << QStringList{u"2024-draft.md"_qs} << u"2024-draft"_qs;
        QTest::newRow("other lengths never")
            << QStringList{u"2025-3-1.md"_qs, u"2025-03-011.md"_qs} << QString();
        QTest::newRow("non-ASCII ten characters sort as text")
            << QStringList{u"2025-03-0\u00e9.md"_qs, u"2025-03-01.md"_qs} << u"2025-03-01"_qs;
        QTest::newRow("non-ASCII before today counts")
            << QStringList{u"2025-01-\u00e9\u00e9.md"_qs} << u"2025-01-\u00e9\u00e9"_qs;
        QTest::newRow("non-ASCII longer than ten never")
            << QStringList{u"2025-01-\u00e9\u00e9\u00e9.md"_qs} << QString();
    }
    void latestBefore()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, expected);
        const QString folder = folderWith(files);
        const std::optional<QString> found = DayFiles::latestBefore(folder, u"2025-03-07"_qs);
        if (expected.isEmpty())
            QVERIFY2(!found, qPrintable(found.value_or(QString())));
        else
            QCOMPARE(found.value_or(QString()), folder + u'/' + expected + u".md"_qs);
    }
};

QTEST_GUILESS_MAIN(TestDayFiles)
#include "tst_dayfiles.moc"
