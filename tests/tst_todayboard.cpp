#include "io/TextFile.h"
#include "store/Preferences.h"
#include "store/TodayBoard.h"
#include "store/VaultLocations.h"
#include "support/BoardText.h"
#include "support/StoreFixture.h"
#include "support/UsedUpInotify.h"

#include <QDir>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

#include <memory>

#include <fcntl.h>
#include <unistd.h>

// Today's board and its file, with the settings and locations it reads but no store around it.
class TestTodayBoard : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    std::unique_ptr<Preferences> m_prefs;
    std::unique_ptr<VaultLocations> m_locations;

    std::unique_ptr<TodayBoard> makeToday()
    {
        return std::make_unique<TodayBoard>(m_prefs.get(), m_locations.get(), &m_clock);
    }
    QString boardFile(const QString &day) const
    {
        return m_scratch->boards() + u'/' + day + u".md"_qs;
    }
    // The id of the first card with this text, null for none.
    static QUuid cardId(const Board &board, const QString &text)
    {
        for (const Lane &lane : board.lanes())
            for (const Card &c : lane.cards())
                if (c.text() == text)
                    return c.id();
        return {};
    }
    QStringList replacedCopies() const
    {
        return QDir(m_scratch->replaced()).entryList(QDir::Files);
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        m_prefs = std::make_unique<Preferences>();
        m_locations = std::make_unique<VaultLocations>(m_prefs.get());
    }
    void cleanup()
    {
        m_locations.reset();
        m_prefs.reset();
    }

    void newDayCarriesOverAndGreets_data()
    {
        QTest::addColumn<bool>("carryOver");
        QTest::addColumn<bool>("banner");
        QTest::addColumn<QStringList>("todo");
        QTest::addColumn<QVariant>("greeting");
        const QStringList unfinished{u"a"_qs, u"b"_qs};
        QTest::newRow("both on") << true << true << unfinished
                                 << QVariant::fromValue(Greeting(3, u"2025-03-05"_qs));
        QTest::newRow("no carry-over")
            << false << true << QStringList() << QVariant::fromValue(Greeting(0, u"2025-03-05"_qs));
        QTest::newRow("no banner") << true << false << unfinished << QVariant();
    }
    void newDayCarriesOverAndGreets()
    {
        QFETCH(bool, carryOver);
        QFETCH(bool, banner);
        QFETCH(QStringList, todo);
        QFETCH(QVariant, greeting);
        Scratch::write(boardFile(u"2025-03-05"_qs),
                       boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"done"_qs}));
        m_prefs->setCarryOver(carryOver);
        m_prefs->setMorningBanner(banner);
        const auto today = makeToday();
        QCOMPARE(today->day(), u"2025-03-07"_qs);
        QCOMPARE(today->path(), boardFile(u"2025-03-07"_qs));
        QCOMPARE(texts(today->board(), LaneKind::Todo), todo);
        QVERIFY(today->board().cards(LaneKind::Done).isEmpty());
        QCOMPARE(today->greetingValue(), greeting);
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), today->board().markdown().toUtf8());
        QCOMPARE(today->lastError(), QString());
    }

    void greetingFromQml()
    {
        const auto today = makeToday();
        QSignalSpy changed(today.get(), &TodayBoard::greetingChanged);
        QVERIFY(today->setProperty("greeting", QVariant()));
        QVERIFY(!today->greeting());
        QCOMPARE(changed.count(), 1);
        QVERIFY(today->setProperty("greeting", QVariant(u"not a greeting"_qs)));
        QCOMPARE(changed.count(), 1);
        today->setGreeting(Greeting(2, std::nullopt));
        QCOMPARE(today->property("greeting").value<Greeting>(), Greeting(2, std::nullopt));
    }

    void everyEditIsWrittenAtOnce()
    {
        const auto today = makeToday();
        QSignalSpy changed(today.get(), &TodayBoard::boardChanged);
        const auto onDisk = [&] {
            return Board::parse(QString::fromUtf8(Scratch::read(boardFile(u"2025-03-07"_qs))));
        };
        today->add(u"first"_qs, u"todo"_qs);
        today->add(u"second"_qs, LaneKind::Todo);
        const QUuid first = today->board().cards(LaneKind::Todo)[0].id();
        const QUuid second = today->board().cards(LaneKind::Todo)[1].id();
        today->move(first.toString(), u"doing"_qs, QString());
        QCOMPARE(texts(onDisk(), LaneKind::Doing), QStringList{u"first"_qs});
        today->toggle(second);
        QCOMPARE(texts(onDisk(), LaneKind::Done), QStringList{u"second"_qs});
        today->rename(second.toString(), u"renamed\nacross lines"_qs);
        QCOMPARE(texts(onDisk(), LaneKind::Done), QStringList{u"renamed across lines"_qs});
        today->deleteCard(first);
        QVERIFY(onDisk().cards(LaneKind::Doing).isEmpty());
        QCOMPARE(changed.count(), 6);
        // Nothing to do: nothing published, nothing written.
        today->add(u"   "_qs, LaneKind::Todo);
        today->add(u"x"_qs, u"nowhere"_qs);
        today->toggle(u"not an id"_qs);
        today->move(QUuid::createUuid(), LaneKind::Done, std::nullopt);
        QCOMPARE(changed.count(), 6);
    }

    void copyTakesTheTextOnly()
    {
        const auto today = makeToday();
        const Card card(u"from before"_qs, {u"\tdetail"_qs});
        today->copyToToday(card);
        QCOMPARE(today->board().cards(LaneKind::Todo).size(), 1);
        const Card copy = today->board().cards(LaneKind::Todo)[0];
        QCOMPARE(copy.text(), u"from before"_qs);
        QVERIFY(copy.extraLines().isEmpty());
        QVERIFY(copy.id() != card.id());
    }

    void everyOutcomeIsReported()
    {
        Scratch::write(m_scratch->vault() + u"/01 Journal/Boards"_qs, "I am a file\n");
        const auto today = makeToday();
        QVERIFY2(today->lastError().startsWith(TodayBoard::saveErrorPrefix),
                 qPrintable(today->lastError()));
        QSignalSpy reported(today.get(), &TodayBoard::reported);
        QSignalSpy changed(today.get(), &TodayBoard::lastErrorChanged);
        today->add(u"a"_qs, LaneKind::Todo);
        today->add(u"b"_qs, LaneKind::Todo);
        // The same failure twice: one change of the message, but two reports.
        QCOMPARE(reported.count(), 2);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(reported[1][0].toString(), today->lastError());
        QFile::remove(m_scratch->vault() + u"/01 Journal/Boards"_qs);
        today->add(u"c"_qs, LaneKind::Todo);
        QCOMPARE(reported.count(), 3);
        QCOMPARE(reported[2][0].toString(), QString());
        QCOMPARE(today->lastError(), QString());
        QCOMPARE(changed.count(), 1);
    }

    void unreadableTodayIsNotEditedOver_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("not UTF-8") << QByteArray("## To do\n- [ ] caf\xe9\n");
        QTest::newRow("cut in a character") << QByteArray("## To do\n- [ ] caf\xc3");
    }
    void unreadableTodayIsNotEditedOver()
    {
        QFETCH(QByteArray, bytes);
        const QString file = boardFile(u"2025-03-07"_qs);
        Scratch::write(file, bytes);
        const auto today = makeToday();
        QVERIFY2(today->lastError().startsWith(u"Couldn't read 2025-03-07.md: "_qs),
                 qPrintable(today->lastError()));
        QCOMPARE(today->unreadable(), today->lastError());

        // Edits are shown but wait: the file stays as it is.
        today->add(u"new"_qs, LaneKind::Todo);
        QCOMPARE(texts(today->board(), LaneKind::Todo), QStringList{u"new"_qs});
        QCOMPARE(today->pendingEdits(), 1);
        QCOMPARE(Scratch::read(file), bytes);
        QVERIFY(replacedCopies().isEmpty());

        // A fresh board keeps the old file beside it and takes the edits that waited.
        today->startFreshBoard();
        QCOMPARE(today->unreadable(), QString());
        QCOMPARE(today->lastError(), QString());
        QCOMPARE(today->pendingEdits(), 0);
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07 (unreadable)"_qs)), bytes);
        QCOMPARE(texts(Board::parse(QString::fromUtf8(Scratch::read(file))), LaneKind::Todo),
                 QStringList{u"new"_qs});
        QVERIFY(replacedCopies().isEmpty());
    }

    void unreadableTodayRepairedOutside()
    {
        const QString file = boardFile(u"2025-03-07"_qs);
        Scratch::write(file, "## To do\n- [ ] caf\xe9\n");
        const auto today = makeToday();
        today->add(u"waiting"_qs, LaneKind::Doing);
        // Fixed in another editor: the edit that waited is made on the repaired board.
        Scratch::write(file, boardText({u"caf\u00e9"_qs}, {}, {}));
        today->checkForChanges();
        QCOMPARE(today->unreadable(), QString());
        QCOMPARE(today->lastError(), QString());
        const Board saved = Board::parse(QString::fromUtf8(Scratch::read(file)));
        QCOMPARE(texts(saved, LaneKind::Todo), QStringList{u"caf\u00e9"_qs});
        QCOMPARE(texts(saved, LaneKind::Doing), QStringList{u"waiting"_qs});
    }

    void secondFreshBoardGetsItsOwnName()
    {
        const QString file = boardFile(u"2025-03-07"_qs);
        Scratch::write(boardFile(u"2025-03-07 (unreadable)"_qs), "older");
        Scratch::write(file, "\xff");
        const auto today = makeToday();
        today->startFreshBoard();
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07 (unreadable)"_qs)), QByteArray("older"));
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07 (unreadable 2)"_qs)), QByteArray("\xff"));
        QCOMPARE(today->unreadable(), QString());
    }

    void textTheBoardCannotHoldIsCopiedBeforeTheFirstSave()
    {
        const QByteArray bytes("Intro\n## To do\n* [ ] star\n");
        Scratch::write(boardFile(u"2025-03-07"_qs), bytes);
        const auto today = makeToday();
        QCOMPARE(today->lastError(), QString());
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), bytes);
        today->add(u"new"_qs, LaneKind::Todo);
        QCOMPARE(replacedCopies().size(), 1);
        const QString copy = m_scratch->replaced() + u'/' + replacedCopies()[0];
        QCOMPARE(Scratch::read(copy), bytes);
        // The panel says so and can show the copy.
        QVERIFY2(today->lastError().contains(u"a copy of it was kept"_qs),
                 qPrintable(today->lastError()));
        QCOMPARE(today->lastCopy(), copy);
        // Once written, the file holds the board: no second copy.
        today->add(u"more"_qs, LaneKind::Todo);
        QCOMPARE(replacedCopies().size(), 1);
        QCOMPARE(today->lastError(), QString());
    }

    // ---- edits made on the newest version of the file

    // What the board and the file hold, one line per lane: "a,b|c|d".
    static QString lanes(const Board &board)
    {
        QStringList out;
        for (LaneKind kind : {LaneKind::Todo, LaneKind::Doing, LaneKind::Done})
            out.append(texts(board, kind).join(u','));
        return out.join(u'|');
    }
    QString fileLanes() const
    {
        return lanes(Board::parse(QString::fromUtf8(Scratch::read(boardFile(u"2025-03-07"_qs)))));
    }

    void editMeetsAnotherProgramsSave_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QByteArray>("theirs");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("dropped");
        // Ours starts as: a,b | c | d. Theirs was saved behind our back, unseen.
        const QByteArray added = boardText({u"a"_qs, u"b"_qs, u"x"_qs}, {u"c"_qs}, {u"d"_qs});
        QTest::newRow("add, they added") << u"add e"_qs << added << u"a,b,x,e|c|d"_qs << false;
        QTest::newRow("move, they added")
            << u"move a doing"_qs << added << u"b,x|c,a|d"_qs << false;
        QTest::newRow("toggle, they added") << u"toggle b"_qs << added << u"a,x|c|d,b"_qs << false;
        QTest::newRow("rename, they added")
            << u"rename c C"_qs << added << u"a,b,x|C|d"_qs << false;
        QTest::newRow("delete, they added") << u"delete d"_qs << added << u"a,b,x|c|"_qs << false;
        const QByteArray reordered = boardText({u"b"_qs, u"a"_qs}, {u"c"_qs}, {u"d"_qs});
        QTest::newRow("move, they reordered")
            << u"move a done"_qs << reordered << u"b|c|d,a"_qs << false;
        // They changed the very card: their version wins and the edit is dropped.
        const QByteArray renamed = boardText({u"a2"_qs, u"b"_qs}, {u"c"_qs}, {u"d"_qs});
        QTest::newRow("rename, they renamed it")
            << u"rename a mine"_qs << renamed << u"a2,b|c|d"_qs << true;
        QTest::newRow("toggle, they renamed it")
            << u"toggle a"_qs << renamed << u"a2,b|c|d"_qs << true;
        const QByteArray deleted = boardText({u"b"_qs}, {u"c"_qs}, {u"d"_qs});
        QTest::newRow("move, they deleted it")
            << u"move a doing"_qs << deleted << u"b|c|d"_qs << true;
        const QByteArray moved = boardText({u"b"_qs}, {u"c"_qs, u"a"_qs}, {u"d"_qs});
        QTest::newRow("delete, they moved it") << u"delete a"_qs << moved << u"b|c,a|d"_qs << true;
    }
    void editMeetsAnotherProgramsSave()
    {
        QFETCH(QString, edit);
        QFETCH(QByteArray, theirs);
        QFETCH(QString, expected);
        QFETCH(bool, dropped);
        Scratch::write(boardFile(u"2025-03-07"_qs),
                       boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"d"_qs}));
        const auto today = makeToday();
        const auto card = [&](const QString &text) { return cardId(today->board(), text); };
        Scratch::write(boardFile(u"2025-03-07"_qs), theirs);
        const QStringList words = edit.split(u' ');
        const auto kind = [](const QString &name) {
            return name == u"doing"_qs  ? LaneKind::Doing
                   : name == u"done"_qs ? LaneKind::Done
                                        : LaneKind::Todo;
        };
        if (words[0] == u"add"_qs)
            today->add(words[1], LaneKind::Todo);
        else if (words[0] == u"move"_qs)
            today->move(card(words[1]), kind(words[2]), std::nullopt);
        else if (words[0] == u"toggle"_qs)
            today->toggle(card(words[1]));
        else if (words[0] == u"rename"_qs)
            today->rename(card(words[1]), words[2]);
        else
            today->deleteCard(card(words[1]));

        QCOMPARE(lanes(today->board()), expected);
        QCOMPARE(fileLanes(), expected);
        QVERIFY(replacedCopies().isEmpty());
        if (dropped) {
            QVERIFY2(today->lastError().startsWith(u"“"_qs + words[1] +
                                                   u"” was changed in another program"_qs),
                     qPrintable(today->lastError()));
        } else {
            QCOMPARE(today->lastError(), QString());
        }
    }

    // Each undo and redo is an edit written at once, like any other.
    void undoAndRedoAreWritten()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs),
                       Board::parse(u"## To do\n- [ ] a\n- [ ] b\n\t- under b\n## Doing\n- [ ] c\n"
                                    u"## Done\n**Complete**\n- [x] d\n"_qs)
                           .markdown()
                           .toUtf8());
        const auto today = makeToday();
        QSignalSpy undoChanged(today.get(), &TodayBoard::undoChanged);
        QVERIFY(!today->canUndo() && !today->canRedo());
        const auto card = [&](const QString &text) { return cardId(today->board(), text); };
        const QByteArray before = Scratch::read(boardFile(u"2025-03-07"_qs));
        today->add(u"e"_qs, LaneKind::Doing);
        today->toggle(card(u"a"_qs));
        today->rename(card(u"c"_qs), u"C"_qs);
        today->move(card(u"b"_qs), LaneKind::Todo, std::nullopt);
        today->deleteCard(card(u"d"_qs));
        QCOMPARE(fileLanes(), u"b|C,e|a"_qs);
        QVERIFY(today->canUndo());

        // The move of b to the end of its lane is the second step back; it was there already.
        const QStringList steps{u"b|C,e|d,a"_qs, u"b|C,e|d,a"_qs, u"b|c,e|d,a"_qs, u"a,b|c,e|d"_qs,
                                u"a,b|c|d"_qs};
        QStringList seen;
        while (today->canUndo()) {
            today->undo();
            seen.append(fileLanes());
        }
        QCOMPARE(seen, steps);
        // Back to the bytes it started from, the line under b included.
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), before);
        QVERIFY(today->canRedo());
        today->redo();
        today->redo();
        QCOMPARE(fileLanes(), u"b|c,e|d,a"_qs);
        // A new edit forgets what could be redone.
        today->add(u"f"_qs, LaneKind::Todo);
        QVERIFY(!today->canRedo());
        QCOMPARE(fileLanes(), u"b,f|c,e|d,a"_qs);
        today->undo();
        QCOMPARE(fileLanes(), u"b|c,e|d,a"_qs);
        QVERIFY(undoChanged.count() > 0);
        QCOMPARE(today->lastError(), QString());
    }

    // An undo never takes back what another program wrote: when it changed the card since, its
    // version stays, the undo is forgotten and that is said.
    void undoLeavesOtherProgramsChanges_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QByteArray>("theirs");
        QTest::addColumn<QString>("expected");
        // Ours starts as: a,b | c | d, then the edit; theirs is saved after it.
        QTest::newRow("rename, they renamed it again")
            << u"rename a mine"_qs << boardText({u"theirs"_qs, u"b"_qs}, {u"c"_qs}, {u"d"_qs})
            << u"theirs,b|c|d"_qs;
        QTest::newRow("move, they moved it on")
            << u"move a doing"_qs << boardText({u"b"_qs}, {u"c"_qs}, {u"d"_qs, u"a"_qs})
            << u"b|c|d,a"_qs;
        QTest::newRow("add, they ticked it")
            << u"add e"_qs << boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"d"_qs, u"e"_qs})
            << u"a,b|c|d,e"_qs;
    }
    void undoLeavesOtherProgramsChanges()
    {
        QFETCH(QString, edit);
        QFETCH(QByteArray, theirs);
        QFETCH(QString, expected);
        Scratch::write(boardFile(u"2025-03-07"_qs),
                       boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"d"_qs}));
        const auto today = makeToday();
        const QUuid a = today->board().cards(LaneKind::Todo).front().id();
        const QStringList words = edit.split(u' ');
        if (words[0] == u"rename"_qs)
            today->rename(a, words[2]);
        else if (words[0] == u"move"_qs)
            today->move(a, LaneKind::Doing, std::nullopt);
        else
            today->add(words[1], LaneKind::Todo);
        // Saved behind our back, with no event seen yet: the undo looks at the file itself.
        Scratch::write(boardFile(u"2025-03-07"_qs), theirs);
        today->undo();
        QCOMPARE(fileLanes(), expected);
        QCOMPARE(lanes(today->board()), expected);
        QVERIFY2(today->lastError().contains(u"was changed in another program since: your edit "
                                             u"can't be undone."_qs),
                 qPrintable(today->lastError()));
        QVERIFY(!today->canUndo());
        QVERIFY(!today->canRedo());
    }

    // Another program's change to other cards stays when ours is undone.
    void undoKeepsOtherCardsChanges()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs),
                       boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"d"_qs}));
        const auto today = makeToday();
        today->deleteCard(today->board().cards(LaneKind::Todo).front().id());
        Scratch::write(boardFile(u"2025-03-07"_qs),
                       boardText({u"b"_qs, u"x"_qs}, {u"c2"_qs}, {u"d"_qs}));
        today->undo();
        QCOMPARE(fileLanes(), u"a,b,x|c2|d"_qs);
        QCOMPARE(today->lastError(), QString());
    }

    // A delete offers its undo for a moment; any other edit or the undo itself ends the offer.
    void deleteOffersUndo()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs),
                       boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"d"_qs}));
        const auto today = makeToday();
        QCOMPARE(today->undoOffer(), QString());
        const QUuid b = today->board().cards(LaneKind::Todo)[1].id();
        today->deleteCard(b);
        QCOMPARE(today->undoOffer(), u"Deleted “b”"_qs);
        today->undo();
        QCOMPARE(today->undoOffer(), QString());
        QCOMPARE(fileLanes(), u"a,b|c|d"_qs);
        // A rename to blank text deletes too.
        today->rename(b, u"  "_qs);
        QCOMPARE(today->undoOffer(), u"Deleted “b”"_qs);
        today->add(u"e"_qs, LaneKind::Todo);
        QCOMPARE(today->undoOffer(), QString());
        // Left alone, it goes.
        today->setUndoOfferMs(1);
        today->deleteCard(today->board().cards(LaneKind::Todo).front().id());
        QCOMPARE(today->undoOffer(), u"Deleted “a”"_qs);
        QTRY_COMPARE(today->undoOffer(), QString());
        QVERIFY(today->canUndo());
    }

    // Another day's board has nothing to undo.
    void newDayForgetsTheHistory()
    {
        const auto today = makeToday();
        today->add(u"a"_qs, LaneKind::Todo);
        QVERIFY(today->canUndo());
        m_clock.set(2025, 3, 8);
        today->checkForChanges();
        QCOMPARE(today->day(), u"2025-03-08"_qs);
        QVERIFY(!today->canUndo());
        today->undo();
        QCOMPARE(texts(today->board(), LaneKind::Todo), QStringList{u"a"_qs});
    }

    void cardsKeepTheirIdsAcrossOutsideSaves()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"a"_qs, u"b"_qs}, {}, {}));
        const auto today = makeToday();
        const QUuid a = today->board().cards(LaneKind::Todo)[0].id();
        Scratch::write(boardFile(u"2025-03-07"_qs),
                       boardText({u"new"_qs, u"b"_qs, u"a"_qs}, {}, {}));
        today->checkForChanges();
        QCOMPARE(today->board().cards(LaneKind::Todo)[2].text(), u"a"_qs);
        QCOMPARE(today->board().cards(LaneKind::Todo)[2].id(), a);
    }

    void saveBetweenCheckAndRenameIsMergedIn()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"a"_qs}, {}, {}));
        const auto today = makeToday();
        static QString target;
        target = boardFile(u"2025-03-07"_qs);
        static int calls;
        calls = 0;
        TextFile::setRenameObserver([](TextFile::RenameMoment moment, const QString &path) {
            // Once: another program's save lands in the last instant before our rename.
            if (moment == TextFile::RenameMoment::Before && path == target && calls++ == 0)
                Scratch::write(target, boardText({u"a"_qs, u"theirs"_qs}, {}, {}));
        });
        const auto stop = qScopeGuard([] { TextFile::setRenameObserver(nullptr); });
        today->add(u"mine"_qs, LaneKind::Doing);
        QCOMPARE(lanes(today->board()), u"a,theirs|mine|"_qs);
        QCOMPARE(fileLanes(), u"a,theirs|mine|"_qs);
        QVERIFY(replacedCopies().isEmpty());
        QCOMPARE(today->lastError(), QString());
    }

    void saveRightAfterOursIsRead()
    {
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"a"_qs}, {}, {}));
        const auto today = makeToday();
        static QString target;
        target = boardFile(u"2025-03-07"_qs);
        TextFile::setRenameObserver([](TextFile::RenameMoment moment, const QString &path) {
            if (moment == TextFile::RenameMoment::After && path == target)
                Scratch::write(target, boardText({u"a"_qs, u"mine"_qs, u"theirs"_qs}, {}, {}));
        });
        today->add(u"mine"_qs, LaneKind::Todo);
        TextFile::setRenameObserver(nullptr);
        // Taken for an outside change, not for our own save.
        today->checkForChanges();
        QCOMPARE(lanes(today->board()), u"a,mine,theirs||"_qs);
    }

    void halfWrittenFileIsNotReadNorReplaced()
    {
        const QString file = boardFile(u"2025-03-07"_qs);
        Scratch::write(file, boardText({u"a"_qs}, {}, {}));
        const auto today = makeToday();
        const QByteArray whole = boardText({u"a"_qs, u"theirs"_qs}, {}, {});
        // An editor that truncated the file and has written half of it.
        const int writer = ::open(QFile::encodeName(file).constData(), O_WRONLY | O_TRUNC);
        QVERIFY(writer >= 0);
        auto closeWriter = qScopeGuard([writer] { ::close(writer); });
        QCOMPARE(::write(writer, whole.constData(), whole.size() / 2), whole.size() / 2);
        today->checkForChanges();
        QCOMPARE(lanes(today->board()), u"a||"_qs);
        today->add(u"mine"_qs, LaneKind::Doing);
        QCOMPARE(lanes(today->board()), u"a|mine|"_qs);
        QCOMPARE(today->pendingEdits(), 1);
        QCOMPARE(Scratch::read(file), whole.left(whole.size() / 2));
        // Done writing: its version is read, and the edit made on it.
        const qsizetype rest = whole.size() - whole.size() / 2;
        QCOMPARE(::write(writer, whole.constData() + whole.size() / 2, size_t(rest)), rest);
        closeWriter.dismiss();
        ::close(writer);
        QTRY_COMPARE_WITH_TIMEOUT(today->pendingEdits(), 0, 10000);
        QCOMPARE(lanes(today->board()), u"a,theirs|mine|"_qs);
        QCOMPARE(fileLanes(), u"a,theirs|mine|"_qs);
        QVERIFY(replacedCopies().isEmpty());
    }

    void boardsFolderRemovedAndMadeAgain_data()
    {
        QTest::addColumn<bool>("byRename");
        QTest::newRow("removed, then made again") << false;
        QTest::newRow("renamed away and back") << true;
    }
    void boardsFolderRemovedAndMadeAgain()
    {
        QFETCH(bool, byRename);
        const auto today = makeToday();
        QSignalSpy checked(today.get(), &TodayBoard::folderChecked);
        const QString boards = m_scratch->boards();
        if (byRename)
            QVERIFY(QDir().rename(boards, boards + u".away"_qs));
        else
            QVERIFY(QDir(boards).removeRecursively());
        // The folder's going is seen before it comes back.
        QTRY_VERIFY_WITH_TIMEOUT(checked.count() > 0, 10000);
        if (byRename)
            QVERIFY(QDir().rename(boards + u".away"_qs, boards));
        else
            QVERIFY(QDir().mkpath(boards));
        // A later outside save in the folder that came back is seen, without a restart.
        QVERIFY(!TextFile::writeAtomically(boardFile(u"2025-03-07"_qs),
                                           boardText({u"after"_qs}, {}, {})));
        QTRY_COMPARE_WITH_TIMEOUT(texts(today->board(), LaneKind::Todo), QStringList{u"after"_qs},
                                  10000);
        QCOMPARE(today->lastError(), QString());
    }

    void failureToWatchIsShownOnce()
    {
        UsedUpInotify used;
        if (!used.limitReached)
            QSKIP(used.reason);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"^cannot watch .*max_user_instances"_qs));
        const auto today = makeToday();
        used.giveBack();
        QVERIFY2(today->lastError().contains(u"fs.inotify.max_user_instances"_qs),
                 qPrintable(today->lastError()));
        // Gone by itself once watching works, and not shown again with each save.
        QTRY_COMPARE_WITH_TIMEOUT(today->lastError(), QString(), 30000);
        today->add(u"a"_qs, LaneKind::Todo);
        QCOMPARE(today->lastError(), QString());
        // Watching: an outside save is seen.
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"outside"_qs}, {}, {}));
        QTRY_COMPARE_WITH_TIMEOUT(texts(today->board(), LaneKind::Todo), QStringList{u"outside"_qs},
                                  10000);
    }

    void checkingFollowsOutsideWrites()
    {
        const auto today = makeToday();
        today->add(u"mine"_qs, LaneKind::Todo);
        QSignalSpy changed(today.get(), &TodayBoard::boardChanged);
        QSignalSpy checked(today.get(), &TodayBoard::folderChecked);
        today->checkForChanges();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(checked.count(), 1);
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"theirs"_qs}, {}, {}));
        today->checkForChanges();
        QCOMPARE(texts(today->board(), LaneKind::Todo), QStringList{u"theirs"_qs});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(checked.count(), 2);
        QCOMPARE(replacedCopies().size(), 0);
    }

    void newDayLoadsItsBoard()
    {
        const auto today = makeToday();
        today->add(u"unfinished"_qs, LaneKind::Doing);
        QSignalSpy day(today.get(), &TodayBoard::dayChanged);
        QSignalSpy checked(today.get(), &TodayBoard::folderChecked);
        m_clock.set(2025, 3, 8, 0, 1);
        today->checkForChanges();
        QCOMPARE(today->day(), u"2025-03-08"_qs);
        QVERIFY(day.count() >= 1);
        QCOMPARE(checked.count(), 0);
        QCOMPARE(texts(today->board(), LaneKind::Doing), QStringList{u"unfinished"_qs});
        QCOMPARE(today->greeting(), std::optional<Greeting>(Greeting(1, u"2025-03-07"_qs)));
        QVERIFY(QFileInfo::exists(boardFile(u"2025-03-08"_qs)));
    }

    void relocateReadsTheNewFolder()
    {
        Scratch::write(m_scratch->vault() + u"/Elsewhere/2025-03-07.md"_qs,
                       boardText({u"there"_qs}, {}, {}));
        const auto today = makeToday();
        m_prefs->setBoardsFolder(u"Elsewhere"_qs);
        // The preferences alone move nothing: relocating does.
        QVERIFY(today->board().cards(LaneKind::Todo).isEmpty());
        today->relocate();
        QCOMPARE(today->path(), m_scratch->vault() + u"/Elsewhere/2025-03-07.md"_qs);
        QCOMPARE(texts(today->board(), LaneKind::Todo), QStringList{u"there"_qs});
        // And the new folder is watched.
        Scratch::write(today->path(), boardText({u"edited there"_qs}, {}, {}));
        QTRY_COMPARE_WITH_TIMEOUT(texts(today->board(), LaneKind::Todo),
                                  QStringList{u"edited there"_qs}, 3000);
    }
};

QTEST_GUILESS_MAIN(TestTodayBoard)
#include "tst_todayboard.moc"
