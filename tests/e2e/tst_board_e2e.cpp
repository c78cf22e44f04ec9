#include "Checks.h"
#include "PanelScreen.h"
#include "PanelSession.h"
#include "ScreenText.h"
#include "TallowfernProcess.h"
#include "XServer.h"

#include <QDate>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocale>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTest>

#include <cstring>
#include <memory>
#include <optional>
#include <utility>

// The Board tab of the real binary on a private X server under openbox: cards are typed, dragged,
// edited and deleted with xdotool, and the outcome is read from the board file on disk and, for
// what only the screen shows, from tesseract's reading of a screenshot.
namespace {

using namespace PanelLayout;

// The banner shown while an earlier day is looked at, with its gap.
constexpr int PastBannerHeight = 40 + 10;
constexpr int LaneSpacing = 10;
constexpr int LaneWidth = (ContentWidth - 2 * LaneSpacing) / 3;
constexpr int LaneHeight = 380 - 18 - HeaderHeight - TabGap;
constexpr int LanePadding = 10;
constexpr int LaneHeaderHeight = 18;
constexpr int LaneStackSpacing = 8;
constexpr int CardHeight = 30;
constexpr int CardSpacing = 4;
// Where a press on a card hits its text: clear of the check button on its left and of the
// advance button that shows on its right under the pointer.
constexpr int CardTextOffset = 60;

enum Lane { ToDo = 0, Doing = 1, Done = 2 };

// A board as the app writes it: the Done lane is marked complete and its cards ticked.
QByteArray boardMarkdown(const QStringList &toDo, const QStringList &doing, const QStringList &done)
{
    const auto cards = [](const QStringList &titles, const char *mark) {
        QByteArray lines;
        for (const QString &title : titles)
            lines += "- [" + QByteArray(mark) + "] " + title.toUtf8() + '\n';
        return lines;
    };
    return "---\n\nkanban-plugin: board\n\n---\n\n## To do\n\n" + cards(toDo, " ") +
           "\n\n## Doing\n\n" + cards(doing, " ") + "\n\n## Done\n\n**Complete**\n" +
           cards(done, "x") +
           "\n\n\n%% kanban:settings\n```\n"
           "{\"kanban-plugin\":\"board\",\"list-collapse\":[false,false,false]}\n"
           "```\n%%\n";
}

// A whole new file in one step, as an editor or a sync tool saves it.
bool writeAtomically(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The lines of one lane of a board file: everything from its heading to the next heading or to
// the settings block, blank lines left out.
QStringList laneLines(const QString &markdown, const QString &title)
{
    QStringList lines;
    bool inside = false;
    for (const QString &line : markdown.split(u'\n')) {
        if (line.startsWith(u"## "_qs)) {
            inside = line.mid(3).trimmed() == title;
            continue;
        }
        if (line.startsWith(u"%% kanban:settings"_qs))
            break;
        if (inside && !line.trimmed().isEmpty())
            lines.append(line);
    }
    return lines;
}

QStringList openCards(const QStringList &titles)
{
    QStringList lines;
    for (const QString &title : titles)
        lines.append(u"- [ ] "_qs + title);
    return lines;
}

QStringList doneCards(const QStringList &titles)
{
    QStringList lines{u"**Complete**"_qs};
    for (const QString &title : titles)
        lines.append(u"- [x] "_qs + title);
    return lines;
}

} // namespace

class TestBoardE2e : public QObject, protected PanelSession {
    Q_OBJECT

public:
    TestBoardE2e() : PanelSession(QStringLiteral(SCREENSHOT_DIR)) {}

private:
    // ---- where things are

    // The board's area: below the header, and below the banner while an earlier day is shown.
    [[nodiscard]] QRect boardArea(bool past = false) const
    {
        const int top = HeaderHeight + (past ? PastBannerHeight : 0) + TabGap;
        return QRect(m_window.x() + ContentLeft, m_window.y() + top, ContentWidth, LaneHeight);
    }
    [[nodiscard]] QRect laneArea(Lane lane, bool past = false) const
    {
        const QRect board = boardArea(past);
        return QRect(board.x() + lane * (LaneWidth + LaneSpacing), board.y(), LaneWidth,
                     board.height());
    }
    // A point on the text of the card in `row` of `lane`.
    [[nodiscard]] QPoint cardPoint(Lane lane, int row, bool past = false) const
    {
        const QRect area = laneArea(lane, past);
        return QPoint(area.x() + LanePadding + CardTextOffset,
                      area.y() + LanePadding + LaneHeaderHeight + LaneStackSpacing +
                          row * (CardHeight + CardSpacing) + CardHeight / 2);
    }
    [[nodiscard]] QRect headerArea() const
    {
        return QRect(m_window.x() + ContentLeft, m_window.y(), ContentWidth, HeaderHeight);
    }

