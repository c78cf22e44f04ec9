#include "model/Board.h"
#include "model/BoardEdit.h"

#include <QSet>
#include <QTest>

namespace {

QStringList titles(const Board &board)
{
    QStringList result;
    for (const Lane &lane : board.lanes())
        result.append(lane.title());
    return result;
}

Board boardWithTitles(const QStringList &laneTitles)
{
    QList<Lane> lanes;
    for (const QString &title : laneTitles)
        lanes.append(Lane(title));
    return Board(lanes);
}

// An edit written as words ("move b todo a", "add x doing", "rename c C", "remove d") on the
// cards of `board`, found by their text.
BoardEdit editFromWords(const QString &words, const Board &board)
{
    const auto card = [&](const QString &text) {
        for (const Lane &lane : board.lanes())
            for (const Card &c : lane.cards())
                if (c.text() == text)
                    return c;
        return Card(text);
    };
    const auto kind = [](const QString &name) { return *LaneKind::fromRawValue(name); };
    const QStringList w = words.split(u' ');
    const std::optional<QUuid> before =
        w.size() > 3 ? std::optional<QUuid>(card(w[3]).id()) : std::nullopt;
    if (w[0] == u"add"_qs)
        return BoardEdit::add(Card(w[1]), kind(w[2]), before);
    if (w[0] == u"move"_qs)
        return BoardEdit::move(card(w[1]), kind(w[2]), before);
    if (w[0] == u"rename"_qs)
        return BoardEdit::rename(card(w[1]), w.value(2));
    return BoardEdit::remove(card(w[1]));
}

} // namespace

