#include "BoardLanes.h"
#include "store/BoardStore.h"
#include "support/BoardText.h"
#include "support/StoreFixture.h"

#include <QAbstractItemModelTester>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

QStringList texts(const LaneModel *lane)
{
    QStringList result;
    for (const Card &card : lane->cards())
        result.append(card.text());
    return result;
}

QString idOf(const LaneModel *lane, const QString &text)
{
    for (const Card &card : lane->cards()) {
        if (card.text() == text)
            return card.id().toString(QUuid::WithoutBraces);
    }
    return {};
}

QStringList menuTexts(const QVariantList &entries)
{
    QStringList result;
    for (const QVariant &entry : entries) {
        const QVariantMap map = entry.toMap();
        result.append(map.value(u"separator"_qs).toBool() ? u"---"_qs
                                                          : map.value(u"text"_qs).toString());
    }
    return result;
}

} // namespace

class TestBoardLanes : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;
    std::unique_ptr<BoardLanes> m_lanes;

    QString today() const { return m_scratch->boards() + u"/2025-03-07.md"_qs; }
    QString pastDay() const { return m_scratch->boards() + u"/2025-03-05.md"_qs; }

    void start(const QByteArray &todayText)
    {
        Scratch::write(today(), todayText);
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        m_lanes = std::make_unique<BoardLanes>();
        m_lanes->setStore(m_store.get());
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        m_lanes.reset();
        m_store.reset();
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
    }

    void cleanup()
    {
        m_lanes.reset();
        m_store.reset();
    }

    void lanesShowTheShownBoard()
    {
        start(boardText({u"Write"_qs, u"Call"_qs}, {u"Plan"_qs}, {}));
        QAbstractItemModelTester tester(m_lanes->todo(),
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCOMPARE(texts(m_lanes->todo()), QStringList({u"Write"_qs, u"Call"_qs}));
        QCOMPARE(texts(m_lanes->doing()), QStringList({u"Plan"_qs}));
        QCOMPARE(m_lanes->done()->count(), 0);
        QCOMPARE(m_lanes->lane(u"doing"_qs), m_lanes->doing());
        QCOMPARE(m_lanes->lane(u"nonsense"_qs), nullptr);
        QVERIFY(!m_lanes->readOnly());
    }

    // The lane headers' counts follow every add, move and delete.
    void countsFollowEveryChange()
    {
        start(boardText({u"Write"_qs}, {}, {}));
        QSignalSpy todoCount(m_lanes->todo(), &LaneModel::countChanged);
        QSignalSpy doneCount(m_lanes->done(), &LaneModel::countChanged);

        m_store->add(u"Call"_qs, u"todo"_qs);
        QCOMPARE(m_lanes->todo()->count(), 2);
        QCOMPARE(todoCount.size(), 1);

        m_store->move(idOf(m_lanes->todo(), u"Call"_qs), u"done"_qs, QString());
        QCOMPARE(m_lanes->todo()->count(), 1);
        QCOMPARE(m_lanes->done()->count(), 1);
        QCOMPARE(todoCount.size(), 2);
        QCOMPARE(doneCount.size(), 1);

        m_store->deleteCard(idOf(m_lanes->done(), u"Call"_qs));
        QCOMPARE(m_lanes->done()->count(), 0);
        QCOMPARE(doneCount.size(), 2);
    }

    void emptyLanesSayWhy()
    {
        start(boardText({}, {}, {}));
        QCOMPARE(m_lanes->todo()->placeholder(), u"Drop tasks here"_qs);
        QCOMPARE(m_lanes->doing()->placeholder(), u"Drop tasks here"_qs);
        QCOMPARE(m_lanes->done()->placeholder(), u"Nothing done yet"_qs);

        Scratch::write(pastDay(), boardText({}, {}, {u"Old"_qs}));
        m_store->view(u"2025-03-05"_qs);
        for (const LaneModel *lane : {m_lanes->todo(), m_lanes->doing(), m_lanes->done()})
            QCOMPARE(lane->placeholder(), u"Nothing here"_qs);
    }

    void buttonsAndTips()
    {
        start(boardText({u"Write"_qs}, {u"Plan"_qs}, {u"Shop"_qs}));
        QCOMPARE(m_lanes->todo()->checkToolTip(), u"Mark done"_qs);
        QCOMPARE(m_lanes->doing()->checkToolTip(), u"Mark done"_qs);
        QCOMPARE(m_lanes->done()->checkToolTip(), u"Move back to To do"_qs);
        QVERIFY(m_lanes->todo()->canAdvance());
        QVERIFY(m_lanes->doing()->canAdvance());
        QVERIFY(!m_lanes->done()->canAdvance());
        QCOMPARE(m_lanes->todo()->advanceToolTip(), u"Move to Doing"_qs);
        QCOMPARE(m_lanes->doing()->advanceToolTip(), u"Move to Done"_qs);
        QCOMPARE(m_lanes->todo()->nextKindName(), u"doing"_qs);
    }

    void menusOfToday()
    {
        start(boardText({u"Write"_qs}, {}, {}));
        QCOMPARE(menuTexts(m_lanes->todo()->menu()),
                 QStringList({u"Move to Doing"_qs, u"Move to Done"_qs, u"---"_qs, u"Edit"_qs,
                              u"Delete"_qs}));
        QCOMPARE(menuTexts(m_lanes->doing()->menu()),
                 QStringList({u"Move to To do"_qs, u"Move to Done"_qs, u"---"_qs, u"Edit"_qs,
                              u"Delete"_qs}));
        QCOMPARE(menuTexts(m_lanes->done()->menu()),
                 QStringList({u"Move to To do"_qs, u"Move to Doing"_qs, u"---"_qs, u"Edit"_qs,
                              u"Delete"_qs}));
    }

    // A card's links open only when safe: notes through Obsidian, web and mail addresses with
    // the desktop's opener; nothing else reaches the opener.
    void linksOpenOnlyWhenSafe()
    {
        start(boardText({u"x"_qs}, {}, {}));
        QVERIFY(m_lanes->openLink(u"https://example.org/a?b=1"_qs));
        QVERIFY(m_lanes->openLink(u"tallowfern-note:Work/My%20Plan"_qs));
        for (const QString &refused :
             {u"file:///etc/passwd"_qs, u"javascript:alert(1)"_qs,
              u"/usr/share/applications/x.desktop"_qs, u"tallowfern-note:../../.bashrc"_qs}) {
            QTest::ignoreMessage(
                QtWarningMsg,
                QRegularExpression(u"not safe to open: "_qs + QRegularExpression::escape(refused)));
            QVERIFY(!m_lanes->openLink(refused));
        }
        QCOMPARE(m_launcher.opened,
                 QByteArrayList({"https://example.org/a?b=1",
                                 "obsidian://open?vault=vault&file=Work/My%20Plan"}));
    }

    // A card with a neighbour above or below can move that way within its lane.
    void reorderingFromTheMenu_data()
    {
        QTest::addColumn<QString>("card");
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QStringList>("after");
        const QStringList moves{u"Move to Doing"_qs, u"Move to Done"_qs};
        const QStringList rest{u"---"_qs, u"Edit"_qs, u"Delete"_qs};
        QTest::newRow("first") << u"A"_qs << moves + QStringList{u"Move Down"_qs} + rest
                               << u"down"_qs << QStringList{u"B"_qs, u"A"_qs, u"C"_qs};
        QTest::newRow("middle up")
            << u"B"_qs << moves + QStringList{u"Move Up"_qs, u"Move Down"_qs} + rest << u"up"_qs
            << QStringList{u"B"_qs, u"A"_qs, u"C"_qs};
        QTest::newRow("middle down")
            << u"B"_qs << moves + QStringList{u"Move Up"_qs, u"Move Down"_qs} + rest << u"down"_qs
            << QStringList{u"A"_qs, u"C"_qs, u"B"_qs};
        QTest::newRow("last") << u"C"_qs << moves + QStringList{u"Move Up"_qs} + rest << u"up"_qs
                              << QStringList{u"A"_qs, u"C"_qs, u"B"_qs};
        QTest::newRow("last cannot go down")
            << u"C"_qs << moves + QStringList{u"Move Up"_qs} + rest << u"down"_qs
            << QStringList{u"A"_qs, u"B"_qs, u"C"_qs};
    }
    void reorderingFromTheMenu()
    {
        QFETCH(QString, card);
        QFETCH(QStringList, entries);
        QFETCH(QString, action);
        QFETCH(QStringList, after);
        start(boardText({u"A"_qs, u"B"_qs, u"C"_qs}, {}, {}));
        const QString id = idOf(m_lanes->todo(), card);
        QCOMPARE(menuTexts(m_lanes->todo()->menu(id)), entries);
        m_lanes->perform(action, id);
        QCOMPARE(texts(Board::parse(QString::fromUtf8(Scratch::read(today()))), LaneKind::Todo),
                 after);
    }

    // An earlier day: nothing to add, tick, drag, drop or advance; only copying to today.
    void pastDayIsReadOnly()
    {
        start(boardText({u"Today's"_qs}, {}, {}));
        Scratch::write(pastDay(), boardText({u"Old task"_qs}, {u"Old work"_qs}, {}));
        const QByteArray todayBefore = Scratch::read(today());
        QSignalSpy readOnly(m_lanes.get(), &BoardLanes::readOnlyChanged);
        m_store->view(u"2025-03-05"_qs);
        QCOMPARE(readOnly.size(), 1);
        QVERIFY(m_lanes->readOnly());
        QCOMPARE(texts(m_lanes->todo()), QStringList({u"Old task"_qs}));
        for (const LaneModel *lane : {m_lanes->todo(), m_lanes->doing(), m_lanes->done()}) {
            QVERIFY(lane->readOnly());
            QCOMPARE(lane->checkToolTip(), QString());
            QVERIFY(!lane->canAdvance());
            QCOMPARE(menuTexts(lane->menu()), QStringList({u"Copy to Today"_qs}));
        }

        const QString old = idOf(m_lanes->todo(), u"Old task"_qs);
        QVERIFY(!m_lanes->dropOnLane(old, u"done"_qs));
        QVERIFY(!m_lanes->dropOnCard(old, idOf(m_lanes->doing(), u"Old work"_qs)));
        m_lanes->perform(u"delete"_qs, old);
        m_lanes->perform(u"move"_qs, old, u"done"_qs);
        m_lanes->selectEdge(u"todo"_qs, false);
        m_lanes->toggleSelected();
        QCOMPARE(Scratch::read(today()), todayBefore);

        m_lanes->perform(u"copy"_qs, old);
        QCOMPARE(texts(m_lanes->todo()), QStringList({u"Old task"_qs})); // still the past day
        QVERIFY(Scratch::read(today()).contains("- [ ] Old task\n"));

        m_store->view(QString());
        QVERIFY(!m_lanes->readOnly());
        QCOMPARE(texts(m_lanes->todo()), QStringList({u"Today's"_qs, u"Old task"_qs}));
    }

    void cardPayloads_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("card");
        QTest::newRow("uuid") << u"2f1c7a9e-4b8d-4c51-9a0e-3d6f5b7c8e91"_qs << true;
        QTest::newRow("upper case") << u"2F1C7A9E-4B8D-4C51-9A0E-3D6F5B7C8E91"_qs << true;
        QTest::newRow("braces") << u"{2f1c7a9e-4b8d-4c51-9a0e-3d6f5b7c8e91}"_qs << false;
        QTest::newRow("trailing newline") << u"2f1c7a9e-4b8d-4c51-9a0e-3d6f5b7c8e91\n"_qs << false;
        QTest::newRow("plain text") << u"Buy milk"_qs << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("36 other characters") << QString(36, u'x') << false;
    }

    void cardPayloads()
    {
        QFETCH(QString, text);
        QTEST(BoardLanes::isCardPayload(text), "card");
    }

    // Plain text dropped anywhere changes nothing and is refused.
    void textThatIsNoCardIsRefused()
    {
        start(boardText({u"Write"_qs, u"Call"_qs}, {}, {}));
        const QByteArray before = Scratch::read(today());
        QSignalSpy changes(m_store.get(), &BoardStore::boardChanged);
        QVERIFY(!m_lanes->dropOnLane(u"Buy milk"_qs, u"done"_qs));
        QVERIFY(!m_lanes->dropOnCard(u"Buy milk"_qs, idOf(m_lanes->todo(), u"Write"_qs)));
        QVERIFY(!m_lanes->dropOnLane(idOf(m_lanes->todo(), u"Call"_qs), u"elsewhere"_qs));
        QCOMPARE(changes.size(), 0);
        QCOMPARE(Scratch::read(today()), before);
    }

    void dropOnLaneSendsToItsEnd()
    {
        start(boardText({u"Write"_qs, u"Call"_qs}, {}, {u"Shop"_qs}));
        QVERIFY(m_lanes->dropOnLane(idOf(m_lanes->todo(), u"Write"_qs), u"done"_qs));
        QCOMPARE(texts(m_lanes->done()), QStringList({u"Shop"_qs, u"Write"_qs}));
        QVERIFY(Scratch::read(today()).contains("**Complete**\n- [x] Shop\n- [x] Write\n"));

        // Its own lane's background: to the end of the lane.
        start(boardText({u"A"_qs, u"B"_qs, u"C"_qs}, {}, {}));
        QVERIFY(m_lanes->dropOnLane(idOf(m_lanes->todo(), u"A"_qs), u"todo"_qs));
        QCOMPARE(texts(m_lanes->todo()), QStringList({u"B"_qs, u"C"_qs, u"A"_qs}));
    }

    void dropOnCardPutsAboveIt_data()
    {
        QTest::addColumn<QString>("dragged");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QStringList>("todo");
        QTest::addColumn<QStringList>("doing");
        QTest::newRow("down the lane")
            << u"A"_qs << u"C"_qs << QStringList{u"B"_qs, u"A"_qs, u"C"_qs} << QStringList{u"P"_qs};
        QTest::newRow("up the lane")
            << u"C"_qs << u"A"_qs << QStringList{u"C"_qs, u"A"_qs, u"B"_qs} << QStringList{u"P"_qs};
        QTest::newRow("onto itself")
            << u"B"_qs << u"B"_qs << QStringList{u"A"_qs, u"B"_qs, u"C"_qs} << QStringList{u"P"_qs};
        QTest::newRow("into another lane")
            << u"B"_qs << u"P"_qs << QStringList{u"A"_qs, u"C"_qs} << QStringList{u"B"_qs, u"P"_qs};
    }

    void dropOnCardPutsAboveIt()
    {
        QFETCH(QString, dragged);
        QFETCH(QString, target);
        start(boardText({u"A"_qs, u"B"_qs, u"C"_qs}, {u"P"_qs}, {}));
        const auto id = [&](const QString &text) {
            const QString inTodo = idOf(m_lanes->todo(), text);
            return inTodo.isEmpty() ? idOf(m_lanes->doing(), text) : inTodo;
        };
        QVERIFY(m_lanes->dropOnCard(id(dragged), id(target)));
        QTEST(texts(m_lanes->todo()), "todo");
        QTEST(texts(m_lanes->doing()), "doing");
    }

    // A reorder within a lane reaches the list as one move of one row.
    void reorderIsAMove()
    {
        start(boardText({u"A"_qs, u"B"_qs, u"C"_qs}, {}, {}));
        QSignalSpy moved(m_lanes->todo(), &QAbstractItemModel::rowsMoved);
        QSignalSpy removed(m_lanes->todo(), &QAbstractItemModel::rowsRemoved);
        QVERIFY(
            m_lanes->dropOnCard(idOf(m_lanes->todo(), u"C"_qs), idOf(m_lanes->todo(), u"A"_qs)));
        QCOMPARE(moved.size(), 1);
        QCOMPARE(removed.size(), 0);
    }

    // A change made in another program re-reads the file; rows of unchanged cards stay.
    void outsideEditKeepsRows()
    {
        start(boardText({u"A"_qs, u"B"_qs}, {}, {}));
        QSignalSpy removed(m_lanes->todo(), &QAbstractItemModel::rowsRemoved);
        QSignalSpy inserted(m_lanes->todo(), &QAbstractItemModel::rowsInserted);
        Scratch::write(today(), boardText({u"A"_qs, u"B2"_qs, u"New"_qs}, {}, {}));
        m_store->checkForChanges();
        QCOMPARE(texts(m_lanes->todo()), QStringList({u"A"_qs, u"B2"_qs, u"New"_qs}));
        QCOMPARE(removed.size(), 0);
        QCOMPARE(inserted.size(), 1);
    }

    void contextMenuActions()
    {
        start(boardText({u"A"_qs, u"B"_qs}, {}, {}));
        m_lanes->perform(u"move"_qs, idOf(m_lanes->todo(), u"A"_qs), u"doing"_qs);
        QCOMPARE(texts(m_lanes->doing()), QStringList({u"A"_qs}));
        m_lanes->perform(u"delete"_qs, idOf(m_lanes->todo(), u"B"_qs));
        QCOMPARE(m_lanes->todo()->count(), 0);
        QVERIFY(!Scratch::read(today()).contains("- [ ] B\n"));
        m_lanes->perform(u"copy"_qs, idOf(m_lanes->doing(), u"A"_qs)); // not a past day
        QCOMPARE(m_lanes->todo()->count(), 0);
    }

    void keyboardSelection()
    {
        start(boardText({u"A"_qs, u"B"_qs, u"C"_qs}, {}, {u"X"_qs, u"Y"_qs}));
        QSignalSpy selected(m_lanes.get(), &BoardLanes::selectedChanged);
        QCOMPARE(m_lanes->selectedId(), QString());
        // The first move picks the first card.
        QVERIFY(m_lanes->moveSelection(BoardLanes::Direction::Down));
        QCOMPARE(m_lanes->selectedId(), idOf(m_lanes->todo(), u"A"_qs));
        QVERIFY(!m_lanes->moveSelection(BoardLanes::Direction::Up));
        QVERIFY(m_lanes->moveSelection(BoardLanes::Direction::Down));
        QVERIFY(m_lanes->moveSelection(BoardLanes::Direction::Down));
        QCOMPARE(m_lanes->selectedId(), idOf(m_lanes->todo(), u"C"_qs));
        QVERIFY(!m_lanes->moveSelection(BoardLanes::Direction::Down));
        // Sideways past the empty Doing lane, to the last card there is at that height.
        QVERIFY(m_lanes->moveSelection(BoardLanes::Direction::Right));
        QCOMPARE(m_lanes->selectedId(), idOf(m_lanes->done(), u"Y"_qs));
        QCOMPARE(m_lanes->selectedKind(), u"done"_qs);
        QVERIFY(!m_lanes->moveSelection(BoardLanes::Direction::Right));
        QVERIFY(m_lanes->moveSelection(BoardLanes::Direction::Left));
        QCOMPARE(m_lanes->selectedId(), idOf(m_lanes->todo(), u"B"_qs));
        QVERIFY(selected.size() >= 5);

        // Space ticks it off; it stays selected, now in Done.
        m_lanes->toggleSelected();
        QCOMPARE(m_lanes->selectedKind(), u"done"_qs);
        QCOMPARE(texts(m_lanes->done()), QStringList({u"X"_qs, u"Y"_qs, u"B"_qs}));
        QVERIFY(Scratch::read(today()).contains("- [x] B\n"));

        // Deleted, it hands the selection to the card that took its place.
        QVERIFY(m_lanes->selectEdge(u"todo"_qs, false));
        m_store->deleteCard(m_lanes->selectedId());
        QCOMPARE(m_lanes->selectedId(), idOf(m_lanes->todo(), u"C"_qs));
        m_store->deleteCard(m_lanes->selectedId());
        QCOMPARE(m_lanes->selectedId(), QString());
        QVERIFY(!m_lanes->selectEdge(u"todo"_qs, true));
    }

    // Re-reading the file keeps the cards that did not change, and the selection with them.
    void selectionSurvivesRereading()
    {
        start(boardText({u"A"_qs, u"B"_qs}, {}, {}));
        QVERIFY(m_lanes->selectEdge(u"todo"_qs, true));
        const QString before = m_lanes->selectedId();
        QCOMPARE(before, idOf(m_lanes->todo(), u"B"_qs));
        Scratch::write(today(), boardText({u"C"_qs, u"A"_qs, u"B"_qs}, {}, {}));
        m_store->checkForChanges();
        QCOMPARE(texts(m_lanes->todo()), QStringList({u"C"_qs, u"A"_qs, u"B"_qs}));
        QCOMPARE(m_lanes->selectedId(), before);
        QCOMPARE(m_lanes->selectedId(), idOf(m_lanes->todo(), u"B"_qs));
    }

    // A selected card that another program changed is a new card: the selection stays in place.
    void selectionOfAChangedCardStaysInPlace()
    {
        start(boardText({u"A"_qs, u"B"_qs}, {}, {}));
        QVERIFY(m_lanes->selectEdge(u"todo"_qs, true));
        Scratch::write(today(), boardText({u"A"_qs, u"B, edited"_qs}, {}, {}));
        m_store->checkForChanges();
        QCOMPARE(m_lanes->selectedId(), idOf(m_lanes->todo(), u"B, edited"_qs));
    }

    void dragImageCarriesTheText()
    {
        const QUrl url = BoardLanes::dragImage(u"Call Anna / 10 % off? #1"_qs);
        QCOMPARE(url.scheme(), u"image"_qs);
        QCOMPARE(url.host(), u"cardpreview"_qs);
        QVERIFY(!url.path().contains(u' '));
    }
};

QTEST_GUILESS_MAIN(TestBoardLanes)
#include "tst_boardlanes.moc"