    // ---- files

    [[nodiscard]] QString todayPath() const { return m_app->boardPath(QDate::currentDate()); }
    [[nodiscard]] QString todayFile() const { return readFile(todayPath()); }

    // Waits until today's file has exactly these lines in these lanes.
    void expectToday(const QStringList &toDo, const QStringList &doing, const QStringList &done,
                     const QString &after)
    {
        QString text;
        const auto matches = [&] {
            text = todayFile();
            return laneLines(text, u"To do"_qs) == toDo && laneLines(text, u"Doing"_qs) == doing &&
                   laneLines(text, u"Done"_qs) == done;
        };
        VERIFY_SCREEN(waitFor(matches, 4000),
                      u"after %1 today's board is not as expected; expected To do %2, Doing %3, "
                      u"Done %4; the file reads:\n%5"_qs.arg(after, toDo.join(u" / "_qs),
                                                             doing.join(u" / "_qs),
                                                             done.join(u" / "_qs), text));
    }

    // ---- screen

    // Waits until `phrase` can be read in `area`; its box, or nothing with what was read.
    std::optional<QRect> waitForText(const QRect &area, const QString &phrase, QString *read,
                                     int timeoutMs = 4000) const
    {
        QElapsedTimer timer;
        timer.start();
        do {
            const QList<Word> words = ScreenText::read(*m_x, area);
            if (const auto box = ScreenText::findPhrase(words, phrase))
                return box;
            *read = ScreenText::describe(words);
            QTest::qWait(100);
        } while (timer.elapsed() < timeoutMs);
        return std::nullopt;
    }
    void expectText(const QRect &area, const QString &phrase, const QString &where,
                    QRect *box = nullptr)
    {
        QString read;
        const auto found = waitForText(area, phrase, &read);
        VERIFY_SCREEN(found.has_value(),
                      u"\"%1\" is not in %2; tesseract read %3"_qs.arg(phrase, where, read));
        if (box != nullptr)
            *box = *found;
    }

    // ---- pointer and keyboard

    // Presses on `from`, moves in small steps to `to` and lets go there, as a hand drags.
    void drag(QPoint from, QPoint to)
    {
        QStringList steps =
            XServer::moveTo(from, {u"sleep"_qs, u"0.1"_qs, u"mousedown"_qs, u"1"_qs});
        constexpr int Steps = 12;
        QPoint last = from;
        for (int i = 1; i <= Steps; ++i) {
            const QPoint next = from + (to - from) * i / Steps;
            const QPoint step = next - last;
            last = next;
            steps += {u"sleep"_qs,
                      u"0.04"_qs,
                      u"mousemove_relative"_qs,
                      u"--"_qs,
                      QString::number(step.x()),
                      QString::number(step.y())};
        }
        // A last nudge at the target, where the drop goes.
        steps += {u"sleep"_qs, u"0.1"_qs, u"mousemove_relative"_qs,
                  u"--"_qs,    u"1"_qs,   u"0"_qs,
                  u"sleep"_qs, u"0.1"_qs, u"mousemove_relative"_qs,
                  u"--"_qs,    u"-1"_qs,  u"0"_qs,
                  u"sleep"_qs, u"0.2"_qs, u"mouseup"_qs,
                  u"1"_qs};
        run(steps);
    }

    // ---- the app

    // Starts the app with these boards, closed, with the pointer far away.
    void startApp(const QStringList &toDo, const QStringList &doing = {},
                  const QStringList &done = {},
                  const std::function<void(TallowfernProcess &)> &more = {})
    {
        PanelSession::startApp([&] {
            if (!toDo.isEmpty() || !doing.isEmpty() || !done.isEmpty())
                QVERIFY(writeAtomically(todayPath(), boardMarkdown(toDo, doing, done)));
            if (more)
                more(*m_app);
        });
    }

