#include "Checks.h"
#include "PanelScreen.h"
#include "TallowfernProcess.h"
#include "XServer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <cstring>
#include <functional>
#include <memory>
#include <utility>

// The real binary on private X servers, bare and under openbox: the pointer and the keyboard are
// driven with xdotool and the outcome is read off the screen and the windows' properties.
namespace {

// Where things are on a 1920x1080 screen: the open card spans x 570..1350 and y 0..380, the
// closed notch 865..1055 by 24, with wings 801..1119 when there are open tasks.
constexpr QPoint InsideOpenCard[] = {{960, 200}, {600, 40}, {1320, 350}};
constexpr QPoint OutsideOpenCard[] = {{540, 200}, {960, 420}};
constexpr QPoint InNotch{960, 12};
// Near the card's bottom edge: the first place a closing card lets the background through.
constexpr QPoint NearBottomEdge{960, 370};
constexpr QPoint FarAway{960, 900};
// The middle of the To do lane's "Add a task" field on an empty board, on a 1920 wide screen.
constexpr QPoint ToDoAddField{718, 141};
constexpr int NotchLeft = 865;
constexpr int NotchRight = 1055;
constexpr int WingsLeft = 801;
constexpr int WingsRight = 1119;
constexpr int NotchHeight = 24;

constexpr QRgb Orange = qRgb(255, 189, 82);
constexpr QRgb Blue = qRgb(140, 168, 255);

bool isBlack(QRgb colour)
{
    return qRed(colour) <= 24 && qGreen(colour) <= 24 && qBlue(colour) <= 24;
}
// The white root; the sensor is almost invisible over it.
bool isBackground(QRgb colour)
{
    return qRed(colour) >= 232 && qGreen(colour) >= 232 && qBlue(colour) >= 232;
}
bool isNear(QRgb colour, QRgb target, int tolerance = 40)
{
    return qAbs(qRed(colour) - qRed(target)) <= tolerance &&
           qAbs(qGreen(colour) - qGreen(target)) <= tolerance &&
           qAbs(qBlue(colour) - qBlue(target)) <= tolerance;
}
// Text is white at half strength over black; its smoothed edges are darker greys.
bool isTextGrey(QRgb colour)
{
    const int high = qMax(qRed(colour), qMax(qGreen(colour), qBlue(colour)));
    const int low = qMin(qRed(colour), qMin(qGreen(colour), qBlue(colour)));
    return high - low <= 20 && high >= 64 && high <= 200;
}

QList<QPoint> pixelsWhere(const QImage &image, const QRect &area,
                          const std::function<bool(QRgb)> &matches)
{
    QList<QPoint> found;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (matches(image.pixel(x, y)))
                found.append(QPoint(x, y));
        }
    }
    return found;
}

QString describe(QRgb colour)
{
    return u"#%1"_qs.arg(colour & 0xffffffu, 6, 16, QLatin1Char('0'));
}

QString describe(const QImage &image, const QList<QPoint> &points)
{
    QString text = u"%1 pixels:"_qs.arg(points.size());
    for (QPoint point : points.mid(0, 8)) {
        text += u" (%1,%2)=%3"_qs.arg(point.x()).arg(point.y()).arg(describe(image.pixel(point)));
    }
    return text;
}

} // namespace

class TestPanelE2e : public QObject {
    Q_OBJECT

    std::unique_ptr<XServer> m_x;
    std::unique_ptr<TallowfernProcess> m_app;
    xcb_window_t m_sensor = 0;
    xcb_window_t m_content = 0;
    QString m_setup; // the global data tag, which Qt 6.4 does not hand out

    [[nodiscard]] QRgb at(QPoint point) const { return m_x->pixel(point.x(), point.y()); }

    [[nodiscard]] bool isOpen() const
    {
        for (QPoint point : InsideOpenCard) {
            if (!isBlack(at(point)))
                return false;
        }
        for (QPoint point : OutsideOpenCard) {
            if (!isBackground(at(point)))
                return false;
        }
        return true;
    }
    // Closed down to the notch, which stays drawn.
    [[nodiscard]] bool isClosed() const
    {
        for (QPoint point : InsideOpenCard) {
            if (!isBackground(at(point)))
                return false;
        }
        return isBlack(at(InNotch));
    }
    [[nodiscard]] bool contentHasFocus() const
    {
        return m_content != 0 && m_x->isSameOrInside(m_x->inputFocus(), m_content);
    }

