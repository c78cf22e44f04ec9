#include "LaneModel.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

namespace {

// Counts the structural changes a model reports.
struct Changes {
    int inserted = 0;
    int removed = 0;
    int moved = 0;
    int changed = 0;

    explicit Changes(QAbstractItemModel *model)
    {
        QObject::connect(
            model, &QAbstractItemModel::rowsInserted, model,
            [this](const QModelIndex &, int first, int last) { inserted += last - first + 1; });
        QObject::connect(
            model, &QAbstractItemModel::rowsRemoved, model,
            [this](const QModelIndex &, int first, int last) { removed += last - first + 1; });
        QObject::connect(model, &QAbstractItemModel::rowsMoved, model, [this] { ++moved; });
        QObject::connect(model, &QAbstractItemModel::dataChanged, model, [this] { ++changed; });
    }
};

// Builds the next cards from the current ones: "A" is the current card A as it is, "A*" the
// same text with a fresh id (as after re-reading the file), "A=x" card A with the text x, and
// any other name a new card.
QList<Card> next(const QList<Card> &current, const QString &recipe)
{
    QList<Card> cards;
    for (const QString &token : recipe.split(u' ', Qt::SkipEmptyParts)) {
        const QString name = token.section(u'=', 0, 0).remove(u'*');
        const auto found = std::find_if(current.begin(), current.end(),
                                        [&](const Card &c) { return c.text() == name; });
        if (found == current.end() || token.endsWith(u'*'))
            cards.append(Card(name));
        else if (token.contains(u'='))
            cards.append(Card(found->id(), token.section(u'=', 1), {}));
        else
            cards.append(*found);
    }
    return cards;
}

QList<Card> cardsOf(const QString &names)
{
    return next({}, names);
}

void expectRows(const LaneModel &model, const QList<Card> &cards)
{
    QCOMPARE(model.rowCount(), int(cards.size()));
    QCOMPARE(model.count(), int(cards.size()));
    for (int row = 0; row < cards.size(); ++row) {
        const QModelIndex at = model.index(row);
        QCOMPARE(at.data(LaneModel::TextRole).toString(), cards[row].text());
        QCOMPARE(at.data(LaneModel::IdRole).toString(),
                 cards[row].id().toString(QUuid::WithoutBraces));
    }
}

} // namespace

class TestLaneModel : public QObject {
    Q_OBJECT

private slots:
    void fewestChanges_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<bool>("sameDay");
        QTest::addColumn<int>("inserted");
        QTest::addColumn<int>("removed");
        QTest::addColumn<int>("moved");
        QTest::addColumn<int>("changed");