    // Alt+N: the panel opens pinned on the Board tab, and the To do lane's field takes the
    // keyboard a moment later.
    void openPinned()
    {
        CHECKED(PanelSession::openPinned(boardArea()));
        QTest::qWait(250);
    }

private slots:
    void initTestCase()
    {
        prepare({u"Xvfb"_qs, u"xcompmgr"_qs, u"openbox"_qs, u"xdotool"_qs, u"tesseract"_qs});
    }
    void init() { startServer(); }
    void cleanup() { stopAll(); }

    // Typed tasks go to the end of To do, one after another, and the field stays ready.
    void typedTasksAreAddedInOrder()
    {
        CHECKED(startApp({}));
        CHECKED(openPinned());
        CHECKED(type(u"Buy fresh bread"_qs));
        CHECKED(key(u"Return"_qs));
        CHECKED(expectToday(openCards({u"Buy fresh bread"_qs}), {}, doneCards({}),
                            u"the first task"_qs));
        CHECKED(type(u"Call the plumber"_qs));
        CHECKED(key(u"Return"_qs));
        CHECKED(expectToday(openCards({u"Buy fresh bread"_qs, u"Call the plumber"_qs}), {},
                            doneCards({}), u"the second task"_qs));
    }

    void dragToDoneLane()
    {
        const QStringList toDo{u"Buy fresh bread"_qs, u"Call the plumber"_qs};
        CHECKED(startApp(toDo, {}, {u"Water the garden"_qs}));
        CHECKED(openPinned());
        const QRect done = laneArea(Done);
        // The lane's empty foot, below its card and its field.
        CHECKED(drag(cardPoint(ToDo, 0), QPoint(done.center().x(), done.bottom() - 30)));
        CHECKED(expectToday(openCards({u"Call the plumber"_qs}), {},
                            doneCards({u"Water the garden"_qs, u"Buy fresh bread"_qs}),
                            u"dragging a card onto the Done lane"_qs));
    }

    void dragOntoCardLandsAbove()
    {
        CHECKED(startApp({u"Buy fresh bread"_qs, u"Call the plumber"_qs, u"Water the garden"_qs}));
        CHECKED(openPinned());
        // The last card onto the first: it lands just above it.
        CHECKED(drag(cardPoint(ToDo, 2), cardPoint(ToDo, 0)));
        CHECKED(expectToday(
            openCards({u"Water the garden"_qs, u"Buy fresh bread"_qs, u"Call the plumber"_qs}), {},
            doneCards({}), u"dragging a card onto the first card"_qs));
        CHECKED(ScreenText::settle(*m_x, boardArea()));
        // And down again: dropped on the last card, it lands between the other two.
        CHECKED(drag(cardPoint(ToDo, 0), cardPoint(ToDo, 2)));
        CHECKED(expectToday(
            openCards({u"Buy fresh bread"_qs, u"Water the garden"_qs, u"Call the plumber"_qs}), {},
            doneCards({}), u"dragging a card onto the last card"_qs));
    }

    void doubleClickEditsInPlace()
    {
        CHECKED(startApp({u"Buy fresh bread"_qs, u"Call the plumber"_qs}, {u"Fix the bike"_qs}));
        CHECKED(openPinned());
        CHECKED(run(XServer::moveTo(cardPoint(ToDo, 1),
                                    {u"sleep"_qs, u"0.1"_qs, u"click"_qs, u"--repeat"_qs, u"2"_qs,
                                     u"--delay"_qs, u"80"_qs, u"1"_qs})));
        QTest::qWait(300);
        CHECKED(key(u"ctrl+a"_qs));
        CHECKED(type(u"Call the electrician"_qs));
        CHECKED(key(u"Return"_qs));
        CHECKED(expectToday(openCards({u"Buy fresh bread"_qs, u"Call the electrician"_qs}),
                            openCards({u"Fix the bike"_qs}), doneCards({}),
                            u"editing the second card"_qs));
    }

