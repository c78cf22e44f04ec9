#include "TallowfernProcess.h"
#include "XServer.h"

#include <QDir>
#include <QStandardPaths>
#include <QTest>

#include <memory>

// The real binary on private X servers, bare and under openbox: the pointer and the keyboard are
// driven with xdotool and the outcome is read off the screen and the windows' properties.
namespace {

// Where things are on a 1920x1080 screen: the open card spans x 570..1350 and y 0..380, the
// closed notch 865..1055 by 24.
constexpr QPoint InsideOpenCard[] = {{960, 200}, {600, 40}, {1320, 350}};
constexpr QPoint OutsideOpenCard[] = {{540, 200}, {960, 420}};
constexpr QPoint InNotch{960, 12};
constexpr QPoint FarAway{960, 900};
bool isBlack(QRgb colour)
{
    return qRed(colour) <= 24 && qGreen(colour) <= 24 && qBlue(colour) <= 24;
}
// The white root; the sensor is almost invisible over it.
bool isBackground(QRgb colour)
{
    return qRed(colour) >= 232 && qGreen(colour) >= 232 && qBlue(colour) >= 232;
}
QString describe(QRgb colour)
{
    return u"#%1"_qs.arg(colour & 0xffffffu, 6, 16, QLatin1Char('0'));
}

} // namespace

// Fails the test with a screenshot of what was there, so that a failure can be looked at.
#define VERIFY_SCREEN(condition, what)                                                             \
    do {                                                                                           \
        if (!(condition))                                                                          \
            QFAIL(qPrintable(failure(what)));                                                      \
    } while (false)

// Runs a helper that verifies, and stops the test when it failed.
#define CHECKED(call)                                                                              \
    do {                                                                                           \
        call;                                                                                      \
        if (QTest::currentTestFailed())                                                            \
            return;                                                                                \
    } while (false)

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

    QString screenshot(const QString &name) const
    {
        const QString path = QDir::current().absoluteFilePath(name + u".png"_qs);
        m_x->grab().save(path);
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
        return message;
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
                return m_sensor != 0 && m_x->isViewable(m_sensor);
            },
            15000);
        QVERIFY2(mapped, "the sensor window never mapped");
        m_content = m_x->findWindow(u"Tallowfern"_qs);
        QVERIFY2(m_content != 0, "no content window");
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
        // Screenshots of earlier failures would only mislead.
        for (const QString &stale : QDir::current().entryList({u"*-failed.png"_qs}, QDir::Files))
            QFile::remove(stale);
        for (const QString &tool : {u"Xvfb"_qs, u"xcompmgr"_qs, u"openbox"_qs, u"xdotool"_qs}) {
            if (QStandardPaths::findExecutable(tool).isEmpty())
                QFAIL(qPrintable(tool + u" is missing (tools/dev test installs it)"_qs));
        }
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
        if (m_app && QTest::currentTestFailed())
            qWarning().noquote() << "the app printed:\n" << m_app->output();
        if (m_app) {
            QVERIFY2(m_app->isRunning(), "the app quit on its own");
            m_app.reset();
        }
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
        run({u"mousemove"_qs, u"650"_qs, u"250"_qs, u"click"_qs, u"1"_qs});
        int presses = 0;
        QVERIFY(waitFor([&] { return (presses += m_x->takeButtonPresses(id)) > 0; }));
    }
};

QTEST_GUILESS_MAIN(TestPanelE2e)
#include "tst_panel_e2e.moc"