        QTest::newRow("first card") << ""
                                    << "A" << true << 1 << 0 << 0 << 0;
        QTest::newRow("card added at the end") << "A B C"
                                               << "A B C D" << true << 1 << 0 << 0 << 0;
        QTest::newRow("card removed") << "A B C D"
                                      << "A B D" << true << 0 << 1 << 0 << 0;
        QTest::newRow("last card removed") << "A"
                                           << "" << true << 0 << 1 << 0 << 0;
        QTest::newRow("first to last") << "A B C D"
                                       << "B C D A" << true << 0 << 0 << 1 << 0;
        QTest::newRow("last to first") << "A B C D"
                                       << "D A B C" << true << 0 << 0 << 1 << 0;
        QTest::newRow("swap") << "A B"
                              << "B A" << true << 0 << 0 << 1 << 0;
        QTest::newRow("reversed") << "A B C D"
                                  << "D C B A" << true << 0 << 0 << 3 << 0;
        QTest::newRow("one moved, one added") << "A B C"
                                              << "C A B D" << true << 1 << 0 << 1 << 0;
        QTest::newRow("renamed") << "A B C"
                                 << "A B=x C" << true << 0 << 0 << 0 << 1;
        QTest::newRow("file read again") << "A B C"
                                         << "A* B* C*" << true << 0 << 0 << 0 << 3;
        QTest::newRow("read again, one edited") << "A B C"
                                                << "A* X C*" << true << 0 << 0 << 0 << 3;
        QTest::newRow("read again, one gone") << "A B C"
                                              << "A* C*" << true << 0 << 1 << 0 << 2;
        QTest::newRow("read again, duplicates") << "A A B"
                                                << "A* B*" << true << 0 << 1 << 0 << 2;
        QTest::newRow("read again, reordered") << "A B C"
                                               << "C* A* B*" << true << 0 << 0 << 1 << 3;
        QTest::newRow("another day") << "A B C"
                                     << "A* B* C*" << false << 3 << 3 << 0 << 0;
        QTest::newRow("nothing changed") << "A B C"
                                         << "A B C" << true << 0 << 0 << 0 << 0;
    }

    void fewestChanges()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(bool, sameDay);

        LaneModel model(LaneKind::Todo);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QList<Card> first = cardsOf(before);
        model.setCards(first);
        expectRows(model, first);

        const QList<Card> second = next(first, after);
        Changes changes(&model);
        QSignalSpy counts(&model, &LaneModel::countChanged);
        model.setCards(second,
                       sameDay ? LaneModel::Reuse::IdsAndContent : LaneModel::Reuse::IdsOnly);
        expectRows(model, second);
        QTEST(changes.inserted, "inserted");
        QTEST(changes.removed, "removed");
        QTEST(changes.moved, "moved");
        QTEST(changes.changed, "changed");
        QCOMPARE(counts.size(), first.size() == second.size() ? 0 : 1);
    }

    // A re-read hands each row on to the card that now has its text, and says so.
    void handoverNamesTheNewIds()
    {
        LaneModel model(LaneKind::Doing);
        const QList<Card> first = cardsOf(u"A B"_qs);
        model.setCards(first);
        const QList<Card> second = next(first, u"A* B"_qs);
        const LaneModel::Handover handover = model.setCards(second);
        QCOMPARE(handover.size(), 1);
        QCOMPARE(handover.value(first[0].id()), second[0].id());
    }

    // Any sequence of changes ends with the rows equal to the cards, and a valid model.
    void randomChangesEndInTheRightRows()
    {
        QRandomGenerator random(20251122);
        LaneModel model(LaneKind::Done);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QList<Card> cards;
        int made = 0;
        for (int round = 0; round < 400; ++round) {
            QList<Card> changed = cards;
            const int edits = random.bounded(1, 6);
            for (int e = 0; e < edits; ++e) {
                switch (random.bounded(5)) {
                case 0:
                    changed.insert(random.bounded(int(changed.size()) + 1),
                                   Card(u"card "_qs + QString::number(++made)));
                    break;
                case 1:
                    if (!changed.isEmpty())
                        changed.removeAt(random.bounded(int(changed.size())));
                    break;
                case 2:
                    if (changed.size() > 1)
                        changed.move(random.bounded(int(changed.size())),
                                     random.bounded(int(changed.size())));
                    break;
                case 3:
                    if (!changed.isEmpty())
                        changed[random.bounded(int(changed.size()))].setText(
                            u"edited "_qs + QString::number(++made));
                    break;
                default:
                    // Read again: same texts, fresh ids.
                    for (Card &card : changed)
                        card = Card(card.text());
                    break;
                }
            }
            model.setCards(changed, random.bounded(4) == 0 ? LaneModel::Reuse::IdsOnly
                                                           : LaneModel::Reuse::IdsAndContent);
            expectRows(model, changed);
            cards = changed;
        }
    }

    void lookups()
    {
        LaneModel model(LaneKind::Todo);
        const QList<Card> cards = cardsOf(u"A B C"_qs);
        model.setCards(cards);
        QCOMPARE(model.indexOf(cards[2].id().toString(QUuid::WithoutBraces)), 2);
        QCOMPARE(model.indexOf(QUuid::createUuid()), -1);
        QCOMPARE(model.indexOf(u"not an id"_qs), -1);
        QCOMPARE(model.idAt(1), cards[1].id().toString(QUuid::WithoutBraces));
        QCOMPARE(model.idAt(3), QString());
        QCOMPARE(model.idAt(-1), QString());
        QCOMPARE(model.roleNames().value(LaneModel::IdRole), QByteArray("cardId"));
        QCOMPARE(model.roleNames().value(LaneModel::TextRole), QByteArray("text"));
    }

    // What a card's buttons are called for assistive technology names the card and the lane it
    // would go to; the round button says how far the card is.
    void accessibleNames_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("check");
        QTest::addColumn<QString>("advance");
        QTest::addColumn<int>("state");
        QTest::newRow("to do") << int(LaneKind::Todo) << u"Buy milk"_qs
                               << u"Mark “Buy milk” done"_qs << u"Move “Buy milk” to Doing"_qs
                               << int(Qt::Unchecked);
        QTest::newRow("doing") << int(LaneKind::Doing) << u"Buy milk"_qs
                               << u"Mark “Buy milk” done"_qs << u"Move “Buy milk” to Done"_qs
                               << int(Qt::PartiallyChecked);
        QTest::newRow("done") << int(LaneKind::Done) << u"Buy milk"_qs
                              << u"Move “Buy milk” back to To do"_qs
                              << u"Move “Buy milk” to To do"_qs << int(Qt::Checked);
        // A card's own text is never taken for a placeholder.
        QTest::newRow("placeholders in the text")
            << int(LaneKind::Todo) << u"%1 and %2"_qs << u"Mark “%1 and %2” done"_qs
            << u"Move “%1 and %2” to Doing"_qs << int(Qt::Unchecked);
    }
    void accessibleNames()
    {
        QFETCH(int, kind);
        QFETCH(QString, text);
        QFETCH(QString, check);
        QFETCH(QString, advance);
        QFETCH(int, state);
        const LaneModel model{LaneKind(LaneKind::Value(kind))};
        QCOMPARE(model.checkName(text), check);
        QCOMPARE(model.advanceName(text), advance);
        QCOMPARE(model.checkState(), state);
        QCOMPARE(model.property("checkState").toInt(), state);
    }
};

QTEST_GUILESS_MAIN(TestLaneModel)
#include "tst_lanemodel.moc"