    void contextMenuDeletes()
    {
        CHECKED(startApp({u"Buy fresh bread"_qs, u"Call the plumber"_qs, u"Water the garden"_qs}));
        CHECKED(openPinned());
        const QPoint card = cardPoint(ToDo, 1);
        CHECKED(click(card, 3));
        // The menu opens at the pointer, below it when there is room.
        const QRect menuArea = QRect(card - QPoint(20, 10), QSize(260, 200)) & boardArea();
        CHECKED(ScreenText::settle(*m_x, menuArea));
        QRect deleteBox;
        for (const QString &entry : {u"Move to Doing"_qs, u"Move to Done"_qs, u"Move Up"_qs,
                                     u"Move Down"_qs, u"Edit"_qs}) {
            CHECKED(expectText(menuArea, entry, u"the card's menu"_qs));
        }
        CHECKED(expectText(menuArea, u"Delete"_qs, u"the card's menu"_qs, &deleteBox));
        CHECKED(click(deleteBox.center()));
        CHECKED(expectToday(openCards({u"Buy fresh bread"_qs, u"Water the garden"_qs}), {},
                            doneCards({}), u"deleting the middle card"_qs));
        // Ctrl+Z brings it back where it was, in the file.
        CHECKED(key(u"ctrl+z"_qs));
        CHECKED(expectToday(
            openCards({u"Buy fresh bread"_qs, u"Call the plumber"_qs, u"Water the garden"_qs}), {},
            doneCards({}), u"undoing the delete"_qs));
        CHECKED(key(u"ctrl+shift+z"_qs));
        CHECKED(expectToday(openCards({u"Buy fresh bread"_qs, u"Water the garden"_qs}), {},
                            doneCards({}), u"redoing the delete"_qs));
    }

