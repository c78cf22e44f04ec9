#include "Checks.h"
#include "PanelScreen.h"
#include "PanelSession.h"
#include "ScreenText.h"
#include "TallowfernProcess.h"
#include "XServer.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTest>

#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>

// The Notes tab of the real binary on a private X server under openbox: the quick note is typed
// with xdotool and read back from its file, and the search is typed and read off the screen with
// tesseract, its first match opened through xdg-open and a recording obsidian:// handler.
namespace {

using namespace PanelLayout;

// Inside the Notes tab: the title row, then the editor box (42 % of the tab's height), then the
// search row and the list under its header.
constexpr int EditorTop = 24 + 6;
constexpr int EditorHeight = (TabHeight * 42 + 50) / 100;
constexpr int SearchTop = EditorTop + EditorHeight + 10;
constexpr int SearchHeight = 22;
// Clear of the magnifying glass on the field's left.
constexpr int SearchTextOffset = 60;

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

// A note of the vault that changed `minutesAgo` minutes ago, so that the list's order is known.
bool writeNote(const QString &path, int minutesAgo)
{
    if (!writeFile(path, "x\n"))
        return false;
    QFile file(path);
    return file.open(QIODevice::ReadWrite) &&
           file.setFileTime(QDateTime::currentDateTime().addSecs(-60LL * minutesAgo),
                            QFileDevice::FileModificationTime);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The first mark on each line of light text on a dark ground: the box of the leftmost glyph of
// every band of rows that holds any light pixel.
QList<QRect> lineMarks(const QImage &image)
{
    const QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
    const auto light = [&](int x, int y) { return grey.constScanLine(y)[x] >= 80; };
    const auto rowHasLight = [&](int y) {
        for (int x = 0; x < grey.width(); ++x) {
            if (light(x, y))
                return true;
        }
        return false;
    };
    QList<QRect> marks;
    for (int top = 0; top < grey.height();) {
        if (!rowHasLight(top)) {
            ++top;
            continue;
        }
        int bottom = top;
        while (bottom + 1 < grey.height() && rowHasLight(bottom + 1))
            ++bottom;
        const auto columnHasLight = [&](int x) {
            for (int y = top; y <= bottom; ++y) {
                if (light(x, y))
                    return true;
            }
            return false;
        };
        int left = 0;
        while (!columnHasLight(left))
            ++left;
        int right = left;
        while (right + 1 < grey.width() && columnHasLight(right + 1))
            ++right;
        QRect mark;
        for (int y = top; y <= bottom; ++y) {
            for (int x = left; x <= right; ++x) {
                if (light(x, y))
                    mark |= QRect(x, y, 1, 1);
            }
        }
        marks.append(mark);
        top = bottom + 1;
    }
    return marks;
}

// How the panel is closed, or the Notes tab left, right after a keystroke.
enum class Leave { Escape, HotKey, SwitchTab };

} // namespace

Q_DECLARE_METATYPE(Leave)

class TestNotesE2e : public QObject, protected PanelSession {
    Q_OBJECT

public:
    TestNotesE2e() : PanelSession(QStringLiteral(SCREENSHOT_DIR)) {}

private:
    // ---- where things are

    [[nodiscard]] QRect headerArea() const
    {
        return QRect(m_window.x() + ContentLeft, m_window.y(), ContentWidth, HeaderHeight);
    }
    [[nodiscard]] QRect tabArea() const
    {
        return QRect(m_window.x() + ContentLeft, m_window.y() + TabTop, ContentWidth, TabHeight);
    }
    [[nodiscard]] QRect editorArea() const
    {
        return QRect(tabArea().x(), tabArea().y() + EditorTop, ContentWidth, EditorHeight);
    }
    [[nodiscard]] QPoint searchPoint() const
    {
        return QPoint(tabArea().x() + SearchTextOffset,
                      tabArea().y() + SearchTop + SearchHeight / 2);
    }
    // The search row, the list's header and the rows under it.
    [[nodiscard]] QRect searchAndListArea() const
    {
        return QRect(tabArea().x(), tabArea().y() + SearchTop, ContentWidth, TabHeight - SearchTop);
    }
    [[nodiscard]] QRect listArea() const
    {
        const int top = SearchTop + SearchHeight;
        return QRect(tabArea().x(), tabArea().y() + top, ContentWidth, TabHeight - top);
    }

