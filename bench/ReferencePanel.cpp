// The yardstick for desktop_open.py: the least a Qt Quick program does to open a panel the way the
// app does. A sensor strip at the top centre of the screen and, above it, a window of the panel's
// size in which a black rectangle grows from the notch to 780×380 when the pointer enters the
// strip or Alt+N is pressed (an X key grab on the root window, like the app's hot key), and
// shrinks back when the pointer leaves the strip or Alt+N comes again. It moves along the app's
// two springs, for as long as they take to settle, and starts at once: no hover delay, no content,
// no shadow, no window shape. The window is opaque grey, so that the rectangle's edge shows in the
// screen's pixels with or without a compositing manager.
//
// On Wayland (sway_open.py), where no program can grab a key, a method Toggle on the session bus
// (io.tallowfern.BenchReference) does what Alt+N does, and `bench_reference_panel --toggle` calls
// it, as a compositor's key binding runs `tallowfern --toggle`. The compositor places the windows.

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QEasingCurve>
#include <QEvent>
#include <QGuiApplication>
#include <QPainter>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRasterWindow>
#include <QScreen>
#include <QUrl>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <numbers>

namespace {

// A damped spring from rest at 0 towards 1 (ω₀ = 2π / response, ζ < 1), as the app tunes them.
struct Spring {
    double response;
    double damping;

    [[nodiscard]] double value(double t) const
    {
        const double w0 = 2 * std::numbers::pi / response;
        const double wd = w0 * std::sqrt(1 - damping * damping);
        return 1 - std::exp(-damping * w0 * t) *
                       (std::cos(wd * t) + damping * w0 / wd * std::sin(wd * t));
    }

    // When the envelope of the oscillation stays within 1e-3 of the target.
    [[nodiscard]] double settlingTime() const
    {
        const double w0 = 2 * std::numbers::pi / response;
        return -std::log(1e-3 * std::sqrt(1 - damping * damping)) / (damping * w0);
    }
};

constexpr Spring openSpring{0.42, 0.78};
constexpr Spring closeSpring{0.34, 0.9};

template <const Spring &spring> qreal ease(qreal progress)
{
    return progress >= 1 ? 1 : spring.value(progress * spring.settlingTime());
}

// The app's own sizes: a 190-wide notch with a 12-pixel margin each side for the sensor, the open
// panel with room for its shadow around it.
constexpr QSize sensorSize{214, 24};
constexpr QSize panelWindowSize{860, 420};
constexpr Qt::WindowFlags overlayFlags = Qt::Window | Qt::FramelessWindowHint |
                                         Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                                         Qt::X11BypassWindowManagerHint;

class Sensor : public QRasterWindow {
public:
    std::function<void(bool)> crossed;

protected:
    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::Enter && crossed)
            crossed(true);
        else if (event->type() == QEvent::Leave && crossed)
            crossed(false);
        return QRasterWindow::event(event);
    }

    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(QRect(QPoint(), size()), QColor(0, 0, 0, 3));
    }
};

// Alt+N grabbed on the root window; each press toggles.
class HotKey : public QAbstractNativeEventFilter {
public:
    explicit HotKey(std::function<void()> pressed) : m_pressed(std::move(pressed))
    {
        auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        m_c = x11 ? x11->connection() : nullptr;
        if (!m_c)
            return;
        const xcb_setup_t *setup = xcb_get_setup(m_c);
        const uint8_t first = setup->min_keycode;
        const auto count = static_cast<uint8_t>(setup->max_keycode - first + 1);
        std::unique_ptr<xcb_get_keyboard_mapping_reply_t, decltype(&std::free)> keys(
            xcb_get_keyboard_mapping_reply(m_c, xcb_get_keyboard_mapping(m_c, first, count),
                                           nullptr),
            &std::free);
        if (!keys)
            return;
        const xcb_keysym_t *syms = xcb_get_keyboard_mapping_keysyms(keys.get());
        for (int code = 0; code < count && !m_keycode; ++code) {
            for (int level = 0; level < keys->keysyms_per_keycode; ++level) {
                if (syms[code * keys->keysyms_per_keycode + level] == 'n')
                    m_keycode = static_cast<xcb_keycode_t>(first + code);
            }
        }
        if (!m_keycode)
            return; // keycode 0 would grab every key
        const xcb_window_t root = xcb_setup_roots_iterator(setup).data->root;
        xcb_grab_key(m_c, 0, root, XCB_MOD_MASK_1, m_keycode, XCB_GRAB_MODE_ASYNC,
                     XCB_GRAB_MODE_ASYNC);
        xcb_flush(m_c);
    }

    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *) override
    {
        if (!m_keycode || type != "xcb_generic_event_t")
            return false;
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) != XCB_KEY_PRESS)
            return false;
        const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event);
        if (key->detail != m_keycode)
            return false;
        // From the event loop, as the app does, not from inside the native dispatch.
        QMetaObject::invokeMethod(qGuiApp, m_pressed, Qt::QueuedConnection);
        return true;
    }

private:
    std::function<void()> m_pressed;
    xcb_connection_t *m_c = nullptr;
    xcb_keycode_t m_keycode = 0;
};

