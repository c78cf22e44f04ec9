#include "io/ReplacedCopies.h"
#include "model/Board.h"
#include "store/Preferences.h"
#include "store/TodayBoard.h"
#include "store/VaultLocations.h"
#include "support/FileContents.h"
#include "support/StoreFixture.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTest>
#include <QTimer>

#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr quint32 defaultRandomStart = 20250307;

// Each card text on a board with the lanes it stands in: more than one when it is there twice.
QHash<QString, QList<LaneKind>> cardsOn(const Board &board)
{
    QHash<QString, QList<LaneKind>> cards;
    for (LaneKind kind : LaneKind::allCases()) {
        for (const Card &card : board.cards(kind))
            cards[card.text()].append(kind);
    }
    return cards;
}

// Card texts in the copies kept aside before a save wrote over someone else's bytes.
QSet<QString> cardsInCopies()
{
    QSet<QString> texts;
    const QDir folder(ReplacedCopies::folder());
    for (const QString &name : folder.entryList(QDir::Files)) {
        const Board copy = Board::parse(QString::fromUtf8(contentOf(folder.filePath(name))));
        for (const Lane &lane : copy.lanes()) {
            for (const Card &card : lane.cards())
                texts.insert(card.text());
        }
    }
    return texts;
}

int copyCount()
{
    return int(QDir(ReplacedCopies::folder()).entryList(QDir::Files).size());
}

QString listed(QStringList texts)
{
    texts.sort();
    constexpr qsizetype shown = 12;
    QString line = texts.mid(0, shown).join(u", "_qs);
    if (texts.size() > shown)
        line += u" and %1 more"_qs.arg(texts.size() - shown);
    return line;
}

QStringList strings(const QJsonValue &value)
{
    QStringList list;
    for (const QJsonValue &item : value.toArray())
        list.append(item.toString());
    return list;
}

// The person at the panel: edits the app's own cards at random moments and keeps what each of
// them should be, lane by lane.
class AppEditor {
public:
    struct Expected {
        QString name;
        int renames = 0;
        LaneKind lane = LaneKind::Todo;
    };

    AppEditor(TodayBoard *today, quint32 randomStart) : m_today(today), m_random(randomStart)
    {
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] {
            edit();
            schedule();
        });
    }

    void start()
    {
        m_stopped = false;
        schedule();
    }
    void stop()
    {
        m_stopped = true;
        m_timer.stop();
    }

    // By the card's text now.
    [[nodiscard]] const QMap<QString, Expected> &expected() const { return m_expected; }
    // Texts the app deleted or renamed away.
    [[nodiscard]] const QStringList &removed() const { return m_removed; }
    [[nodiscard]] int edits() const { return m_adds + m_moves + m_toggles + m_renames + m_deletes; }
    [[nodiscard]] QString editCounts() const
    {
        return u"%1 adds, %2 moves, %3 toggles, %4 renames, %5 deletes"_qs.arg(m_adds)
            .arg(m_moves)
            .arg(m_toggles)
            .arg(m_renames)
            .arg(m_deletes);
    }
    // Cards that were not on the board, or not in their lane, when they were next to be edited.
    [[nodiscard]] const QSet<QString> &missedOnTheWay() const { return m_missed; }
    [[nodiscard]] const QSet<QString> &misplacedOnTheWay() const { return m_misplaced; }