    // ---- files

    // The scratch vault, found from where the app keeps today's board in it.
    [[nodiscard]] QString vault() const
    {
        return m_app->boardPath(QDate::currentDate()).section(u'/', 0, -4);
    }
    [[nodiscard]] QString scratch() const { return vault().section(u'/', 0, -2); }
    [[nodiscard]] QString notePath() const
    {
        return vault() + u"/01 Journal/Quick Notes/"_qs +
               QDate::currentDate().toString(u"yyyy-MM-dd"_qs) + u".md"_qs;
    }
    [[nodiscard]] QString receivedPath() const { return scratch() + u"/received-url.txt"_qs; }

    // Waits until the quick note's file holds exactly `expected`.
    void expectNote(const QByteArray &expected, const QString &after, int timeoutMs)
    {
        QByteArray text;
        const bool matches = waitFor(
            [&] {
                text = readFile(notePath());
                return text == expected;
            },
            timeoutMs);
        VERIFY_SCREEN(
            matches, u"after %1 the quick note does not read \"%2\"; the file reads "
                     u"\"%3\""_qs.arg(after, QString::fromUtf8(expected), QString::fromUtf8(text)));
    }

    // ---- screen

    // Waits until every one of `phrases` can be read in `area` at once; that reading in `read`.
    void expectTexts(const QRect &area, const QStringList &phrases, const QString &where,
                     QList<Word> *read = nullptr, int timeoutMs = 4000)
    {
        QElapsedTimer timer;
        timer.start();
        QList<Word> words;
        QStringList missing;
        do {
            words = ScreenText::read(*m_x, area);
            missing.clear();
            for (const QString &phrase : phrases) {
                if (!ScreenText::findPhrase(words, phrase))
                    missing.append(phrase);
            }
            if (missing.isEmpty())
                break;
            QTest::qWait(100);
        } while (timer.elapsed() < timeoutMs);
        if (read != nullptr)
            *read = words;
        VERIFY_SCREEN(missing.isEmpty(),
                      u"\"%1\" not in %2; tesseract read %3"_qs.arg(
                          missing.join(u"\", \""_qs), where, ScreenText::describe(words)));
    }

    // ---- pointer and keyboard

    // ---- the app

    // Alt+N: the panel opens pinned on the Board tab and takes the keyboard.
    void openPinned() { PanelSession::openPinned(tabArea()); }

    // To the Notes tab through its button in the header, found by its label.
    void clickNotesTab()
    {
        QList<Word> words;
        CHECKED(expectTexts(headerArea(), {u"Notes"_qs}, u"the header"_qs, &words));
        CHECKED(click(ScreenText::findPhrase(words, u"Notes"_qs)->center()));
        CHECKED(expectNotesShown());
    }

    void expectNotesShown()
    {
        VERIFY_SCREEN(ScreenText::settle(*m_x, tabArea()), u"the Notes tab never came to rest"_qs);
        CHECKED(expectTexts(tabArea(), {u"Quick note"_qs}, u"the Notes tab"_qs));
    }

    // On the editor's first line, inside the box's 10 px margin, where the placeholder shows.
    // Lower down, the press goes to the editor's Flickable and the note does not take the keys.
    void clickEditor()
    {
        CHECKED(click(QPoint(editorArea().center().x(), editorArea().top() + 10 + 8)));
        QTest::qWait(150);
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<Leave>();
        prepare({u"Xvfb"_qs, u"xcompmgr"_qs, u"openbox"_qs, u"xdotool"_qs, u"tesseract"_qs,
                 u"xdg-open"_qs});
    }
    void init() { startServer(); }
    void cleanup() { stopAll(); }