    static QString outputPath(const QString &name)
    {
        return QDir(QStringLiteral(SCREENSHOT_DIR)).filePath(name + u".png"_qs);
    }
    QString screenshot(const QString &name, const QRect &area = {}) const
    {
        const QString path = outputPath(name);
        (area.isNull() ? m_x->grab() : m_x->grab(area)).save(path);
        return path;
    }
    QString failure(const QString &what) const
    {
        QString name = QString::fromLatin1(QTest::currentTestFunction()) + u'-' + m_setup;
        if (!QByteArray(QTest::currentDataTag()).isEmpty())
            name += u'-' + QString::fromLatin1(QTest::currentDataTag());
        name += u"-failed"_qs;
        name.replace(u' ', u'_');
        QString message = what + u"; screen in "_qs + screenshot(name) + u"; pixels:"_qs;
        for (QPoint point : {InNotch, InsideOpenCard[0], InsideOpenCard[1], InsideOpenCard[2],
                             OutsideOpenCard[0], OutsideOpenCard[1]}) {
            message += u" (%1,%2)=%3"_qs.arg(point.x()).arg(point.y()).arg(describe(at(point)));
        }
        message += u"; focus 0x%1, content 0x%2, sensor 0x%3"_qs.arg(m_x->inputFocus(), 0, 16)
                       .arg(m_content, 0, 16)
                       .arg(m_sensor, 0, 16);
        return message;
    }

    // What tesseract reads in a crop of light text on black, enlarged and turned dark on light.
    [[nodiscard]] QString readText(const QImage &crop) const
    {
        QImage image = crop.convertToFormat(QImage::Format_Grayscale8);
        image.invertPixels();
        image = image.scaled(image.size() * 4, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        QImage page(image.size() + QSize(40, 40), QImage::Format_Grayscale8);
        page.fill(Qt::white);
        for (int y = 0; y < image.height(); ++y) {
            std::memcpy(page.scanLine(y + 20) + 20, image.constScanLine(y), size_t(image.width()));
        }
        const QString path = QDir(m_x->scratch()).filePath(u"text.png"_qs);
        page.save(path);
        QProcess tesseract;
        tesseract.start(u"tesseract"_qs, {path, u"-"_qs, u"--psm"_qs, u"7"_qs});
        if (!tesseract.waitForFinished(20000))
            return u"(tesseract did not finish)"_qs;
        return QString::fromUtf8(tesseract.readAllStandardOutput()).trimmed();
    }

    void run(const QStringList &arguments)
    {
        QString error;
        QVERIFY2(m_x->xdotool(arguments, &error), qPrintable(error));
    }
    void movePointer(QPoint point)
    {
        run({u"mousemove"_qs, QString::number(point.x()), QString::number(point.y())});
    }
    void pressHotKey() { run({u"key"_qs, u"alt+n"_qs}); }

    // Starts the app, closed, with the pointer far away, and waits until its notch is drawn.
    void startApp(const QStringList &toDo = {}, const QStringList &doing = {},
                  const QStringList &done = {})
    {
        CHECKED(movePointer(FarAway));
        m_app = std::make_unique<TallowfernProcess>(*m_x);
        if (!toDo.isEmpty() || !doing.isEmpty() || !done.isEmpty())
            m_app->writeTodayBoard(toDo, doing, done);
        const QString error = m_app->start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        const bool mapped = waitFor(
            [this] {
                m_sensor = m_x->findWindow(u"Tallowfern Sensor"_qs);
                m_content = m_x->findWindow(u"Tallowfern"_qs);
                return m_sensor != 0 && m_content != 0;
            },
            15000);
        QVERIFY2(mapped, "the sensor and content windows never both mapped");
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }), u"the closed notch never showed"_qs);
    }

    void openByHovering()
    {
        CHECKED(movePointer({960, 5}));
        VERIFY_SCREEN(waitFor([this] { return isOpen(); }),
                      u"resting on the notch did not open it"_qs);
    }
    void openPinned()
    {
        CHECKED(pressHotKey());
        VERIFY_SCREEN(waitFor([this] { return isOpen(); }), u"Alt+N did not open the panel"_qs);
        VERIFY_SCREEN(waitFor([this] { return contentHasFocus(); }),
                      u"the pinned panel did not take the keyboard focus"_qs);
    }