constexpr auto busName = "io.tallowfern.BenchReference";
constexpr auto busPath = "/io/tallowfern/BenchReference";

// Toggle on the bus, as the app's own interface has it; the rest of the interface is not needed.
class BusToggle : public QDBusVirtualObject {
public:
    explicit BusToggle(std::function<void()> toggled) : m_toggled(std::move(toggled)) {}

    QString introspect(const QString &) const override
    {
        return u"<interface name=\"io.tallowfern.BenchReference\"><method name=\"Toggle\"/>"
               "</interface>"_qs;
    }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.member() != u"Toggle"_qs)
            return false;
        // Called on the bus's own thread: the panel changes on the event loop, as the app's does.
        QMetaObject::invokeMethod(qGuiApp, m_toggled, Qt::QueuedConnection);
        connection.send(message.createReply());
        return true;
    }

private:
    std::function<void()> m_toggled;
};

// `--toggle`: the least a Qt program run from a key binding does to reach the running panel.
int callToggle(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(QString::fromLatin1(busName), QString::fromLatin1(busPath),
                                       QString::fromLatin1(busName), u"Toggle"_qs),
        QDBus::Block, 5000);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        std::fprintf(stderr, "%s\n", qPrintable(reply.errorMessage()));
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--toggle") == 0)
        return callToggle(argc, argv);
    QGuiApplication app(argc, argv);

    QQuickView panel;
    panel.setTitle(QStringLiteral("Tallowfern Bench Panel"));
    // Input passes through to the sensor beneath, so that leaving the strip closes again.
    panel.setFlags(overlayFlags | Qt::WindowTransparentForInput);
    panel.setColor(QColor(0x80, 0x80, 0x80));
    panel.setResizeMode(QQuickView::SizeRootObjectToView);

    QQmlComponent component(panel.engine());
    component.setData(QByteArrayLiteral(R"(
import QtQuick
Item {
    id: root
    property bool open: false
    property int openMs
    property int closeMs
    property real openness: 0
    Rectangle {
        x: (root.width - width) / 2
        width: 190 + (780 - 190) * root.openness
        height: 24 + (380 - 24) * root.openness
        radius: 6 + 8 * root.openness
        color: "black"
    }
    NumberAnimation {
        id: opening
        objectName: "opening"
        target: root; property: "openness"; to: 1
        duration: root.openMs
    }
    NumberAnimation {
        id: closing
        objectName: "closing"
        target: root; property: "openness"; to: 0
        duration: root.closeMs
    }
    onOpenChanged: {
        opening.stop();
        closing.stop();
        (open ? opening : closing).start();
    }
}
)"),
                      QUrl());
    const auto ms = [](const Spring &spring) {
        return int(std::ceil(spring.settlingTime() * 1000));
    };
    std::unique_ptr<QQuickItem> root(
        qobject_cast<QQuickItem *>(component.createWithInitialProperties(
            {{u"openMs"_qs, ms(openSpring)}, {u"closeMs"_qs, ms(closeSpring)}})));
    if (!root) {
        std::fprintf(stderr, "%s\n", qPrintable(component.errorString()));
        return 1;
    }
    QEasingCurve opening;
    opening.setCustomType(ease<openSpring>);
    QEasingCurve closing;
    closing.setCustomType(ease<closeSpring>);
    root->findChild<QObject *>(u"opening"_qs)->setProperty("easing", opening);
    root->findChild<QObject *>(u"closing"_qs)->setProperty("easing", closing);
    root->setParentItem(panel.contentItem());
    root->setSize(panelWindowSize);

    Sensor sensor;
    sensor.setTitle(QStringLiteral("Tallowfern Bench Sensor"));
    sensor.setFlags(overlayFlags);
    QSurfaceFormat sensorFormat = sensor.format();
    sensorFormat.setAlphaBufferSize(8);
    sensor.setFormat(sensorFormat);

    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    // QRect's centre rounds down; the app centres on the exact middle, 960 of 1920.
    const int centre = screen.center().x() + 1;
    sensor.setGeometry(QRect(QPoint(centre - sensorSize.width() / 2, screen.top()), sensorSize));
    panel.setGeometry(
        QRect(QPoint(centre - panelWindowSize.width() / 2, screen.top()), panelWindowSize));

    QQuickItem *shape = root.get();
    sensor.crossed = [shape](bool entered) { shape->setProperty("open", entered); };
    const auto toggle = [shape] { shape->setProperty("open", !shape->property("open").toBool()); };
    HotKey hotKey(toggle);
    app.installNativeEventFilter(&hotKey);
    BusToggle busToggle(toggle);
    // Only on a bus that was given: without one, libdbus may start a bus of its own for X11.
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (bus.registerVirtualObject(QString::fromLatin1(busPath), &busToggle))
            bus.registerService(QString::fromLatin1(busName));
    }

    sensor.setProperty("_q_showWithoutActivating", true);
    panel.setProperty("_q_showWithoutActivating", true);
    sensor.show();
    panel.show();
    return QGuiApplication::exec();
}