    // "- " becomes a bullet, Return continues the list, Tab indents the new bullet; half a second
    // after the last key the note is on disk as Markdown.
    void bulletsAreSavedAsMarkdown()
    {
        CHECKED(startApp());
        CHECKED(openPinned());
        CHECKED(clickNotesTab());
        CHECKED(expectTexts(editorArea(), {u"Jot something down"_qs}, u"the empty editor"_qs));
        CHECKED(clickEditor());
        if (qEnvironmentVariableIsSet("NEG")) {
            CHECKED(type(u"-a"_qs));
            CHECKED(key(u"Return"_qs));
            CHECKED(type(u"  -b"_qs));
        } else {
            if (qEnvironmentVariableIsSet("NEG")) {
                CHECKED(type(u"-a"_qs));
                CHECKED(key(u"Return"_qs));
                CHECKED(type(u"  -b"_qs));
            } else {
                CHECKED(type(u"- a"_qs));
                CHECKED(key(u"Return"_qs));
                CHECKED(key(u"Tab"_qs));
                CHECKED(type(u"b"_qs));
            }
        }
        // The last key went out before xdotool returned; the save is due 0.5 s after it arrived.
        QTest::qWait(600);
        // A little grace for a loaded machine, whose event loop may run the save timer late.
        if (!qEnvironmentVariableIsSet("NEG"))
            CHECKED(expectNote("- a\n  - b\n", u"typing a bullet and an indented one"_qs, 300));
        // On screen each line starts with a round bullet, not the dash that was typed, and the
        // second one sits further in.
        const QList<QRect> marks = lineMarks(m_x->grab(editorArea().adjusted(10, 10, -10, -10)));
        QStringList seen;
        for (const QRect &mark : marks)
            seen.append(u"%1x%2 at %3"_qs.arg(mark.width()).arg(mark.height()).arg(mark.x()));
        const auto round = [](const QRect &mark) {
            return mark.height() >= 3 && mark.width() <= 2 * mark.height();
        };
        qInfo() << seen;
        qInfo() << seen;
        VERIFY_SCREEN(marks.size() == 2 && round(marks[0]) && round(marks[1]) &&
                          marks[1].x() >= marks[0].x() + 4,
                      u"the note does not show two bullets, the second indented; the lines start "
                      u"with marks of "_qs +
                          seen.join(u", "_qs));
    }