    // The card's menu is modal: Escape takes only the menu away; the next Escape the panel.
    void escapeClosesTheMenuFirst()
    {
        CHECKED(startApp({u"Buy fresh bread"_qs, u"Call the plumber"_qs}));
        CHECKED(openPinned());
        const QPoint card = cardPoint(ToDo, 0);
        CHECKED(click(card, 3));
        const QRect menuArea = QRect(card - QPoint(20, 10), QSize(260, 200)) & boardArea();
        CHECKED(ScreenText::settle(*m_x, menuArea));
        CHECKED(expectText(menuArea, u"Delete"_qs, u"the card's menu"_qs));
        CHECKED(key(u"Escape"_qs));
        CHECKED(ScreenText::settle(*m_x, menuArea));
        VERIFY_SCREEN(isOpen(), u"Escape closed the panel along with the card's menu"_qs);
        CHECKED(expectNoText(ScreenText::read(*m_x, menuArea), u"Delete"_qs, u"the board"_qs));
        CHECKED(key(u"Escape"_qs));
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }),
                      u"the second Escape did not close the panel"_qs);
    }

    void outsideEditShows()
    {
        CHECKED(startApp({u"Buy fresh bread"_qs}, {u"Fix the bike"_qs}));
        CHECKED(openPinned());
        const QRect toDo = laneArea(ToDo);
        QVERIFY(writeAtomically(todayPath(),
                                boardMarkdown({u"Buy fresh bread"_qs, u"Added elsewhere"_qs},
                                              {u"Fix the bike"_qs}, {})));
        QElapsedTimer sinceWrite;
        sinceWrite.start();
        // The new card takes the lane's second row, where the field was. Pictures of that row are
        // taken for 2 s and read afterwards, so that how long tesseract takes over each, which
        // grows with the machine's load, is not counted against the app.
        const QRect secondRow(toDo.x() + LanePadding, cardPoint(ToDo, 1).y() - CardHeight / 2,
                              LaneWidth - 2 * LanePadding, CardHeight);
        QList<std::pair<qint64, QImage>> pictures;
        do {
            const qint64 taken = sinceWrite.elapsed();
            QImage picture = m_x->grab(secondRow);
            if (pictures.isEmpty() || picture != pictures.last().second)
                pictures.append({taken, std::move(picture)});
            QTest::qWait(20);
        } while (sinceWrite.elapsed() < 2000);
        const auto shows = [&](qsizetype i, QList<Word> *words = nullptr) {
            const QList<Word> read = ScreenText::read(pictures.at(i).second, m_x->scratch());
            if (words)
                *words = read;
            return ScreenText::findPhrase(read, u"Added elsewhere"_qs).has_value();
        };
        QList<Word> words;
        VERIFY_SCREEN(shows(pictures.size() - 1, &words),
                      u"\"Added elsewhere\" did not show within 2 s of the file changing; the row "
                      u"reads %1"_qs.arg(ScreenText::describe(words)));
        // The first picture that shows it: once there, the card stays.
        qsizetype first = 0;
        qsizetype last = pictures.size() - 1;
        while (first < last) {
            const qsizetype middle = (first + last) / 2;
            if (shows(middle))
                last = middle;
            else
                first = middle + 1;
        }
        const qint64 shownAfter = pictures.at(last).first;
        qInfo("the outside change showed within %lld ms", shownAfter);
        CHECKED(ScreenText::settle(*m_x, toDo));
        CHECKED(expectText(toDo, u"Buy fresh bread"_qs, u"the To do lane"_qs));
    }

    void pastDayIsReadOnlyAndCopies()
    {
        const QDate earlier = QDate::currentDate().addDays(-2);
        CHECKED(startApp({u"Buy fresh bread"_qs}, {}, {}, [&](TallowfernProcess &app) {
            QVERIFY(writeAtomically(app.boardPath(earlier),
                                    boardMarkdown({u"Fix the fence"_qs}, {u"Paint the shed"_qs},
                                                  {u"Oil the hinges"_qs})));
        }));
        const QString pastBefore = readFile(m_app->boardPath(earlier));
        CHECKED(openPinned());

        // The previous-day button sits just after the app's name in the header.
        QRect name;
        const QList<Word> header = ScreenText::read(*m_x, headerArea());
        for (const Word &word : header) {
            if (ScreenText::normalised(word.text).startsWith(u"tallow"_qs))
                name = word.box;
        }
        VERIFY_SCREEN(!name.isNull(), u"no app name in the header; tesseract read "_qs +
                                          ScreenText::describe(header));
        CHECKED(click(QPoint(name.right() + 14 + 13, headerArea().center().y())));

        const QRect pastBoard = boardArea(true);
        VERIFY_SCREEN(ScreenText::settle(*m_x, pastBoard), u"the past day never came to rest"_qs);
        const QString label =
            QLocale(QLocale::English, QLocale::UnitedStates).toString(earlier, u"ddd, d MMM"_qs);
        CHECKED(expectText(headerArea(), label, u"the header"_qs));
        CHECKED(expectText(laneArea(ToDo, true), u"Fix the fence"_qs, u"the past day's To do"_qs));
        // Ticked cards are struck through, which tesseract does not read: Doing's card will do.
        CHECKED(
            expectText(laneArea(Doing, true), u"Paint the shed"_qs, u"the past day's Doing"_qs));
        const QList<Word> words = ScreenText::read(*m_x, pastBoard);
        CHECKED(expectNoText(words, u"Add a task"_qs, u"the past day's board"_qs));
        CHECKED(expectNoText(words, u"Buy fresh bread"_qs, u"the past day's board"_qs));

        // Only copying to today is on offer, and it adds the card to today's To do.
        const QPoint card = cardPoint(ToDo, 0, true);
        CHECKED(click(card, 3));
        const QRect menuArea = QRect(card - QPoint(20, 10), QSize(260, 80)) & pastBoard;
        CHECKED(ScreenText::settle(*m_x, menuArea));
        QRect copyBox;
        CHECKED(expectText(menuArea, u"Copy to Today"_qs, u"the past card's menu"_qs, &copyBox));
        const QList<Word> menuWords = ScreenText::read(*m_x, menuArea);
        for (const QString &absent : {u"Move"_qs, u"Edit"_qs, u"Delete"_qs})
            CHECKED(expectNoText(menuWords, absent, u"the past card's menu"_qs));
        CHECKED(click(copyBox.center()));
        CHECKED(expectToday(openCards({u"Buy fresh bread"_qs, u"Fix the fence"_qs}), {},
                            doneCards({}), u"copying the past card to today"_qs));
        QCOMPARE(readFile(m_app->boardPath(earlier)), pastBefore);

        // Back to today: its cards and fields again.
        QRect back;
        CHECKED(expectText(QRect(m_window.x() + ContentLeft, m_window.y() + HeaderHeight,
                                 ContentWidth, PastBannerHeight),
                           u"Back to today"_qs, u"the past day's banner"_qs, &back));
        CHECKED(click(back.center()));
        VERIFY_SCREEN(ScreenText::settle(*m_x, boardArea()),
                      u"today's board never came to rest"_qs);
        CHECKED(expectText(laneArea(ToDo), u"Fix the fence"_qs, u"today's To do"_qs));
        CHECKED(expectText(laneArea(ToDo), u"Buy fresh bread"_qs, u"today's To do"_qs));
        CHECKED(expectText(laneArea(ToDo), u"Add a task"_qs, u"today's To do"_qs));
        const QList<Word> todayWords = ScreenText::read(*m_x, boardArea());
        CHECKED(expectNoText(todayWords, u"Paint the shed"_qs, u"today's board"_qs));
    }
};

QTEST_GUILESS_MAIN(TestBoardE2e)
#include "tst_board_e2e.moc"
