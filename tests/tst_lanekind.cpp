#include "model/LaneKind.h"

#include <QSet>
#include <QTest>

Q_DECLARE_METATYPE(std::optional<LaneKind>)

class TestLaneKind : public QObject {
    Q_OBJECT

private slots:
    void cases()
    {
        const auto all = LaneKind::allCases();
        QCOMPARE(all.size(), 3u);
        QCOMPARE(all[0], LaneKind::Todo);
        QCOMPARE(all[1], LaneKind::Doing);
        QCOMPARE(all[2], LaneKind::Done);

        QCOMPARE(LaneKind(LaneKind::Todo).rawValue(), u"todo"_qs);
        QCOMPARE(LaneKind(LaneKind::Doing).rawValue(), u"doing"_qs);
        QCOMPARE(LaneKind(LaneKind::Done).rawValue(), u"done"_qs);
        QCOMPARE(LaneKind(LaneKind::Doing).id(), u"doing"_qs);

        QCOMPARE(LaneKind(LaneKind::Todo).title(), u"To do"_qs);
        QCOMPARE(LaneKind(LaneKind::Doing).title(), u"Doing"_qs);
        QCOMPARE(LaneKind(LaneKind::Done).title(), u"Done"_qs);

        QCOMPARE(LaneKind(LaneKind::Todo).next(), LaneKind::Doing);
        QCOMPARE(LaneKind(LaneKind::Doing).next(), LaneKind::Done);
        QCOMPARE(LaneKind(LaneKind::Done).next(), LaneKind::Todo);
    }

    void rawValues_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<std::optional<LaneKind>>("expected");
        QTest::newRow("todo") << u"todo"_qs << std::optional<LaneKind>(LaneKind::Todo);
        QTest::newRow("doing") << u"doing"_qs << std::optional<LaneKind>(LaneKind::Doing);
        QTest::newRow("done") << u"done"_qs << std::optional<LaneKind>(LaneKind::Done);
        QTest::newRow("title is not a raw value") << u"To do"_qs << std::optional<LaneKind>();
        QTest::newRow("case matters") << u"Done"_qs << std::optional<LaneKind>();
        QTest::newRow("empty") << QString() << std::optional<LaneKind>();
    }
    void rawValues()
    {
        QFETCH(QString, raw);
        QFETCH(std::optional<LaneKind>, expected);
        QCOMPARE(LaneKind::fromRawValue(raw), expected);
    }

    void hashing()
    {
        QSet<LaneKind> kinds;
        for (LaneKind kind : LaneKind::allCases())
            kinds.insert(kind);
        kinds.insert(LaneKind::Done);
        QCOMPARE(kinds.size(), 3);
        QVERIFY(LaneKind(LaneKind::Todo) != LaneKind(LaneKind::Done));
    }

    void match_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<std::optional<LaneKind>>("expected");
        const std::optional<LaneKind> todo = LaneKind::Todo, doing = LaneKind::Doing,
                                      done = LaneKind::Done, none;
        QTest::newRow("To do") << u"To do"_qs << todo;
        QTest::newRow("TODO") << u"TODO"_qs << todo;
        QTest::newRow("To-Do") << u"To-Do"_qs << todo;
        QTest::newRow("Tasks") << u"Tasks"_qs << todo;
        QTest::newRow("Backlog") << u"Backlog"_qs << todo;
        QTest::newRow("Doing") << u"Doing"_qs << doing;
        QTest::newRow("In progress") << u"In progress"_qs << doing;
        QTest::newRow("In-Progress") << u"In-Progress"_qs << doing;
        QTest::newRow("In Progress 🚧") << u"In Progress 🚧"_qs << doing;
        QTest::newRow("WIP") << u"WIP"_qs << doing;
        QTest::newRow("1. Doing") << u"1. Doing"_qs << doing;
        QTest::newRow("Done ✅") << u"Done ✅"_qs << done;
        QTest::newRow("Done!") << u"Done!"_qs << done;
        QTest::newRow("Completed") << u"Completed"_qs << done;
        QTest::newRow("complete") << u"complete"_qs << done;
        QTest::newRow("title with CR") << u"Done\r"_qs << done;
        QTest::newRow("spaces and tabs") << u"  \tD o n e\t"_qs << done;
        QTest::newRow("fullwidth letters fold") << u"ＤＯＮＥ"_qs << none;
        QTest::newRow("Later") << u"Later"_qs << none;
        QTest::newRow("Review") << u"Review"_qs << none;
        QTest::newRow("Todo today") << u"Todo today"_qs << none;
        QTest::newRow("empty") << QString() << none;
        QTest::newRow("digits only") << u"2025"_qs << none;
        QTest::newRow("emoji only") << u"✅🚧"_qs << none;
        // A combining accent belongs to its letter: "dóne" is not "done".
        QTest::newRow("combining mark") << u"do\u0301ne"_qs << none;
        // Full lower-casing: dotted capital I lower-cases to "i" plus a combining dot.
        QTest::newRow("dotted capital I") << u"W\u0130P"_qs << none;
        QTest::newRow("Greek letters are letters") << u"Done λ"_qs << none;
    }
    void match()
    {
        QFETCH(QString, title);
        QFETCH(std::optional<LaneKind>, expected);
        QCOMPARE(LaneKind::match(title), expected);
    }
};

QTEST_APPLESS_MAIN(TestLaneKind)
#include "tst_lanekind.moc"
