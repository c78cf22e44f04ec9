#include "app/SelfTest.h"
#include "model/Board.h"
#include "model/Shortcut.h"
#include "notes/QuickNoteFormat.h"
#include "platform/ShortcutKeys.h"

#include <QTest>

namespace {

struct Report {
    bool passed = false;
    QStringList lines;
};

Report runWith(const SelfTest::Subjects &subjects)
{
    Report report;
    report.passed =
        SelfTest::run(subjects, [&](const QString &line) { report.lines.append(line); });
    return report;
}

// A reader that does not know the completed-lane marker.
Board parseIgnoringComplete(const QString &text)
{
    QString without = text;
    without.replace(u"**Complete**"_qs, QString());
    Board board = Board::parse(without);
    return board;
}

// A reader that drops indented continuation lines.
Board parseDroppingContinuations(const QString &text)
{
    Board board = Board::parse(text);
    for (Lane &lane : board.lanes()) {
        for (Card &card : lane.cards())
            card.setExtraLines({});
    }
    return board;
}

// A reader that trims card texts.
Board parseTrimming(const QString &text)
{
    Board board = Board::parse(text);
    for (Lane &lane : board.lanes()) {
        for (Card &card : lane.cards())
            card.setText(card.text().trimmed());
    }
    return board;
}

} // namespace

class TestSelfTest : public QObject {
    Q_OBJECT

private slots:
    void fixture()
    {
        const QString fixture = SelfTest::boardFixture();
        const QStringList lines = fixture.split(u'\n');
        QCOMPARE(lines.size(), 30);
        QVERIFY(!fixture.endsWith(u'\n'));
        QCOMPARE(lines[0], u"---"_qs);
        QCOMPARE(lines[2], u"kanban-plugin: board"_qs);
        QCOMPARE(lines[6], u"## Doing"_qs);
        QCOMPARE(lines[9], u"\tsub note line"_qs);
        QCOMPARE(lines[14], u"**Complete**"_qs);
        QCOMPARE(lines[20], u"- [ ] [[S3 Asset Manager]]"_qs);
        for (int empty : {1, 3, 5, 7, 10, 11, 13, 16, 17, 19, 21, 22, 23, 24})
            QVERIFY2(lines[empty].isEmpty(), qPrintable(QString::number(empty + 1)));
        QCOMPARE(lines.mid(25).join(u'\n'), Board::defaultSettings());
    }

    void correctImplementationPrintsOnlyOk()
    {
        const Report report = runWith(SelfTest::Subjects::real());
        QVERIFY(report.passed);
        QCOMPARE(report.lines, QStringList{u"selftest OK"_qs});
    }

    void ignoringCompleteFailsTwoChecks()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.parse = parseIgnoringComplete;
        const Report report = runWith(subjects);
        QVERIFY(!report.passed);
        QCOMPARE(report.lines,
                 (QStringList{u"FAIL: done lane complete"_qs, u"FAIL: done written checked"_qs,
                              u"selftest FAILED"_qs}));
    }

    void droppingContinuationsFailsExtraLines()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.parse = parseDroppingContinuations;
        const Report report = runWith(subjects);
        QCOMPARE(report.lines, (QStringList{u"FAIL: extra lines"_qs, u"selftest FAILED"_qs}));
    }

    void trimmingCardTextsStillPasses()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.parse = parseTrimming;
        QCOMPARE(runWith(subjects).lines, QStringList{u"selftest OK"_qs});
    }

    void wrongDisplayFailsBothBulletChecks()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        // Forgets star items: the second check then runs on this wrong output.
        subjects.toDisplay = [](const QString &text) {
            QString result = QuickNoteFormat::toDisplay(text);
            result.replace(u"\u2022 star"_qs, u"* star"_qs);
            return result;
        };
        const Report report = runWith(subjects);
        QCOMPARE(report.lines.size(), 3);
        QCOMPARE(report.lines[0],
                 u"FAIL: bullets to display: Standup\n\u2022 first\n  \u2022 nested\n* star\n"
                 u"\u2022 [ ] task\nnot-a-bullet\n"_qs);
        QCOMPARE(report.lines[1], u"FAIL: bullets to markdown"_qs);
        QCOMPARE(report.lines[2], u"selftest FAILED"_qs);
    }

    void wrongLabelsAreReported()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.label = [](const Shortcut &shortcut) {
            return ShortcutKeys::label(shortcut, nullptr); // no layout: letters read "?"
        };
        const Report report = runWith(subjects);
        QCOMPARE(report.lines,
                 (QStringList{u"FAIL: open label \u2325?"_qs, u"selftest FAILED"_qs}));

        subjects.label = [](const Shortcut &) { return u"x"_qs; };
        QCOMPARE(runWith(subjects).lines,
                 (QStringList{u"FAIL: open label x"_qs, u"FAIL: switch label"_qs,
                              u"selftest FAILED"_qs}));
    }

    void wrongLanesListsTitles()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.parse = [](const QString &text) {
            Board board = Board::parse(text);
            if (board.laneIndex(LaneKind::Todo) == 0 && !text.contains(u"## Extra"))
                board.lanes().append(Lane(u"Extra"_qs));
            return board;
        };
        const Report report = runWith(subjects);
        QVERIFY(!report.passed);
        QCOMPARE(report.lines.first(),
                 u"FAIL: lanes [\"To do\", \"Doing\", \"Done\", \"Mentoring\", \"Extra\"]"_qs);
        QVERIFY(!report.lines.contains(u"FAIL: round trip lanes"_qs));
    }

    void writerLosingSettingsAndCards()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.markdown = [](const Board &board) {
            Board stripped(board.lanes());
            stripped.lanes().removeLast();
            return stripped.markdown();
        };
        // The custom lane disappears from B and the fixture's settings block is not written:
        // B gets the default block, which equals the fixture's, so "settings kept" still holds.
        const Report report = runWith(subjects);
        QCOMPARE(report.lines, (QStringList{u"FAIL: round trip lanes"_qs,
                                            u"FAIL: round trip cards"_qs, u"selftest FAILED"_qs}));
    }

    void settingsCompared()
    {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.markdown = [](const Board &board) {
            Board changed = board;
            changed.setSettingsBlock(u"%% kanban:settings\n%%"_qs);
            return changed.markdown();
        };
        QCOMPARE(runWith(subjects).lines,
                 (QStringList{u"FAIL: settings kept"_qs, u"selftest FAILED"_qs}));
    }
};

QTEST_APPLESS_MAIN(TestSelfTest)
#include "tst_selftest.moc"