private:
    void schedule()
    {
        if (m_stopped)
            return;
        m_timer.start(5 + int(m_random.bounded(36)));
    }

    [[nodiscard]] LaneKind anyLane() { return LaneKind::allCases()[m_random.bounded(3)]; }

    [[nodiscard]] std::optional<std::pair<QUuid, LaneKind>> find(const QString &text) const
    {
        for (LaneKind kind : LaneKind::allCases()) {
            for (const Card &card : m_today->board().cards(kind)) {
                if (card.text() == text)
                    return std::pair(card.id(), kind);
            }
        }
        return std::nullopt;
    }

    void edit()
    {
        const quint32 roll = m_random.bounded(100);
        if (m_expected.isEmpty() || roll < 30) {
            add();
            return;
        }
        const QString text =
            std::next(m_expected.cbegin(), m_random.bounded(int(m_expected.size()))).key();
        const auto found = find(text);
        if (!found) {
            m_missed.insert(text);
            add();
            return;
        }
        const QUuid id = found->first;
        const LaneKind lane = found->second;
        Expected &expected = m_expected[text];
        if (lane != expected.lane)
            m_misplaced.insert(text);
        if (roll < 55) {
            const LaneKind to = anyLane();
            QList<Card> there = m_today->board().cards(to);
            there.removeIf([&](const Card &card) { return card.id() == id; });
            const int at = int(m_random.bounded(int(there.size()) + 1));
            m_today->move(id, to, at < there.size() ? std::optional(there[at].id()) : std::nullopt);
            expected.lane = to;
            ++m_moves;
        } else if (roll < 75) {
            // What the person sees is what flips.
            expected.lane = lane == LaneKind::Done ? LaneKind::Todo : LaneKind::Done;
            m_today->toggle(id);
            ++m_toggles;
        } else if (roll < 88) {
            Expected renamed = m_expected.take(text);
            ++renamed.renames;
            const QString newText = renamed.name + u"-r"_qs + QString::number(renamed.renames);
            m_today->rename(id, newText);
            m_expected.insert(newText, renamed);
            m_removed.append(text);
            ++m_renames;
        } else {
            m_today->deleteCard(id);
            m_expected.remove(text);
            m_removed.append(text);
            ++m_deletes;
        }
    }

    void add()
    {
        const QString text = u"app-"_qs + QString::number(++m_lastNumber).rightJustified(3, u'0');
        const LaneKind lane = anyLane();
        m_today->add(text, lane);
        m_expected.insert(text, Expected{text, 0, lane});
        ++m_adds;
    }

    TodayBoard *m_today;
    QRandomGenerator m_random;
    QTimer m_timer;
    bool m_stopped = true;

    QMap<QString, Expected> m_expected;
    QStringList m_removed;
    int m_lastNumber = 0;
    int m_adds = 0;
    int m_moves = 0;
    int m_toggles = 0;
    int m_renames = 0;
    int m_deletes = 0;
    QSet<QString> m_missed;
    QSet<QString> m_misplaced;
};

} // namespace

// Today's board while another program writes the same file at random moments, in place or by
// swapping in a whole new file, and the person edits the app's own cards meanwhile. In the end
// the file and the board agree, and every card is where its last writer put it.
class TestBoardStress : public QObject {
    Q_OBJECT

    quint32 m_randomStart = defaultRandomStart;
    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    std::unique_ptr<Preferences> m_prefs;
    std::unique_ptr<VaultLocations> m_locations;

    void run(int writes, bool alwaysPause, bool appEdits);

private slots:
    void initTestCase()
    {
        const QString given = qEnvironmentVariable("TALLOWFERN_STRESS_RANDOM_START");
        if (!given.isEmpty()) {
            bool ok = false;
            m_randomStart = given.toUInt(&ok);
            if (!ok)
                QFAIL(qPrintable(u"TALLOWFERN_STRESS_RANDOM_START must be a whole number from 0 "
                                 u"to 4294967295, not \"%1\""_qs.arg(given)));
        }
        qInfo("random start value %u (set TALLOWFERN_STRESS_RANDOM_START=%u to make the same "
              "random choices again)",
              m_randomStart, m_randomStart);
    }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_prefs = std::make_unique<Preferences>();
        m_locations = std::make_unique<VaultLocations>(m_prefs.get());
    }
    void cleanup()
    {
        m_locations.reset();
        m_prefs.reset();
        m_scratch.reset();
    }

    void everyCardSurvivesAnotherWriter_data()
    {
        QTest::addColumn<int>("writes");
        QTest::addColumn<bool>("appEdits");
        QTest::newRow("while the app edits") << 150 << true;
        // The harness itself: with one writer alone nothing can be lost.
        QTest::newRow("with the app idle") << 60 << false;
    }
    void everyCardSurvivesAnotherWriter()
    {
        QFETCH(int, writes);
        QFETCH(bool, appEdits);
        run(writes, false, appEdits);
    }

    void everyCardSurvivesHalfWrittenFiles_data()
    {
        QTest::addColumn<int>("writes");
        QTest::addColumn<bool>("appEdits");
        QTest::newRow("while the app edits") << 40 << true;
        QTest::newRow("with the app idle") << 20 << false;
    }
    // Every write in place, the file left empty for a while before the new text comes.
    void everyCardSurvivesHalfWrittenFiles()
    {
        QFETCH(int, writes);
        QFETCH(bool, appEdits);
        run(writes, true, appEdits);
    }
};