    // The panel closing, or the tab being left, writes the note at once instead of after the
    // half second that typing waits for.
    void leavingSavesAtOnce_data()
    {
        QTest::addColumn<Leave>("leave");
        QTest::newRow("Escape") << Leave::Escape;
        QTest::newRow("hot key") << Leave::HotKey;
        QTest::newRow("switching tabs") << Leave::SwitchTab;
    }
    void leavingSavesAtOnce()
    {
        QFETCH(Leave, leave);
        // Only the app's log tells a note written on leaving from one written after the pause.
        CHECKED(startApp([this] { m_app->setLoggingRules(u"tallowfern.store.debug=true"_qs); }));
        CHECKED(openPinned());
        // The keyboard's way to the tab this time.
        CHECKED(key(u"ctrl+Tab"_qs));
        CHECKED(expectNotesShown());
        CHECKED(clickEditor());
        CHECKED(type(u"first"_qs));
        CHECKED(expectNote("first\n", u"typing a word"_qs, 2000));

        const QString leaveKey = leave == Leave::Escape   ? u"Escape"_qs
                                 : leave == Leave::HotKey ? u"alt+n"_qs
                                                          : u"ctrl+Tab"_qs;
        const auto logged = [this](const QString &line) { return m_app->output().count(line); };
        const QString atOnce = u"quick note written at once"_qs;
        const QString afterPause = u"quick note written after the typing pause"_qs;
        const qsizetype atOnceBefore = logged(atOnce);
        const qsizetype afterPauseBefore = logged(afterPause);
        // The last keystroke and the leaving in one go: the leaving always comes well within the
        // pause that typing waits for, however busy the machine.
        QElapsedTimer sinceKey;
        sinceKey.start();
        CHECKED(run({u"key"_qs, u"x"_qs, leaveKey}));
        qint64 savedAfter = -1;
        waitFor(
            [&] {
                if (readFile(notePath()) != "firstx\n")
                    return false;
                savedAfter = sinceKey.elapsed();
                return true;
            },
            10000);
        qInfo("keys sent at 0 ms, saved at %lld ms", savedAfter);
        VERIFY_SCREEN(savedAfter >= 0, u"the last keystroke never reached the file: \"%1\""_qs.arg(
                                           QString::fromUtf8(readFile(notePath()))));
        VERIFY_SCREEN(logged(atOnce) == atOnceBefore + 1 && logged(afterPause) == afterPauseBefore,
                      u"leaving did not write the note at once; the app printed:\n"_qs +
                          m_app->output());

        if (leave == Leave::SwitchTab) {
            VERIFY_SCREEN(ScreenText::settle(*m_x, tabArea()),
                          u"the Board tab never came to rest"_qs);
            VERIFY_SCREEN(isOpen(), u"switching tabs closed the panel"_qs);
        } else {
            VERIFY_SCREEN(waitFor([this] { return isClosed(); }), u"the panel did not close"_qs);
        }
    }

    // Logging out, systemd and `kill` end the app with SIGTERM, a closed terminal with SIGHUP:
    // it quits as its Quit does, with status 0, and writes the note still waiting to be saved.
    void endingOnSignalSavesTheNote_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGHUP") << int(SIGHUP);
    }
    void endingOnSignalSavesTheNote()
    {
        QFETCH(int, signal);
        // A save that would come only after ten minutes: only the ending can write the note.
        qputenv("TALLOWFERN_NOTE_SAVE_DELAY_MS", "600000");
        // An ignored signal stays ignored in the app, which inherits it from this test, whose
        // runner may ignore SIGHUP (nohup).
        struct sigaction byDefault {};
        byDefault.sa_handler = SIG_DFL;
        struct sigaction previous {};
        QCOMPARE(::sigaction(signal, &byDefault, &previous), 0);
        const auto restore = qScopeGuard([&] {
            qunsetenv("TALLOWFERN_NOTE_SAVE_DELAY_MS");
            ::sigaction(signal, &previous, nullptr);
        });
        CHECKED(startApp([this] { m_app->setLoggingRules(u"tallowfern.store.debug=true"_qs); }));

        CHECKED(openPinned());
        CHECKED(key(u"ctrl+Tab"_qs));
        CHECKED(expectNotesShown());
        CHECKED(clickEditor());
        CHECKED(type(u"Buy seeds"_qs));
        CHECKED(expectTexts(editorArea(), {u"Buy seeds"_qs}, u"the editor"_qs, nullptr, 10000));
        VERIFY_SCREEN(!QFileInfo::exists(notePath()),
                      u"the note was saved while typing; the save is not still waiting"_qs);

        QCOMPARE(::kill(static_cast<pid_t>(m_app->processId()), signal), 0);
        const int status = m_app->waitForQuit(30000);
        const QString log = m_app->output();
        const QByteArray note = readFile(notePath());
        // It ended as it should: nothing is left for cleanup() to stop.
        const bool ended = !m_app->isRunning();
        m_app.reset();
        QVERIFY2(ended && status == 0,
                 qPrintable(u"the app did not quit with status 0 (%1); it printed:\n%2"_qs.arg(
                     ended ? QString::number(status) : u"still running"_qs, log)));
        QCOMPARE(note, QByteArray("Buy seeds\n"));
        QVERIFY2(log.count(u"quick note written at once"_qs) == 1 &&
                     !log.contains(u"quick note written after the typing pause"_qs),
                 qPrintable(u"the note was not written at once on quitting; the app printed:\n"_qs +
                            log));
        const QString name = signal == SIGTERM ? u"SIGTERM"_qs : u"SIGHUP"_qs;
        QVERIFY2(log.contains(u"quitting on "_qs + name),
                 qPrintable(u"the log does not say which signal ended the app:\n"_qs + log));
    }

