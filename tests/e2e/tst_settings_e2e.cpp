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
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <cstring>
#include <memory>
#include <optional>

// The Settings tab of the real binary on a private X server under openbox: a new open shortcut
// recorded with xdotool, and a boards folder typed in; the outcome checked by pressing the keys,
// on disk and after a restart. Rows are found by tesseract's reading of a screenshot.
namespace {

using namespace PanelLayout;

// The open panel's layout inside its window: the open shape is 780 wide, centred in the 860 wide
// window, and its content sits 32 in from the shape's sides.
// The header's trailing buttons are 26 wide with 2 between them: pin last, settings before it.
constexpr int SettingsButtonFromRight = 26 + 2 + 26 / 2;
// The two cards side by side, 12 apart; rows sit 12 in from a card's sides.
constexpr int CardSpacing = 12;
constexpr int CardWidth = (ContentWidth - CardSpacing) / 2;
constexpr int RowInset = 12;
// A shortcut row ends in the 26 wide reset button, 4 after the capsule, which is at least 44
// wide.
constexpr int CapsuleFromCardRight = RowInset + 26 + 4 + 44 / 2;
// A folder row's field is below its title: the title's top is 8 into the row, the field starts
// 37 into it and is about 23 high.
constexpr int FieldBelowTitleTop = 37 - 8 + 23 / 2;

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

class TestSettingsE2e : public QObject, protected PanelSession {
    Q_OBJECT

public:
    TestSettingsE2e() : PanelSession(QStringLiteral(SCREENSHOT_DIR)) {}

private:
    // ---- where things are

    [[nodiscard]] QRect tabArea() const
    {
        return QRect(m_window.x() + ContentLeft, m_window.y() + HeaderHeight + TabGap, ContentWidth,
                     TabHeight);
    }
    [[nodiscard]] QRect locationsCard() const
    {
        const QRect tab = tabArea();
        return QRect(tab.x(), tab.y(), CardWidth, tab.height());
    }
    [[nodiscard]] QRect behaviourCard() const
    {
        const QRect tab = tabArea();
        return QRect(tab.x() + CardWidth + CardSpacing, tab.y(), CardWidth, tab.height());
    }
    [[nodiscard]] QPoint settingsButton() const
    {
        return QPoint(m_window.x() + ContentLeft + ContentWidth - SettingsButtonFromRight,
                      m_window.y() + HeaderHeight / 2);
    }

    // How many pixels of `area` show the accent colour (a recording shortcut's capsule).
    [[nodiscard]] int accentPixels(const QRect &area) const
    {
        const QImage image = m_x->grab(area).convertToFormat(QImage::Format_RGB32);
        int count = 0;
        for (int y = 0; y < image.height(); ++y) {
            const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
            for (int x = 0; x < image.width(); ++x) {
                count += qAbs(qRed(line[x]) - 120) <= 16 && qAbs(qGreen(line[x]) - 214) <= 16 &&
                                 qAbs(qBlue(line[x]) - 204) <= 16
                             ? 1
                             : 0;
            }
        }
        return count;
    }

    // ---- files

    [[nodiscard]] QString settingsFile() const
    {
        return m_app->root() + u"/config/Tallowfern/Tallowfern.conf"_qs;
    }
    // The stored open shortcut's JSON without its quoting: "{keyCode:45,modifiers:524288}".
    [[nodiscard]] QString storedOpenShortcut() const
    {
        const QStringList lines = readFile(settingsFile()).split(u'\n');
        for (const QString &line : lines) {
            if (!line.startsWith(u"openShortcut="_qs))
                continue;
            QString json = line.mid(line.indexOf(u'{'));
            json.truncate(json.indexOf(u'}') + 1);
            json.remove(u'\\');
            json.remove(u'"');
            return json;
        }
        return {};
    }
    [[nodiscard]] QString todayIn(const QString &folder) const
    {
        return m_app->root() + u"/vault/"_qs + folder + u'/' +
               QDate::currentDate().toString(u"yyyy-MM-dd"_qs) + u".md"_qs;
    }

    // ---- screen

