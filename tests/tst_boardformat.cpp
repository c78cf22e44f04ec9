#include "model/Board.h"

#include <QTest>

namespace {

QString lines(const QStringList &list)
{
    return list.join(u'\n');
}

QStringList titles(const Board &board)
{
    QStringList result;
    for (const Lane &lane : board.lanes())
        result.append(lane.title());
    return result;
}

QStringList texts(const Lane &lane)
{
    QStringList result;
    for (const Card &card : lane.cards())
        result.append(card.text());
    return result;
}

const QStringList defaultTitles{u"To do"_qs, u"Doing"_qs, u"Done"_qs};
const QString frontMatter = u"---\n\nkanban-plugin: board\n\n---\n\n"_qs;

} // namespace

class TestBoardFormat : public QObject {
    Q_OBJECT

private slots:
    void defaultSettingsText()
    {
        const QString settings = Board::defaultSettings();
        QCOMPARE(settings.size(), 91);
        QCOMPARE(
            settings.split(u'\n'),
            (QStringList{u"%% kanban:settings"_qs, u"```"_qs,
                         u"{\"kanban-plugin\":\"board\",\"list-collapse\":[false,false,false]}"_qs,
                         u"```"_qs, u"%%"_qs}));
    }

    void emptyText()
    {
        const Board board = Board::parse(u"");
        QCOMPARE(titles(board), defaultTitles);
        QCOMPARE(board.lanes()[2].isComplete(), true);
        QVERIFY(!board.lanes()[0].isComplete());
        QVERIFY(!board.lanes()[1].isComplete());
        for (const Lane &lane : board.lanes())
            QVERIFY(lane.cards().isEmpty());
        QVERIFY(!board.settingsBlock());
    }