private slots:
    void initTestCase_data()
    {
        QTest::addColumn<bool>("windowManager");
        QTest::newRow("bare") << false;
        QTest::newRow("openbox") << true;
    }
    void initTestCase()
    {
        PanelScreen::prepare(QStringLiteral(SCREENSHOT_DIR),
                             {u"Xvfb"_qs, u"xcompmgr"_qs, u"openbox"_qs, u"xdotool"_qs});
    }
    void init()
    {
        QFETCH_GLOBAL(bool, windowManager);
        m_setup = windowManager ? u"openbox"_qs : u"bare"_qs;
        m_x = std::make_unique<XServer>();
        const QString error = m_x->start(windowManager);
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }
    void cleanup()
    {
        TallowfernProcess::finish(m_app);
        m_x.reset();
        m_sensor = 0;
        m_content = 0;
    }

    // The screenshots tell black from the background, so "closed" below means something.
    void harnessSeesOwnWindow()
    {
        TestWindow window(*m_x, QRect(500, 150, 300, 200));
        window.showBelowOthers();
        QVERIFY(waitFor([&] { return m_x->isViewable(window.id()); }));
        const xcb_window_t id = window.id();
        const quint32 black[] = {
            xcb_setup_roots_iterator(xcb_get_setup(m_x->connection())).data->black_pixel};
        xcb_change_window_attributes(m_x->connection(), id, XCB_CW_BACK_PIXEL, black);
        xcb_clear_area(m_x->connection(), 0, id, 0, 0, 0, 0);
        xcb_flush(m_x->connection());
        QVERIFY(waitFor([&] { return isBlack(at({600, 200})); }));
        QVERIFY(isBackground(at({400, 200})));
        QVERIFY(isBackground(at({960, 900})));

        if (!m_x->isSameOrInside(m_x->inputFocus(), id))
            m_x->setInputFocus(id);
        QVERIFY(waitFor([&] { return m_x->isSameOrInside(m_x->inputFocus(), id); }));

        m_x->takeButtonPresses(id);
        CHECKED(run({u"mousemove"_qs, u"650"_qs, u"250"_qs, u"click"_qs, u"1"_qs}));
        int presses = 0;
        QVERIFY(waitFor([&] { return (presses += m_x->takeButtonPresses(id)) > 0; }));
    }

    void hoverOpensAndLeavingCloses()
    {
        CHECKED(startApp());

        // Passing over the notch on the way elsewhere is not resting on it.
        CHECKED(run({u"mousemove"_qs, u"960"_qs, u"5"_qs, u"sleep"_qs, u"0.03"_qs, u"mousemove"_qs,
                     u"960"_qs, u"900"_qs}));
        VERIFY_SCREEN(holdsFor([this] { return isClosed(); }, 800),
                      u"brushing past the notch opened the panel"_qs);

        CHECKED(openByHovering());
        QFETCH_GLOBAL(bool, windowManager);
        if (windowManager)
            screenshot(u"panel-open"_qs, QRect(500, 0, 920, 460));
        // Over the card it stays open.
        CHECKED(movePointer({960, 200}));
        VERIFY_SCREEN(holdsFor([this] { return isOpen(); }, 800),
                      u"the panel closed with the pointer on it"_qs);

        // Leaving closes it, but not at once.
        CHECKED(movePointer(FarAway));
        VERIFY_SCREEN(holdsFor([this] { return isOpen(); }, 250),
                      u"the panel closed sooner than 0.35 s after the pointer left"_qs);
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }),
                      u"the panel did not close after the pointer left"_qs);
    }

    void hotKeyPinsOpenAndTakesFocus()
    {
        CHECKED(startApp());
        CHECKED(openPinned());
        // Pinned, it stays open with the pointer far away, even after passing over it.
        VERIFY_SCREEN(holdsFor([this] { return isOpen(); }, 800),
                      u"the pinned panel closed by itself"_qs);
        CHECKED(movePointer({960, 200}));
        CHECKED(movePointer(FarAway));
        VERIFY_SCREEN(holdsFor([this] { return isOpen() && contentHasFocus(); }, 800),
                      u"the pinned panel closed or lost the focus when the pointer left it"_qs);

        CHECKED(pressHotKey());
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }), u"Alt+N again did not close it"_qs);
    }

    void escapeClosesPinned()
    {
        CHECKED(startApp());
        CHECKED(openPinned());
        CHECKED(run({u"key"_qs, u"Escape"_qs}));
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }), u"Escape did not close it"_qs);
    }

    void clickOutsideCloses_data()
    {
        QTest::addColumn<bool>("pinned");
        QTest::newRow("pinned") << true;
        QTest::newRow("hovered") << false;
    }
    void clickOutsideCloses()
    {
        QFETCH(bool, pinned);
        CHECKED(startApp());
        if (pinned) {
            CHECKED(openPinned());
        } else {
            // Typing in the To do lane's add field keeps a hovered panel open after the pointer
            // leaves, so that only the click can close it.
            CHECKED(openByHovering());
            CHECKED(movePointer(ToDoAddField));
            CHECKED(run({u"click"_qs, u"1"_qs}));
            // The field has the keyboard only once the window manager has given the panel the
            // focus, which a busy machine takes a while over; the pointer leaves after that.
            VERIFY_SCREEN(waitFor([this] { return contentHasFocus(); }),
                          u"the click into the add field did not give the panel the keyboard"_qs);
        }
        // Leaving alone does not close it.
        CHECKED(movePointer({100, 900}));
        QTest::qWait(800);
        VERIFY_SCREEN(!isBackground(at(NearBottomEdge)), u"the panel closed without a click"_qs);

        CHECKED(run({u"click"_qs, u"1"_qs}));
        VERIFY_SCREEN(waitFor([this] { return isBackground(at(NearBottomEdge)); }, 5000),
                      u"a click outside did not close the panel"_qs);
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }), u"the panel did not close"_qs);
    }

    void wings_data()
    {
        QTest::addColumn<QStringList>("toDo");
        QTest::addColumn<QStringList>("doing");
        QTest::addColumn<int>("left"); // left edge of the closed shape
        QTest::addColumn<int>("right");
        QTest::addColumn<QRgb>("dot");
        QTest::addColumn<QString>("text");
        const QStringList toDo{u"Write report"_qs, u"Call Sam"_qs};
        QTest::newRow("doing") << toDo << QStringList{u"Fix the bike"_qs} << WingsLeft << WingsRight
                               << Orange << u"3 left"_qs;
        QTest::newRow("to do only")
            << toDo << QStringList() << WingsLeft << WingsRight << Blue << u"2 left"_qs;
        QTest::newRow("nothing open")
            << QStringList() << QStringList() << NotchLeft << NotchRight << QRgb(0) << QString();
    }
    void wings()
    {
        QFETCH(QStringList, toDo);
        QFETCH(QStringList, doing);
        QFETCH(int, left);
        QFETCH(int, right);
        QFETCH(QRgb, dot);
        QFETCH(QString, text);
        // Finished cards never count.
        CHECKED(startApp(toDo, doing, {u"Water the plants"_qs}));

        // The closed shape's extent: its top edge, where the notch flares out, is the widest.
        const auto extent = [this] {
            const QImage strip = m_x->grab(QRect(0, 0, XServer::Width, NotchHeight));
            int first = -1;
            int last = -1;
            for (int x = 0; x < strip.width(); ++x) {
                for (int y = 0; y < strip.height(); ++y) {
                    if (!isBackground(strip.pixel(x, y))) {
                        first = first < 0 ? x : first;
                        last = x;
                    }
                }
            }
            return std::pair(first, last + 1);
        };
        std::pair<int, int> edges;
        VERIFY_SCREEN(waitFor([&] {
                          edges = extent();
                          return qAbs(edges.first - left) <= 2 && qAbs(edges.second - right) <= 2;
                      }),
                      u"the closed shape spans %1..%2, not %3..%4"_qs.arg(edges.first)
                          .arg(edges.second)
                          .arg(left)
                          .arg(right));
        // Just the notch's height, wings or not.
        VERIFY_SCREEN(isBlack(at({960, NotchHeight - 1})) &&
                          isBlack(at({left + 10, NotchHeight / 2})) &&
                          isBlack(at({right - 11, NotchHeight / 2})) &&
                          isBackground(at({960, NotchHeight})) &&
                          isBackground(at({left + 10, NotchHeight + 1})),
                      u"the closed shape is not %1 high"_qs.arg(NotchHeight));

        const QImage top = m_x->grab(QRect(0, 0, XServer::Width, NotchHeight));
        QFETCH_GLOBAL(bool, windowManager);
        if (windowManager && text == u"3 left")
            screenshot(u"closed-wings"_qs, QRect(700, 0, 520, 60));

        // Inside the shape, clear of its smoothed outline and rounded lower corners.
        const QRect leftWing(WingsLeft + 8, 1, NotchLeft - WingsLeft - 10, NotchHeight - 6);
        const QRect rightWing(NotchRight + 2, 1, WingsRight - NotchRight - 10, NotchHeight - 6);
        const QRect whole(left + 8, 1, right - left - 16, NotchHeight - 6);
        const auto near = [](QRgb target) {
            return [target](QRgb colour) { return isNear(colour, target); };
        };
        const auto expectNone = [&](const QRect &area, const std::function<bool(QRgb)> &matches,
                                    const char *what) {
            const QList<QPoint> found = pixelsWhere(top, area, matches);
            QVERIFY2(found.isEmpty(),
                     qPrintable(QLatin1String(what) + u": "_qs + describe(top, found)));
        };
        if (text.isEmpty()) {
            CHECKED(expectNone(whole, near(Orange), "an orange dot"));
            CHECKED(expectNone(whole, near(Blue), "a blue dot"));
            CHECKED(expectNone(whole, isTextGrey, "text"));
            return;
        }
        QVERIFY2(pixelsWhere(top, leftWing, near(dot)).size() >= 4,
                 "no dot of the expected colour");
        CHECKED(
            expectNone(whole, near(dot == Orange ? Blue : Orange), "a dot of the other colour"));
        CHECKED(expectNone(rightWing, near(dot), "a dot in the right wing"));
        CHECKED(expectNone(leftWing, isTextGrey, "text in the left wing"));
        QVERIFY2(pixelsWhere(top, rightWing, isTextGrey).size() >= 15, "no text in the right wing");

        if (QStandardPaths::findExecutable(u"tesseract"_qs).isEmpty()) {
            qWarning("tesseract is missing: the right wing's text goes unread");
            return;
        }
        QCOMPARE(readText(top.copy(QRect(NotchRight + 5, 2, 50, 20))), text);
    }

    void windowsBelongToTheDesktop()
    {
        CHECKED(startApp());
        QCOMPARE(m_x->geometry(m_sensor), QRect(853, 0, 214, 24));
        QCOMPARE(m_x->geometry(m_content), QRect(530, 0, 860, 420));
        for (xcb_window_t window : {m_sensor, m_content}) {
            const QByteArrayList wmClass = m_x->stringListProperty(window, "WM_CLASS");
            QCOMPARE(wmClass.value(0), QByteArray("tallowfern"));
            QCOMPARE(wmClass.value(1).toLower(), QByteArray("tallowfern"));
        }
        QFETCH_GLOBAL(bool, windowManager);
        if (!windowManager)
            QSKIP("without a window manager nobody keeps _NET_WM_STATE or _NET_WM_DESKTOP");

        // A window manager rewrites the state of the windows it manages with the states it knows:
        // openbox has no sticky state and shows a window on every desktop through
        // _NET_WM_DESKTOP alone. Windows it leaves alone keep the state they set.
        const bool stickyKnown = m_x->atomListProperty(m_x->root(), "_NET_SUPPORTED")
                                     .contains(u"_NET_WM_STATE_STICKY"_qs);
        const auto expectedStates = [&](xcb_window_t window) {
            QStringList states{u"_NET_WM_STATE_SKIP_TASKBAR"_qs, u"_NET_WM_STATE_SKIP_PAGER"_qs,
                               u"_NET_WM_STATE_ABOVE"_qs};
            if (stickyKnown || m_x->isOverrideRedirect(window))
                states.append(u"_NET_WM_STATE_STICKY"_qs);
            return states;
        };
        const auto checkState = [&](const char *when) {
            for (xcb_window_t window : {m_sensor, m_content}) {
                const QStringList state = m_x->atomListProperty(window, "_NET_WM_STATE");
                for (const QString &expected : expectedStates(window)) {
                    QVERIFY2(state.contains(expected),
                             qPrintable(u"%1 lacks %2 when %3: %4"_qs.arg(
                                 window == m_sensor ? u"sensor"_qs : u"content"_qs, expected,
                                 QLatin1String(when), state.join(u' '))));
                }
                QCOMPARE(m_x->cardinalProperty(window, "_NET_WM_DESKTOP").value_or(0), 0xFFFFFFFFu);
            }
        };
        CHECKED(checkState("closed"));
        CHECKED(openPinned());
        CHECKED(checkState("open"));
    }

    // Another program's window, newly opened and focused, over the area of the open card (though
    // not over the notch): the panel opens above it and leaves it the keyboard.
    void hoverOpensOverFocusedWindowAndLeavesFocus()
    {
        CHECKED(startApp());
        TestWindow window(*m_x, QRect(300, 60, 1320, 700));
        window.show();
        QVERIFY(waitFor([&] { return m_x->isViewable(window.id()); }));
        const auto focused = [&] { return m_x->isSameOrInside(m_x->inputFocus(), window.id()); };
        // The window manager focuses it; bare, we do.
        if (!waitFor(focused, 1000))
            m_x->setInputFocus(window.id());
        QVERIFY(waitFor(focused));

        CHECKED(movePointer({960, 5}));
        // The strip above the window shows that it opened at all.
        VERIFY_SCREEN(waitFor([this] { return isBlack(at(InsideOpenCard[1])); }),
                      u"resting on the notch did not open it"_qs);
        VERIFY_SCREEN(waitFor([this] { return isOpen(); }),
                      u"the open panel is beneath the other window"_qs);
        QVERIFY2(holdsFor(focused, 300), "the hover-opened panel took the keyboard focus");
        CHECKED(movePointer(FarAway));
        VERIFY_SCREEN(waitFor([this] { return isClosed(); }), u"the panel did not close"_qs);
        QVERIFY2(focused(), "the focus did not stay with the window");
    }

    // A screen locker is an unmanaged window over the whole screen; the hot key still opens the
    // panel behind it, but nothing of ours may show over it.
    void screenLockerKeepsTheScreen()
    {
        CHECKED(startApp());
        xcb_connection_t *c = m_x->connection();
        const xcb_window_t locker = xcb_generate_id(c);
        const quint32 values[] = {0x808080, 1}; // grey background, override-redirect
        xcb_create_window(c, XCB_COPY_FROM_PARENT, locker, m_x->root(), 0, 0, XServer::Width,
                          XServer::Height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_map_window(c, locker);
        xcb_flush(c);
        QVERIFY(waitFor([&] { return m_x->isViewable(locker); }));
        const auto lockerShows = [this] {
            const QRgb colour = m_x->pixel(InsideOpenCard[0].x(), InsideOpenCard[0].y());
            return isNear(colour, qRgb(128, 128, 128), 8);
        };
        VERIFY_SCREEN(waitFor(lockerShows), u"the locker never covered the screen"_qs);

        CHECKED(pressHotKey());
        // Opened pinned: it has the keyboard, and yet stays under the locker.
        QVERIFY2(waitFor([this] { return contentHasFocus(); }), "Alt+N did not open the panel");
        QVERIFY(m_x->isStackedAbove(locker, m_content));
        VERIFY_SCREEN(lockerShows(), u"the panel showed over the screen locker"_qs);

        // Unlocked, the open panel is there.
        xcb_destroy_window(c, locker);
        xcb_flush(c);
        CHECKED(pressHotKey());
        CHECKED(pressHotKey());
        VERIFY_SCREEN(waitFor([this] { return isOpen(); }),
                      u"the panel did not show once the locker went"_qs);
    }

    void clickOnClosedPanelReachesWindowBelow()
    {
        CHECKED(startApp());
        TestWindow window(*m_x, QRect(400, 100, 1120, 700));
        window.showBelowOthers();
        QVERIFY(waitFor([&] { return m_x->isViewable(window.id()); }));
        const QPoint target(960, 300);
        // Only a real test if the content window is there, over ours.
        QVERIFY(m_x->isViewable(m_content));
        QVERIFY(m_x->geometry(m_content).contains(target));
        QVERIFY(m_x->geometry(window.id()).contains(target));
        QVERIFY(waitFor([&] { return m_x->isStackedAbove(m_content, window.id()); }));

        m_x->takeButtonPresses(window.id());
        CHECKED(run({u"mousemove"_qs, QString::number(target.x()), QString::number(target.y()),
                     u"click"_qs, u"1"_qs}));
        int presses = 0;
        QVERIFY2(waitFor([&] { return (presses += m_x->takeButtonPresses(window.id())) > 0; }),
                 "the click did not reach the window below");
        VERIFY_SCREEN(holdsFor([this] { return isClosed(); }, 300),
                      u"the click opened the panel"_qs);
    }
};

QTEST_GUILESS_MAIN(TestPanelE2e)
#include "tst_panel_e2e.moc"