    // Waits until `phrase` can be read in `area`, which holds a text field with the keyboard. Its
    // cursor blinks at the end of the text and can read as one more letter ("Days|" as "Dayq"):
    // each look keeps every distinct picture seen over more than one blink, however long a grab
    // or tesseract takes on a busy machine, and the text passes when any of them reads right.
    // A slow machine gets as many looks as a fast one.
    void expectFieldText(const QRect &area, const QString &phrase, const QString &where)
    {
        constexpr int Looks = 4;
        QElapsedTimer timer;
        timer.start();
        QString read;
        for (int look = 0; look < Looks || timer.elapsed() < 5000; ++look) {
            QList<QImage> phases{m_x->grab(area)};
            QElapsedTimer blink;
            blink.start();
            // Qt's blink, on and off, takes a second when no desktop settings say otherwise.
            while (blink.elapsed() < 2200 && phases.size() < 3) {
                QImage next = m_x->grab(area);
                if (!phases.contains(next))
                    phases.append(next);
                QTest::qWait(50);
            }
            for (const QImage &phase : std::as_const(phases)) {
                const QList<Word> words = ScreenText::read(phase, m_x->scratch());
                if (ScreenText::findPhrase(words, phrase))
                    return;
                read = ScreenText::describe(words);
            }
        }
        VERIFY_SCREEN(false, u"\"%1\" is not in %2; tesseract read %3"_qs.arg(phrase, where, read));
    }

    // Waits until `phrase` can be read in `area` and gives its box.
    void expectText(const QRect &area, const QString &phrase, const QString &where, QRect *box)
    {
        QElapsedTimer timer;
        timer.start();
        QString read;
        do {
            const QList<Word> words = ScreenText::read(*m_x, area);
            if (const auto found = ScreenText::findPhrase(words, phrase)) {
                *box = *found;
                return;
            }
            read = ScreenText::describe(words);
            QTest::qWait(100);
        } while (timer.elapsed() < 5000);
        VERIFY_SCREEN(false, u"\"%1\" is not in %2; tesseract read %3"_qs.arg(phrase, where, read));
    }

    // ---- pointer and keyboard

    // ---- the app

    // The panel's windows of a freshly started app, then a moment for it to settle.
    void awaitWindows()
    {
        CHECKED(PanelSession::awaitWindows());
        QTest::qWait(300);
    }
    void startApp()
    {
        CHECKED(PanelSession::startApp());
        QTest::qWait(300);
    }
    // Quits the app and starts it again with the same home, config and vault.
    void restartApp()
    {
        m_app->stop();
        m_content = 0;
        VERIFY_SCREEN(waitFor([this] { return m_x->findWindow(u"Tallowfern"_qs) == 0; }),
                      u"the panel's windows stayed after the app quit"_qs);
        const QString error = m_app->restart();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        CHECKED(awaitWindows());
    }

    // `keys` opens the panel pinned; with `keyboard`, it takes the keyboard too.
    void openWith(const QString &keys, bool keyboard = true)
    {
        CHECKED(key(keys));
        VERIFY_SCREEN(waitFor([this] { return isOpen(); }), keys + u" did not open the panel"_qs);
        if (keyboard) {
            VERIFY_SCREEN(waitFor([this] { return contentHasFocus(); }),
                          u"the panel pinned by "_qs + keys + u" did not take the keyboard"_qs);
        }
        VERIFY_SCREEN(ScreenText::settle(*m_x, tabArea()), u"the panel never came to rest"_qs);
    }
    // `keys` leaves the panel closed.
    void expectStaysClosed(const QString &keys)
    {
        CHECKED(key(keys));
        VERIFY_SCREEN(holdsFor([this] { return !isOpen(); }, 1500), keys + u" opened the panel"_qs);
    }
    // `keys` closes the open panel.
    void closeWith(const QString &keys)
    {
        CHECKED(key(keys));
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }), keys + u" did not close it"_qs);
        QTest::qWait(300);
    }
    // The settings button in the header, then the tab comes to rest.
    void showSettings()
    {
        CHECKED(click(settingsButton()));
        CHECKED(run(XServer::moveTo(m_window.topLeft() + QPoint(ContentLeft + 4, 200))));
        QRect box;
        CHECKED(expectText(behaviourCard(), u"Open Tallowfern"_qs, u"the Settings tab"_qs, &box));
        VERIFY_SCREEN(ScreenText::settle(*m_x, tabArea()),
                      u"the Settings tab never came to rest"_qs);
    }