class TestBoard : public QObject {
    Q_OBJECT

private slots:
    void emptyBoard()
    {
        const Board board = Board::empty();
        QCOMPARE(titles(board), (QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs}));
        QCOMPARE(board.lanes()[0].isComplete(), false);
        QCOMPARE(board.lanes()[1].isComplete(), false);
        QCOMPARE(board.lanes()[2].isComplete(), true);
        for (const Lane &lane : board.lanes())
            QVERIFY(lane.cards().isEmpty());
        QVERIFY(!board.settingsBlock().has_value());
    }

    void ensureLanes_data()
    {
        QTest::addColumn<QStringList>("before");
        QTest::addColumn<QStringList>("after");
        QTest::newRow("nothing") << QStringList()
                                 << QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs};
        QTest::newRow("Backlog, Review")
            << QStringList{u"Backlog"_qs, u"Review"_qs}
            << QStringList{u"Backlog"_qs, u"Doing"_qs, u"Done"_qs, u"Review"_qs};
        QTest::newRow("Review, Done")
            << QStringList{u"Review"_qs, u"Done"_qs}
            << QStringList{u"To do"_qs, u"Doing"_qs, u"Review"_qs, u"Done"_qs};
        QTest::newRow("out of role order") << QStringList{u"Doing"_qs, u"To do"_qs}
                                           << QStringList{u"Doing"_qs, u"Done"_qs, u"To do"_qs};
        QTest::newRow("two Done lanes stay")
            << QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Done"_qs}
            << QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Done"_qs};
        QTest::newRow("custom lanes keep their places")
            << QStringList{u"Ideas"_qs, u"WIP"_qs, u"Later"_qs}
            << QStringList{u"To do"_qs, u"Ideas"_qs, u"WIP"_qs, u"Done"_qs, u"Later"_qs};
    }
    void ensureLanes()
    {
        QFETCH(QStringList, before);
        QFETCH(QStringList, after);
        Board board = boardWithTitles(before);
        board.ensureLanes();
        QCOMPARE(titles(board), after);
        // Inserted lanes: only a new "Done" is complete.
        for (const Lane &lane : board.lanes()) {
            if (!before.contains(lane.title()))
                QCOMPARE(lane.isComplete(), lane.title() == u"Done");
        }
        // Running it again changes nothing.
        Board again = board;
        again.ensureLanes();
        QCOMPARE(titles(again), after);
    }

    void ensureLanesLeavesFoundLanesAlone()
    {
        Board board(
            {Lane(u"Done"_qs, {Card(u"a"_qs)}, false), Lane(u"Doing"_qs, {Card(u"b"_qs)}, true)});
        const Board before = board;
        board.ensureLanes();
        QCOMPARE(titles(board), (QStringList{u"To do"_qs, u"Done"_qs, u"Doing"_qs}));
        QCOMPARE(board.lanes()[1], before.lanes()[0]);
        QCOMPARE(board.lanes()[2], before.lanes()[1]);
        QCOMPARE(board.lanes()[1].isComplete(), false);
    }

    void laneIndexAndCards()
    {
        Board board({Lane(u"Backlog"_qs, {Card(u"one"_qs)}),
                     Lane(u"Done"_qs, {Card(u"x"_qs)}, true),
                     Lane(u"Done ✅"_qs, {Card(u"y"_qs)}, true)});
        QCOMPARE(board.laneIndex(LaneKind::Todo), std::optional<qsizetype>(0));
        QCOMPARE(board.laneIndex(LaneKind::Doing), std::optional<qsizetype>());
        QCOMPARE(board.laneIndex(LaneKind::Done), std::optional<qsizetype>(1));
        QCOMPARE(board.cards(LaneKind::Done).size(), 1);
        QCOMPARE(board.cards(LaneKind::Done).front().text(), u"x"_qs);
        QVERIFY(board.cards(LaneKind::Doing).isEmpty());
    }

    void cardsOfRemovedLaneIsEmpty()
    {
        Board board = Board::empty();
        board.lanes()[1].cards().append(Card(u"task"_qs));
        QCOMPARE(board.cards(LaneKind::Doing).size(), 1);
        board.lanes().removeAt(1);
        QVERIFY(board.cards(LaneKind::Doing).isEmpty());
    }

    void locateAndKind()
    {
        const Card a(u"a"_qs), b(u"b"_qs), c(u"c"_qs), d(u"d"_qs);
        Board board({Lane(u"To do"_qs, {a, b}), Lane(u"Review"_qs, {c}), Lane(u"Doing"_qs),
                     Lane(u"Done"_qs, {d}, true)});
        QCOMPARE(board.locate(b.id()), std::optional<Board::Position>({0, 1}));
        QCOMPARE(board.locate(d.id()), std::optional<Board::Position>({3, 0}));
        QCOMPARE(board.locate(QUuid::createUuid()), std::optional<Board::Position>());

        QCOMPARE(board.kind(a.id()), std::optional<LaneKind>(LaneKind::Todo));
        QCOMPARE(board.kind(d.id()), std::optional<LaneKind>(LaneKind::Done));
        QCOMPARE(board.kind(c.id()), std::optional<LaneKind>());
        QCOMPARE(board.kind(QUuid::createUuid()), std::optional<LaneKind>());
    }

    void locateFirstHitWins()
    {
        const Card card(u"same"_qs);
        Board board({Lane(u"To do"_qs), Lane(u"Doing"_qs, {Card(u"x"_qs), card}),
                     Lane(u"Done"_qs, {card}, true)});
        QCOMPARE(board.locate(card.id()), std::optional<Board::Position>({1, 1}));
    }

    void cardIdentity()
    {
        const Card a(u"same"_qs);
        const Card b(u"same"_qs);
        QVERIFY(a.id() != b.id());
        QVERIFY(!a.id().isNull());
        QCOMPARE(a.id().version(), QUuid::Random);
        QCOMPARE(a.id().variant(), QUuid::DCE);
        QVERIFY(!(a == b));

        Card copy = a;
        QVERIFY(copy == a);
        QCOMPARE(qHash(copy), qHash(a));
        copy.setText(u"other"_qs);
        QVERIFY(!(copy == a));
        Card withLines = a;
        withLines.appendExtraLine(u"\tnote"_qs);
        QVERIFY(!(withLines == a));
        QVERIFY(qHash(withLines) != qHash(a));

        QSet<QUuid> ids;
        for (int i = 0; i < 10000; ++i)
            ids.insert(Card::newId());
        QCOMPARE(ids.size(), 10000);
    }

    void valueSemantics()
    {
        Board original = Board::empty();
        original.lanes()[0].cards().append(Card(u"task"_qs));
        Board copy = original;
        copy.lanes()[0].cards()[0].setText(u"changed"_qs);
        QCOMPARE(original.lanes()[0].cards()[0].text(), u"task"_qs);
        QVERIFY(!(copy == original));
    }

    // ---- ids across readings, and edits made again on another version

    void adoptIds_data()
    {
        QTest::addColumn<QString>("earlier");
        QTest::addColumn<QString>("newer");
        // For each card of the newer board, top to bottom: the position ("lane.index") of the
        // earlier card whose id it takes, or "-" for a new id.
        QTest::addColumn<QStringList>("from");
        QTest::newRow("same") << u"## To do\n- [ ] a\n- [ ] b\n"_qs
                              << u"## To do\n- [ ] a\n- [ ] b\n"_qs
                              << QStringList{u"0.0"_qs, u"0.1"_qs};
        QTest::newRow("reordered, one added")
            << u"## To do\n- [ ] a\n- [ ] b\n"_qs << u"## To do\n- [ ] new\n- [ ] b\n- [ ] a\n"_qs
            << QStringList{u"-"_qs, u"0.1"_qs, u"0.0"_qs};
        QTest::newRow("equal texts go to the nearest")
            << u"## To do\n- [ ] x\n- [ ] y\n- [ ] x\n"_qs << u"## To do\n- [ ] y\n- [ ] x\n"_qs
            << QStringList{u"0.1"_qs, u"0.0"_qs};
        QTest::newRow("changed text is a new card")
            << u"## To do\n- [ ] a\n"_qs << u"## To do\n- [ ] a!\n"_qs << QStringList{u"-"_qs};
        QTest::newRow("changed extra lines are a new card")
            << u"## To do\n- [ ] a\n  note\n"_qs << u"## To do\n- [ ] a\n  other\n"_qs
            << QStringList{u"-"_qs};
        QTest::newRow("moved to another lane is a new card")
            << u"## To do\n- [ ] a\n## Doing\n"_qs << u"## To do\n## Doing\n- [ ] a\n"_qs
            << QStringList{u"-"_qs};
    }
    void adoptIds()
    {
        QFETCH(QString, earlier);
        QFETCH(QString, newer);
        QFETCH(QStringList, from);
        const Board before = Board::parse(earlier);
        Board after = Board::parse(newer);
        after.adoptIds(before);
        QStringList got;
        for (const Lane &lane : after.lanes()) {
            for (const Card &card : lane.cards()) {
                const auto at = before.locate(card.id());
                got.append(at ? QString::number(at->lane) + u'.' + QString::number(at->index)
                              : u"-"_qs);
            }
        }
        QCOMPARE(got, from);
    }

    void editApplies_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("applies");
        // On: To do a, b; Doing c; Done d.
        QTest::newRow("add") << u"add e doing"_qs << u"a,b|c,e|d"_qs << true;
        QTest::newRow("move before") << u"move b todo a"_qs << u"b,a|c|d"_qs << true;
        QTest::newRow("move to the end") << u"move a done"_qs << u"b|c|d,a"_qs << true;
        QTest::newRow("move before a card elsewhere")
            << u"move a doing d"_qs << u"b|c,a|d"_qs << true;
        QTest::newRow("rename") << u"rename c C"_qs << u"a,b|C|d"_qs << true;
        QTest::newRow("rename to nothing removes") << u"rename c"_qs << u"a,b||d"_qs << true;
        QTest::newRow("remove") << u"remove d"_qs << u"a,b|c|"_qs << true;
        QTest::newRow("move of a missing card") << u"move gone done"_qs << u"a,b|c|d"_qs << false;
        QTest::newRow("rename of a missing card") << u"rename gone x"_qs << u"a,b|c|d"_qs << false;
        QTest::newRow("remove of a missing card") << u"remove gone"_qs << u"a,b|c|d"_qs << false;
    }
    void editApplies()
    {
        QFETCH(QString, edit);
        QFETCH(QString, expected);
        QFETCH(bool, applies);
        Board board = Board::parse(u"## To do\n- [ ] a\n- [ ] b\n## Doing\n- [ ] c\n"
                                   u"## Done\n**Complete**\n- [x] d\n"_qs);
        const BoardEdit made = editFromWords(edit, board);
        QCOMPARE(made.applyTo(board), applies);
        QCOMPARE(laneTexts(board), expected);
    }

    // Each edit, then what takes it back: the board is as it was, ids and extra lines included.
    void inverseTakesBack_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("made");
        // On: To do a, b (with a line under it), e; Doing c; Done d.
        QTest::newRow("add") << u"add x doing"_qs << u"a,b,e|c,x|d"_qs;
        QTest::newRow("add above a card") << u"add x todo b"_qs << u"a,x,b,e|c|d"_qs;
        QTest::newRow("move up in its lane") << u"move b todo a"_qs << u"b,a,e|c|d"_qs;
        QTest::newRow("move down in its lane") << u"move a todo e"_qs << u"b,a,e|c|d"_qs;
        QTest::newRow("move from the middle to another lane")
            << u"move b done"_qs << u"a,e|c|d,b"_qs;
        QTest::newRow("move from the end of a lane") << u"move e doing c"_qs << u"a,b|e,c|d"_qs;
        QTest::newRow("rename") << u"rename c C"_qs << u"a,b,e|C|d"_qs;
        QTest::newRow("rename to nothing") << u"rename b"_qs << u"a,e|c|d"_qs;
        QTest::newRow("remove from the middle") << u"remove b"_qs << u"a,e|c|d"_qs;
        QTest::newRow("remove the last") << u"remove e"_qs << u"a,b|c|d"_qs;
        QTest::newRow("remove the only") << u"remove d"_qs << u"a,b,e|c|"_qs;
    }
    void inverseTakesBack()
    {
        QFETCH(QString, edit);
        QFETCH(QString, made);
        const Board original = Board::parse(u"## To do\n- [ ] a\n- [ ] b\n  under b\n- [ ] e\n"
                                            u"## Doing\n- [ ] c\n## Done\n**Complete**\n"
                                            u"- [x] d\n"_qs);
        const std::optional<BoardEdit> forward = editFromWords(edit, original);
        const std::optional<BoardEdit> back = forward->inverseOn(original);
        QVERIFY(back);
        Board board = original;
        QVERIFY(forward->applyTo(board));
        QCOMPARE(laneTexts(board), made);
        // Taking back the inverse gives the edit again.
        const std::optional<BoardEdit> again = back->inverseOn(board);
        QVERIFY(again);
        QVERIFY(back->applyTo(board));
        QCOMPARE(board, original);
        QVERIFY(again->applyTo(board));
        QCOMPARE(laneTexts(board), made);
    }

    // An edit that cannot be made has nothing to take back; an added card cannot be added twice.
    void noInverseWithoutTheCard()
    {
        Board board = Board::parse(u"## To do\n- [ ] a\n"_qs);
        board.ensureLanes();
        QVERIFY(!BoardEdit::remove(Card(u"gone"_qs)).inverseOn(board));
        QVERIFY(!BoardEdit::rename(Card(u"gone"_qs), u"x"_qs).inverseOn(board));
        QVERIFY(!BoardEdit::move(Card(u"gone"_qs), LaneKind::Done, std::nullopt).inverseOn(board));
        const Card a = board.cards(LaneKind::Todo).front();
        QVERIFY(!BoardEdit::add(a, LaneKind::Doing).inverseOn(board));
        QVERIFY(!BoardEdit::add(a, LaneKind::Doing).applyTo(board));
        QVERIFY(BoardEdit::remove(a).removesCard());
        QVERIFY(BoardEdit::rename(a, QString()).removesCard());
        QVERIFY(!BoardEdit::rename(a, u"b"_qs).removesCard());
        QVERIFY(!BoardEdit::move(a, LaneKind::Done, std::nullopt).removesCard());
    }

    // A lane of the user's own has no role: what is taken back goes to the lane of that title.
    void inverseInALaneOfTheUsersOwn()
    {
        Board original = Board::parse(u"## Review\n- [ ] r\n- [ ] s\n"_qs);
        original.ensureLanes();
        const auto review = std::find_if(original.lanes().cbegin(), original.lanes().cend(),
                                         [](const Lane &l) { return l.title() == u"Review"; });
        QVERIFY(review != original.lanes().cend());
        const qsizetype lane = review - original.lanes().cbegin();
        const Card r = review->cards()[0];
        for (const BoardEdit &edit : {BoardEdit::move(r, LaneKind::Doing, std::nullopt),
                                      BoardEdit::remove(r), BoardEdit::rename(r, QString())}) {
            const std::optional<BoardEdit> back = edit.inverseOn(original);
            QVERIFY(back);
            Board board = original;
            QVERIFY(edit.applyTo(board));
            QCOMPARE(board.lanes()[lane].cards().size(), 1);
            QVERIFY(back->applyTo(board));
            QCOMPARE(board, original);
        }
    }

private:
    static QString laneTexts(const Board &board)
    {
        QStringList lanes;
        for (LaneKind k : LaneKind::allCases()) {
            QStringList names;
            for (const Card &c : board.cards(k))
                names.append(c.text());
            lanes.append(names.join(u','));
        }
        return lanes.join(u'|');
    }
};

QTEST_APPLESS_MAIN(TestBoard)
#include "tst_board.moc"
