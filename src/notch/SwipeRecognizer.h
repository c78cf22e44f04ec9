#pragma once

#include <QPoint>
#include <QtGlobal>

#include <optional>

// Tells a horizontal two-finger swipe on a touchpad from everything else that arrives as scroll
// events: wheels (never a swipe, tilted or not), vertical scrolling, and the momentum that some
// desktops add after the fingers lift. One gesture gives one swipe.
//
// Desktops report touchpads differently. Wayland compositors send the axis source and a stop,
// which Qt turns into ScrollBegin/Update/End with pixel deltas. Qt 6.4's xcb backend, which X11
// and XWayland sessions use, gives touchpad scrolling neither phases nor pixel deltas: only
// angle deltas from XInput 2 valuators, 120 per scroll increment (15 px of finger travel with
// libinput), with the device marked as a touchpad. There a gesture is a run of events without a
// pause of gapMs.
class SwipeRecognizer {
public:
    enum class Device { TouchPad, Mouse, Other };

    struct Sample {
        // The event's timestamp, in milliseconds.
        qint64 time = 0;
        Device device = Device::Other;
        QPoint angleDelta;
        QPoint pixelDelta;
        Qt::ScrollPhase phase = Qt::NoScrollPhase;
        // Natural scrolling: the content follows the fingers.
        bool inverted = false;
    };

    // Finger travel, in pixels, that makes a swipe.
    static constexpr qreal threshold = 60;
    // Between gestures reported without phases, the fingers rest at least this long.
    static constexpr qint64 gapMs = 150;
    // Angle units per pixel of finger travel where only angle deltas come.
    static constexpr qreal anglePerPixel = 8;
    // How much more horizontal than vertical a swipe is.
    static constexpr qreal dominance = 1.5;

    // The device to believe for a scroll event that Qt says came from `reported`. Qt's xcb
    // backend names the XInput device that scrolled. Its Wayland client has one device for the
    // whole seat, a touchpad whenever the compositor offers gestures, and hands wheel clicks to
    // it too; there the axis source tells: a touchpad's strokes come with phases and pixel
    // deltas, a wheel's clicks with neither.
    [[nodiscard]] static Device deviceOf(Device reported, bool wayland, Qt::ScrollPhase phase,
                                         QPoint pixelDelta);

    // +1 for a swipe towards the next tab (scroll deltas growing positive, or negative with
    // natural scrolling), -1 towards the previous one; nothing otherwise.
    std::optional<int> feed(const Sample &sample);
    // Forgets the gesture under way, as when the panel closes.
    void reset();

private:
    bool m_active = false;
    bool m_decided = false;
    qint64 m_last = 0;
    qreal m_x = 0;
    qreal m_y = 0;
};