void TestBoardStress::run(int writes, bool alwaysPause, bool appEdits)
{
    const auto today = std::make_unique<TodayBoard>(m_prefs.get(), m_locations.get(), &m_clock);
    const QString path = today->path();
    QVERIFY2(QFileInfo::exists(path), qPrintable(path));

    AppEditor editor(today.get(), m_randomStart);
    QProcess writer;
    writer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QObject::connect(&writer, &QProcess::finished, &writer, [&editor] { editor.stop(); });
    QStringList arguments;
    if (alwaysPause)
        arguments << u"--always-pause"_qs;
    arguments << path << QString::number(m_randomStart + 1) << QString::number(writes) << u"ext"_qs;
    writer.start(QStringLiteral(BOARD_WRITER), arguments);
    QVERIFY2(writer.waitForStarted(10000), qPrintable(writer.errorString()));
    if (appEdits)
        editor.start();

    // Its writes take some 35 ms each, pauses aside.
    const bool writerDone =
        QTest::qWaitFor([&] { return writer.state() == QProcess::NotRunning; }, 45000);
    editor.stop();
    if (!writerDone) {
        writer.kill();
        writer.waitForFinished(10000);
        QFAIL("the other program had not finished its writes after 45 s");
    }
    QCOMPARE(writer.exitStatus(), QProcess::NormalExit);
    QCOMPARE(writer.exitCode(), 0);
    const QByteArray lastLine = writer.readAllStandardOutput().trimmed().split('\n').last();
    const QJsonObject summary = QJsonDocument::fromJson(lastLine).object();
    QVERIFY2(summary.contains(u"added"_qs), lastLine.constData());

    // Both have stopped writing; the app may still have a change of the file to take in.
    const auto agree = [&] { return contentOf(path) == today->board().markdown().toUtf8(); };
    const bool settled = QTest::qWaitFor(
        [&] {
            if (!agree())
                return false;
            // Once more now, so that no change it has yet to handle can come after the check.
            today->checkForChanges();
            return agree();
        },
        20000);

    const auto onBoard = cardsOn(today->board());
    const QSet<QString> copied = cardsInCopies();
    const QStringList added = strings(summary[u"added"_qs]);
    const QStringList deleted = strings(summary[u"deleted"_qs]);

    QStringList outsideHidden;
    QStringList outsideLost;
    QStringList outsideBack;
    int outsideKept = 0;
    for (const QString &text : added) {
        if (deleted.contains(text))
            continue;
        if (onBoard.contains(text))
            ++outsideKept;
        else
            (copied.contains(text) ? outsideHidden : outsideLost).append(text);
    }
    for (const QString &text : deleted) {
        if (onBoard.contains(text))
            outsideBack.append(text);
    }

    QStringList appMisplaced;
    QStringList appHidden;
    QStringList appLost;
    QStringList appBack;
    int appKept = 0;
    for (auto it = editor.expected().cbegin(); it != editor.expected().cend(); ++it) {
        const QList<LaneKind> lanes = onBoard.value(it.key());
        if (lanes.isEmpty())
            (copied.contains(it.key()) ? appHidden : appLost).append(it.key());
        else if (lanes == QList<LaneKind>{it->lane})
            ++appKept;
        else
            appMisplaced.append(it.key());
    }
    for (const QString &text : editor.removed()) {
        if (onBoard.contains(text))
            appBack.append(text);
    }

    QStringList twice;
    QStringList unknown;
    for (auto it = onBoard.cbegin(); it != onBoard.cend(); ++it) {
        if (it->size() > 1)
            twice.append(it.key());
        if (!added.contains(it.key()) && !editor.expected().contains(it.key()) &&
            !editor.removed().contains(it.key()))
            unknown.append(it.key());
    }

    const auto count = [&](const char *key) { return summary[QLatin1String(key)].toInt(); };
    qInfo("other program: %d writes in place (%d pausing after the truncate, %d into a file "
          "renamed away meanwhile), %d swapped in (%d swaps undone and done again), %d given up",
          count("inPlace"), count("paused"), count("orphaned"), count("atomic"), count("retried"),
          count("skipped"));
    qInfo("outside cards: %d written, %d of them deleted again (%d back on the board); of the "
          "other %d: %d on the board, %d hidden (only in copies), %d lost",
          int(added.size()), int(deleted.size()), int(outsideBack.size()),
          int(added.size() - deleted.size()), outsideKept, int(outsideHidden.size()),
          int(outsideLost.size()));
    qInfo("app edits: %d made (%s); %d cards expected: %d kept in their lane, %d in another lane "
          "or twice, %d hidden (only in copies), %d lost; %d deleted or renamed away, %d of them "
          "back on the board",
          editor.edits(), qPrintable(editor.editCounts()), int(editor.expected().size()), appKept,
          int(appMisplaced.size()), int(appHidden.size()), int(appLost.size()),
          int(editor.removed().size()), int(appBack.size()));
    qInfo("on the way: %d app cards were gone and %d in another lane when next to be edited",
          int(editor.missedOnTheWay().size()), int(editor.misplacedOnTheWay().size()));
    qInfo("board: %d cards, %d of them twice, %d written by neither; %d copies in %s",
          int(onBoard.size()), int(twice.size()), int(unknown.size()), copyCount(),
          qPrintable(ReplacedCopies::folder()));
    if (!settled) {
        qInfo("the file never agreed with the board: %d cards in the file, %d on the board",
              int(cardsOn(Board::parse(QString::fromUtf8(contentOf(path)))).size()),
              int(onBoard.size()));
    }
    const QList<std::pair<const char *, QStringList>> details{
        {"outside cards hidden", outsideHidden},
        {"outside cards lost", outsideLost},
        {"outside cards back", outsideBack},
        {"app cards misplaced", appMisplaced},
        {"app cards hidden", appHidden},
        {"app cards lost", appLost},
        {"app cards back", appBack},
        {"cards twice", twice},
        {"cards by neither", unknown}};
    for (const auto &[what, texts] : details) {
        if (!texts.isEmpty())
            qInfo("  %s: %s", what, qPrintable(listed(texts)));
    }

    QVERIFY2(settled, "the file and the board the app shows never came to agree");
    QVERIFY2(count("skipped") == 0,
             "the other program found no whole board to change for 5 s at a time");
    QVERIFY2(added.size() >= writes / 2, "the other program added hardly any cards");
    QVERIFY2(!appEdits || editor.edits() > 0, "the app made no edits while the other one wrote");
    QVERIFY2(outsideHidden.isEmpty() && appHidden.isEmpty(),
             qPrintable(u"cards only in the copies kept aside: "_qs +
                        listed(outsideHidden + appHidden)));
    QVERIFY2(outsideLost.isEmpty(),
             qPrintable(u"outside cards gone from the board: "_qs + listed(outsideLost)));
    QVERIFY2(outsideBack.isEmpty(),
             qPrintable(u"outside cards back after their deletion: "_qs + listed(outsideBack)));
    QVERIFY2(
        appMisplaced.isEmpty() && appLost.isEmpty(),
        qPrintable(u"app cards not where they were put: "_qs + listed(appMisplaced + appLost)));
    QVERIFY2(appBack.isEmpty(),
             qPrintable(u"app cards back after a deletion or rename: "_qs + listed(appBack)));
    QVERIFY2(twice.isEmpty(), qPrintable(u"cards on the board twice: "_qs + listed(twice)));
    QVERIFY2(unknown.isEmpty(), qPrintable(u"cards written by neither: "_qs + listed(unknown)));
}

QTEST_GUILESS_MAIN(TestBoardStress)
#include "tst_boardstress.moc"