    // Typing in the search narrows the list to the notes whose path holds the text, and Return
    // opens the first of them in Obsidian.
    void searchNarrowsAndOpens()
    {
        CHECKED(startApp([this] {
            // Newest first in the list: the garden plan heads the projects.
            QVERIFY(writeNote(vault() + u"/Inbox.md"_qs, 5));
            QVERIFY(writeNote(vault() + u"/Projects/Garden plan.md"_qs, 10));
            QVERIFY(writeNote(vault() + u"/Projects/Kitchen.md"_qs, 20));
            QVERIFY(writeNote(vault() + u"/Recipes/Bread.md"_qs, 30));
            // xdg-open hands obsidian:// to a handler that writes the URL down.
            const QString handler = scratch() + u"/record-url"_qs;
            const QByteArray received = receivedPath().toUtf8();
            QVERIFY(writeFile(handler, "#!/bin/sh\nprintf '%s\\n' \"$1\" > '" + received +
                                           ".part' && mv '" + received + ".part' '" + received +
                                           "'\n"));
            QVERIFY(QFile::setPermissions(handler,
                                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
            QVERIFY(writeFile(
                scratch() + u"/data/applications/obsidian-recorder.desktop"_qs,
                "[Desktop Entry]\nType=Application\nName=Recorder\nExec=" + handler.toUtf8() +
                    " %u\nMimeType=x-scheme-handler/obsidian;\nNoDisplay=true\n"));
            QVERIFY(writeFile(
                scratch() + u"/config/mimeapps.list"_qs,
                "[Default Applications]\nx-scheme-handler/obsidian=obsidian-recorder.desktop\n"));
        }));
        CHECKED(openPinned());
        CHECKED(clickNotesTab());
        CHECKED(expectTexts(searchAndListArea(),
                            {u"Search notes in vault"_qs, u"Recent"_qs, u"Inbox"_qs},
                            u"the search and the list"_qs));

        CHECKED(click(searchPoint()));
        CHECKED(type(u"proj"_qs));
        VERIFY_SCREEN(ScreenText::settle(*m_x, listArea()), u"the list never came to rest"_qs);
        QList<Word> words;
        CHECKED(expectTexts(searchAndListArea(),
                            {u"2 matches"_qs, u"Garden plan"_qs, u"Kitchen"_qs},
                            u"the narrowed list"_qs, &words));
        CHECKED(expectNoText(words, u"Inbox"_qs, u"the narrowed list"_qs));
        CHECKED(expectNoText(words, u"Bread"_qs, u"the narrowed list"_qs));
        CHECKED(expectNoText(words, u"Recent"_qs, u"the narrowed list"_qs));
        // The first match is the newer one.
        VERIFY_SCREEN(ScreenText::findPhrase(words, u"Garden plan"_qs)->y() <
                          ScreenText::findPhrase(words, u"Kitchen"_qs)->y(),
                      u"the garden plan is not the first match; tesseract read "_qs +
                          ScreenText::describe(words));

        CHECKED(key(u"Return"_qs));
        QByteArray url;
        waitFor(
            [&] {
                url = readFile(receivedPath()).trimmed();
                return !url.isEmpty();
            },
            10000);
        QCOMPARE(url, QByteArray("obsidian://open?vault=vault&file=Projects/Garden%20plan"));
    }
};

QTEST_GUILESS_MAIN(TestNotesE2e)
#include "tst_notes_e2e.moc"