    void unclosedFrontMatterIsRead()
    {
        const Board board = Board::parse(lines({u"---"_qs, u"kanban-plugin: board"_qs,
                                                u"tags: x"_qs, u"## Review"_qs, u"- [ ] kept"_qs}));
        QCOMPARE(titles(board), (QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Review"_qs}));
        QCOMPARE(texts(board.lanes()[3]), QStringList{u"kept"_qs});
    }

    void frontMatterClosedFarBelow()
    {
        const Board board = Board::parse(lines({u"  ---\t"_qs, u"## To do"_qs, u"- [ ] lost"_qs,
                                                u"---"_qs, u"## Later"_qs, u"- [ ] kept"_qs}));
        QCOMPARE(titles(board), (QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Later"_qs}));
        QVERIFY(board.lanes()[0].cards().isEmpty());
        QCOMPARE(texts(board.lanes()[3]), QStringList{u"kept"_qs});
    }

    void frontMatterOnlyFromFirstLine()
    {
        const Board board =
            Board::parse(lines({QString(), u"---"_qs, u"## To do"_qs, u"- [ ] a"_qs, u"---"_qs}));
        QCOMPARE(texts(board.lanes()[0]), QStringList{u"a"_qs});
    }

    void settingsRightAfterFrontMatter()
    {
        const QString rest =
            lines({u"%% kanban:settings"_qs, u"## To do"_qs, u"- [ ] hidden"_qs, u"%%"_qs});
        const Board board = Board::parse(frontMatter + rest + u"\n\n"_qs);
        QCOMPARE(titles(board), defaultTitles);
        for (const Lane &lane : board.lanes())
            QVERIFY(lane.cards().isEmpty());
        QCOMPARE(board.settingsBlock(), std::optional<QString>(rest));
    }

    void settingsMarkerMustStartTheLine()
    {
        const Board board = Board::parse(
            lines({u"## To do"_qs, u" %% kanban:settings"_qs, u"- [ ] still read"_qs}));
        QVERIFY(!board.settingsBlock());
        QCOMPARE(texts(board.lanes()[0]), QStringList{u"still read"_qs});
    }

    void settingsTrimmedAndWrittenWithOneFeed()
    {
        const QString block = u"%% kanban:settings\n```\n{\"kanban-plugin\":\"board\"}\n```\n%%"_qs;
        const Board board = Board::parse(u"## To do\n\n"_qs + block + u"\n\n \t\r\n\n"_qs);
        QCOMPARE(board.settingsBlock(), std::optional<QString>(block));
        QVERIFY(board.markdown().endsWith(u"\n\n"_qs + block + u'\n'));
        QVERIFY(!board.markdown().endsWith(u"\n\n"_qs + block + u"\n\n"_qs));
    }

    void checkedCardInOpenLaneIsWrittenOpen()
    {
        const Board board = Board::parse(lines({u"## Doing"_qs, u"- [X] Done thing"_qs}));
        QCOMPARE(texts(board.lanes()[1]), QStringList{u"Done thing"_qs});
        QVERIFY(board.markdown().contains(u"\n- [ ] Done thing\n"));
        QVERIFY(!board.markdown().contains(u"[X]"));
    }

    void cardTextIsNotTrimmed_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("text");
        QTest::newRow("two spaces") << u"- [ ]  two spaces"_qs << u" two spaces"_qs;
        QTest::newRow("trailing") << u"- [ ] trailing  \t"_qs << u"trailing  \t"_qs;
        QTest::newRow("empty text") << u"- [ ] "_qs << QString();
        QTest::newRow("lower x") << u"- [x] ticked"_qs << u"ticked"_qs;
        QTest::newRow("upper X") << u"- [X] ticked"_qs << u"ticked"_qs;
        QTest::newRow("wiki link")
            << u"- [ ] [[S3 Asset Manager]]"_qs << u"[[S3 Asset Manager]]"_qs;
        QTest::newRow("carriage return") << u"- [ ] crlf\r"_qs << u"crlf\r"_qs;
    }
    void cardTextIsNotTrimmed()
    {
        QFETCH(QString, line);
        QFETCH(QString, text);
        const Board board = Board::parse(u"## To do\n"_qs + line);
        QCOMPARE(board.lanes()[0].cards().size(), 1);
        QCOMPARE(board.lanes()[0].cards()[0].text(), text);
    }

    void droppedLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("plain item") << u"- item"_qs;
        QTest::newRow("star box") << u"* [ ] x"_qs;
        QTest::newRow("no space after dash") << u"-[ ] x"_qs;
        QTest::newRow("box with nothing after") << u"- [ ]"_qs;
        QTest::newRow("paragraph") << u"Some words"_qs;
        QTest::newRow("comment") << u"%% note %%"_qs;
        QTest::newRow("one leading space") << u" - [ ] x"_qs;
        QTest::newRow("third level heading") << u"### Sub"_qs;
        QTest::newRow("indented heading") << u" ## Sub"_qs;
        QTest::newRow("other box") << u"- [-] x"_qs;
    }
    void droppedLines()
    {
        QFETCH(QString, line);
        const Board board = Board::parse(lines({u"## To do"_qs, line}));
        QCOMPARE(titles(board), defaultTitles);
        for (const Lane &lane : board.lanes())
            QVERIFY(lane.cards().isEmpty());
    }

    void linesBeforeFirstLaneAreLost()
    {
        const Board board = Board::parse(
            lines({u"- [ ] orphan"_qs, u"**Complete**"_qs, u"\tcontinued"_qs, u"## Review"_qs}));
        QCOMPARE(titles(board), (QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Review"_qs}));
        QVERIFY(!board.lanes()[3].isComplete());
        for (const Lane &lane : board.lanes())
            QVERIFY(lane.cards().isEmpty());
    }

    void continuationLines()
    {
        const Board board = Board::parse(lines({
            u"## To do"_qs,
            u"\tdropped: no card yet"_qs,
            u"- [ ] first"_qs,
            QString(),
            u"\tafter a blank line"_qs,
            u"  - [ ] x"_qs,
            u"   "_qs,
            u"\t"_qs,
            u"- [ ] second"_qs,
            u"  two spaces\r"_qs,
        }));
        const QList<Card> &cards = board.lanes()[0].cards();
        QCOMPARE(cards.size(), 2);
        QCOMPARE(cards[0].extraLines(), (QStringList{u"\tafter a blank line"_qs, u"  - [ ] x"_qs}));
        QCOMPARE(cards[1].extraLines(), QStringList{u"  two spaces\r"_qs});
    }

    void continuationNeedsCardInItsOwnLane()
    {
        const Board board =
            Board::parse(lines({u"## To do"_qs, u"- [ ] a"_qs, u"## Doing"_qs, u"\tnot for a"_qs}));
        QVERIFY(board.lanes()[0].cards()[0].extraLines().isEmpty());
        QVERIFY(board.lanes()[1].cards().isEmpty());
    }

    void headingTitleTrimmed()
    {
        const Board board = Board::parse(u"##   Doing \t\n- [ ] a"_qs);
        QCOMPARE(board.lanes()[1].title(), u"Doing"_qs);
        QVERIFY(board.markdown().contains(u"\n## Doing\n\n- [ ] a\n"));
    }

    void completeMarkerAnywhereInLane()
    {
        const Board board = Board::parse(
            lines({u"## Review"_qs, u"- [ ] a"_qs, u"- [ ] b"_qs, u"  **Complete**\t"_qs}));
        const Lane &review = board.lanes()[3];
        QVERIFY(review.isComplete());
        QVERIFY(board.markdown().contains(u"## Review\n\n**Complete**\n- [x] a\n- [x] b\n"));
    }

    void doneWithoutMarkerStaysOpen()
    {
        const Board board = Board::parse(lines({u"## Done"_qs, u"- [x] shipped"_qs}));
        QCOMPARE(board.lanes()[2].title(), u"Done"_qs);
        QVERIFY(!board.lanes()[2].isComplete());
        QVERIFY(board.markdown().contains(u"## Done\n\n- [ ] shipped\n"));
    }

    void customLaneRoundTrip()
    {
        const Board board = Board::parse(lines({u"## To do"_qs, u"## Review"_qs, u"- [ ] r1"_qs,
                                                u"- [ ] r2"_qs, u"## Doing"_qs, u"## Done"_qs}));
        const Board again = Board::parse(board.markdown());
        QCOMPARE(titles(again), (QStringList{u"To do"_qs, u"Review"_qs, u"Doing"_qs, u"Done"_qs}));
        QCOMPARE(texts(again.lanes()[1]), (QStringList{u"r1"_qs, u"r2"_qs}));
    }

    void carriageReturns()
    {
        const QString text = u"## Doing\r\n\r\n- [ ] a\r\n\tmore\r\n## Done\r\n**Complete**\r\n"
                             u"- [x] b\r\n%% kanban:settings\r\n%%\r\n"_qs;
        const Board board = Board::parse(text);
        QCOMPARE(titles(board), (QStringList{u"To do"_qs, u"Doing\r"_qs, u"Done\r"_qs}));
        QCOMPARE(board.laneIndex(LaneKind::Doing), std::optional<qsizetype>(1));
        QCOMPARE(board.lanes()[1].cards()[0].text(), u"a\r"_qs);
        QCOMPARE(board.lanes()[1].cards()[0].extraLines(), QStringList{u"\tmore\r"_qs});
        // The marker line keeps its carriage return, so it is not the marker.
        QVERIFY(!board.lanes()[2].isComplete());
        QCOMPARE(board.settingsBlock(), std::optional<QString>(u"%% kanban:settings\r\n%%"_qs));
    }

    void writtenExample()
    {
        Card report(u"Write the weekly report"_qs, {u"\tdue Friday"_qs});
        Board board({Lane(u"To do"_qs, {report}), Lane(u"Doing"_qs),
                     Lane(u"Done"_qs, {Card(u"Book the train tickets"_qs)}, true),
                     Lane(u"Review"_qs)});
        const QString expected = lines({
                                     u"---"_qs,
                                     QString(),
                                     u"kanban-plugin: board"_qs,
                                     QString(),
                                     u"---"_qs,
                                     QString(),
                                     u"## To do"_qs,
                                     QString(),
                                     u"- [ ] Write the weekly report"_qs,
                                     u"\tdue Friday"_qs,
                                     QString(),
                                     QString(),
                                     u"## Doing"_qs,
                                     QString(),
                                     QString(),
                                     QString(),
                                     u"## Done"_qs,
                                     QString(),
                                     u"**Complete**"_qs,
                                     u"- [x] Book the train tickets"_qs,
                                     QString(),
                                     QString(),
                                     u"## Review"_qs,
                                     QString(),
                                     QString(),
                                     QString(),
                                     QString(),
                                 }) +
                                 u'\n' + Board::defaultSettings() + u'\n';
        QCOMPARE(board.markdown(), expected);
        QCOMPARE(frontMatter.size(), 32);
        QVERIFY(board.markdown().startsWith(frontMatter));
    }

    void blankLinesBeforeSettings()
    {
        // Three empty lines after the last card line, four after an empty last lane.
        Board withCard({Lane(u"To do"_qs, {Card(u"a"_qs)})});
        QVERIFY(withCard.markdown().endsWith(u"- [ ] a\n\n\n\n%% kanban:settings"_qs +
                                             Board::defaultSettings().mid(18) + u'\n'));
        Board emptyLane({Lane(u"To do"_qs)});
        QVERIFY(emptyLane.markdown().contains(u"## To do\n\n\n\n\n%% kanban:settings"));
    }

    void boardWithoutLanes()
    {
        const Board board;
        QCOMPARE(board.markdown(), frontMatter + u'\n' + Board::defaultSettings() + u'\n');
        const Board custom({}, u"%% kanban:settings\n%%"_qs);
        QCOMPARE(custom.markdown(), frontMatter + u"\n%% kanban:settings\n%%\n"_qs);
    }

    void foreignFrontMatterDropped()
    {
        const Board board =
            Board::parse(lines({u"---"_qs, u"tags: [daily]"_qs, u"kanban-plugin: basic"_qs,
                                u"---"_qs, u"## To do"_qs, u"- [ ] a"_qs}));
        QVERIFY(board.markdown().startsWith(frontMatter + u"## To do\n\n- [ ] a\n"_qs));
        QVERIFY(!board.markdown().contains(u"tags"));
    }

    void roundTripIsStable()
    {
        const QString text = lines({
            u"---"_qs,
            u"kanban-plugin: board"_qs,
            u"---"_qs,
            u"## Backlog"_qs,
            u"- [ ] one"_qs,
            u"\tnote"_qs,
            u"  - [ ] nested"_qs,
            u"## WIP"_qs,
            u"- [x] two"_qs,
            u"## Completed"_qs,
            u"**Complete**"_qs,
            u"- [ ] three"_qs,
            u"## Later"_qs,
            u"%% kanban:settings"_qs,
            u"{\"x\":1}"_qs,
            u"%%"_qs,
        });
        const Board first = Board::parse(text);
        const QString written = first.markdown();
        const Board second = Board::parse(written);
        QCOMPARE(titles(second), titles(first));
        for (qsizetype i = 0; i < first.lanes().size(); ++i) {
            QCOMPARE(second.lanes()[i].isComplete(), first.lanes()[i].isComplete());
            QCOMPARE(texts(second.lanes()[i]), texts(first.lanes()[i]));
            for (qsizetype c = 0; c < first.lanes()[i].cards().size(); ++c) {
                QCOMPARE(second.lanes()[i].cards()[c].extraLines(),
                         first.lanes()[i].cards()[c].extraLines());
                QVERIFY(second.lanes()[i].cards()[c].id() != first.lanes()[i].cards()[c].id());
            }
        }
        QCOMPARE(second.settingsBlock(), first.settingsBlock());
        QCOMPARE(second.markdown(), written);
    }

    void largeBoard()
    {
        QString text = u"## To do\n"_qs;
        for (int i = 0; i < 20000; ++i)
            text += u"- [ ] task "_qs + QString::number(i) + u"\n\tnote\n"_qs;
        const Board board = Board::parse(text);
        QCOMPARE(board.lanes()[0].cards().size(), 20000);
        QCOMPARE(board.lanes()[0].cards().last().text(), u"task 19999"_qs);
        QCOMPARE(Board::parse(board.markdown()).lanes()[0].cards().size(), 20000);
    }
};

QTEST_APPLESS_MAIN(TestBoardFormat)
#include "tst_boardformat.moc"