private slots:
    void initTestCase()
    {
        prepare({u"Xvfb"_qs, u"xcompmgr"_qs, u"openbox"_qs, u"xdotool"_qs, u"tesseract"_qs});
    }
    void init() { startServer(); }
    void cleanup()
    {
        const bool quitOnItsOwn = m_app && !m_app->isRunning();
        stopAll();
        QVERIFY2(!quitOnItsOwn, "the app quit on its own");
    }

    // Ctrl+Alt+K recorded for "Open Tallowfern" takes over from Alt+N, also after a restart.
    void recordedOpenShortcut()
    {
        CHECKED(startApp());
        CHECKED(openWith(u"alt+n"_qs));
        CHECKED(showSettings());

        QRect title;
        CHECKED(
            expectText(behaviourCard(), u"Open Tallowfern"_qs, u"the Behaviour card"_qs, &title));
        const QRect card = behaviourCard();
        CHECKED(click(QPoint(card.right() + 1 - CapsuleFromCardRight, title.center().y())));
        // While it records, the capsule is filled with the accent colour.
        const QRect row(card.x(), title.center().y() - 12, card.width(), 24);
        VERIFY_SCREEN(waitFor([&] { return accentPixels(row) > 100; }),
                      u"the \"Open Tallowfern\" capsule did not start recording"_qs);
        CHECKED(key(u"ctrl+alt+k"_qs));
        // K is 40 in the stored numbering; Control and Option are 0x40000 and 0x80000.
        VERIFY_SCREEN(
            waitFor([this] { return storedOpenShortcut() == u"{keyCode:40,modifiers:786432}"_qs; }),
            u"the new shortcut was not stored; the settings read:\n"_qs + readFile(settingsFile()));
        VERIFY_SCREEN(waitFor([&] { return accentPixels(row) == 0; }),
                      u"the capsule still records after the keys"_qs);

        // The new keys close the panel as the old ones did, and only they open it again.
        CHECKED(closeWith(u"ctrl+alt+k"_qs));
        CHECKED(expectStaysClosed(u"alt+n"_qs));
        // What opens the panel is under test here, not how it takes the keyboard.
        CHECKED(openWith(u"ctrl+alt+k"_qs, false));
        CHECKED(closeWith(u"ctrl+alt+k"_qs));

        CHECKED(restartApp());
        CHECKED(expectStaysClosed(u"alt+n"_qs));
        CHECKED(openWith(u"ctrl+alt+k"_qs, false));
    }

    // A boards folder typed into its field and confirmed with Return holds today's board at once.
    void typedBoardsFolder()
    {
        CHECKED(startApp());
        const QString before = todayIn(u"01 Journal/Boards"_qs);
        VERIFY_SCREEN(waitFor([&] { return QFileInfo::exists(before); }),
                      u"today's board was never made in the default folder"_qs);
        CHECKED(openWith(u"alt+n"_qs));
        CHECKED(showSettings());

        QRect title;
        CHECKED(expectText(locationsCard(), u"Kanban boards folder"_qs, u"the Locations card"_qs,
                           &title));
        CHECKED(click(QPoint(title.left() + 80, title.top() + FieldBelowTitleTop)));
        QTest::qWait(200);
        CHECKED(key(u"ctrl+a"_qs));
        CHECKED(type(u"Planner/Days/"_qs));
        CHECKED(key(u"Return"_qs));

        const QString after = todayIn(u"Planner/Days"_qs);
        VERIFY_SCREEN(waitFor([&] { return QFileInfo::exists(after); }),
                      u"today's board is not in the typed folder "_qs + after);
        const QString settings = readFile(settingsFile());
        VERIFY_SCREEN(settings.contains(u"boardsFolder=Planner/Days\n"_qs),
                      u"the folder was not stored as typed and trimmed; the settings read:\n"_qs +
                          settings);
        CHECKED(expectFieldText(locationsCard(), u"Planner/Days"_qs, u"the boards field"_qs));
        // The panel stays open while the field has the keyboard.
        VERIFY_SCREEN(isOpen(), u"the panel closed while the field was being edited"_qs);
    }
};

QTEST_GUILESS_MAIN(TestSettingsE2e)
#include "tst_settings_e2e.moc"
