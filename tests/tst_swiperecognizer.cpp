#include "notch/SwipeRecognizer.h"

#include <QList>
#include <QTest>

namespace {

using Sample = SwipeRecognizer::Sample;
using Device = SwipeRecognizer::Device;

// One scroll event of a sequence: milliseconds since the previous one, and its deltas.
struct Step {
    int dt;
    QPoint delta;
};

// Events as Qt 6.4's xcb backend delivers a libinput touchpad on X11 and XWayland: XInput 2
// scroll valuators turned into angle deltas, 120 per 15 px of finger travel, no pixel deltas, no
// phases, one event per touchpad frame.
QList<Sample> xcbTouchpad(const QList<Step> &steps, qint64 start = 1000,
                          Device device = Device::TouchPad)
{
    QList<Sample> samples;
    qint64 time = start;
    for (const Step &step : steps) {
        time += step.dt;
        Sample sample;
        sample.time = time;
        sample.device = device;
        sample.angleDelta = step.delta;
        samples.append(sample);
    }
    return samples;
}

// Events as Qt's Wayland client delivers a touchpad (wl_pointer axis source "finger"): pixel
// deltas, ScrollBegin on the first, ScrollEnd with no delta at axis_stop.
QList<Sample> waylandTouchpad(const QList<Step> &steps, qint64 start = 1000)
{
    QList<Sample> samples;
    qint64 time = start;
    for (qsizetype i = 0; i < steps.size(); ++i) {
        time += steps[i].dt;
        Sample sample;
        sample.time = time;
        sample.device = Device::TouchPad;
        sample.pixelDelta = steps[i].delta;
        sample.angleDelta = steps[i].delta * 8;
        sample.phase = i == 0 ? Qt::ScrollBegin : Qt::ScrollUpdate;
        samples.append(sample);
    }
    Sample end;
    end.time = time + 8;
    end.device = Device::TouchPad;
    end.phase = Qt::ScrollEnd;
    samples.append(end);
    return samples;
}

// A brisk horizontal two-finger swipe over about 100 ms: the speed rises and falls, and the
// fingers wander a little up and down.
QList<Step> briskSwipe(int sense)
{
    const QList<int> x{16, 32, 56, 80, 104, 120, 128, 120, 96, 72, 48, 24, 8, 8};
    const QList<int> y{0, 8, 0, -8, 0, 0, 8, 0, 0, -8, 0, 0, 0, 0};
    QList<Step> steps;
    for (qsizetype i = 0; i < x.size(); ++i)
        steps.append({7, QPoint(sense * x[i], y[i])});
    return steps;
}

QList<Step> repeated(int count, int dt, QPoint delta)
{
    return QList<Step>(count, Step{dt, delta});
}

} // namespace

class TestSwipeRecognizer : public QObject {
    Q_OBJECT

private slots:
    void sequences_data()
    {
        QTest::addColumn<QList<Sample>>("samples");
        QTest::addColumn<QList<int>>("swipes");

        QTest::newRow("X11 touchpad, brisk swipe") << xcbTouchpad(briskSwipe(1)) << QList<int>{1};
        QTest::newRow("X11 touchpad, brisk swipe the other way")
            << xcbTouchpad(briskSwipe(-1)) << QList<int>{-1};
        QTest::newRow("X11 touchpad, slow swipe")
            << xcbTouchpad(repeated(30, 16, {24, 0})) << QList<int>{1};
        QTest::newRow("X11 touchpad, a long swipe switches once")
            << xcbTouchpad(repeated(120, 8, {-40, 0})) << QList<int>{-1};
        QTest::newRow("X11 touchpad, two swipes with the fingers lifted between")
            << xcbTouchpad(briskSwipe(1)) + xcbTouchpad(briskSwipe(1), 1300) << QList<int>{1, 1};
        QTest::newRow("X11 touchpad, a short nudge")
            << xcbTouchpad(repeated(5, 8, {40, 0})) << QList<int>{};
        QTest::newRow("X11 touchpad, vertical scrolling that drifts sideways")
            << xcbTouchpad(repeated(20, 8, {16, -64})) + xcbTouchpad(repeated(30, 8, {48, 0}), 1170)
            << QList<int>{};
        QTest::newRow("X11 touchpad, diagonal")
            << xcbTouchpad(repeated(20, 8, {48, 40})) << QList<int>{};
        QTest::newRow("X11 wheel mouse")
            << xcbTouchpad(repeated(10, 30, {0, -120}), 1000, Device::Mouse) << QList<int>{};
        QTest::newRow("X11 tilt wheel")
            << xcbTouchpad(repeated(6, 80, {-120, 0}), 1000, Device::Mouse) << QList<int>{};
        QTest::newRow("X11 high-resolution wheel, sideways")
            << xcbTouchpad(repeated(40, 8, {15, 0}), 1000, Device::Mouse) << QList<int>{};
        QTest::newRow("X11 device of unknown kind")
            << xcbTouchpad(repeated(20, 8, {-80, 0}), 1000, Device::Other) << QList<int>{};

        QTest::newRow("Wayland touchpad") << waylandTouchpad({{0, {-6, 0}},
                                                              {9, {-10, 1}},
                                                              {8, {-14, 0}},
                                                              {8, {-18, -1}},
                                                              {8, {-16, 0}},
                                                              {8, {-10, 0}}})
                                          << QList<int>{-1};
        QTest::newRow("Wayland touchpad, two gestures close together")
            << waylandTouchpad(repeated(8, 8, {12, 0})) +
                   waylandTouchpad(repeated(8, 8, {12, 0}), 1090)
            << QList<int>{1, 1};
        QList<Sample> coasting = waylandTouchpad(repeated(8, 8, {12, 0}));
        for (int i = 0; i < 10; ++i) {
            Sample momentum;
            momentum.time = 1100 + i * 8;
            momentum.device = Device::TouchPad;
            momentum.pixelDelta = QPoint(30, 0);
            momentum.phase = Qt::ScrollMomentum;
            coasting.append(momentum);
        }
        QTest::newRow("Wayland touchpad, then momentum") << coasting << QList<int>{1};
        QTest::newRow("Wayland touchpad, vertical")
            << waylandTouchpad(repeated(10, 8, {4, -20})) << QList<int>{};
        QList<Sample> waylandWheel = xcbTouchpad(repeated(6, 40, {-120, 0}), 1000, Device::Mouse);
        for (Sample &sample : waylandWheel)
            sample.pixelDelta = QPoint(-15, 0);
        QTest::newRow("Wayland wheel with pixel deltas") << waylandWheel << QList<int>{};
    }
    void sequences()
    {
        QFETCH(QList<Sample>, samples);
        QFETCH(QList<int>, swipes);
        SwipeRecognizer recognizer;
        QList<int> seen;
        for (const Sample &sample : std::as_const(samples)) {
            if (const auto swipe = recognizer.feed(sample))
                seen.append(*swipe);
        }
        QCOMPARE(seen, swipes);
    }

    void deviceOf_data()
    {
        QTest::addColumn<Device>("reported");
        QTest::addColumn<bool>("wayland");
        QTest::addColumn<Qt::ScrollPhase>("phase");
        QTest::addColumn<QPoint>("pixelDelta");
        QTest::addColumn<Device>("believed");

        QTest::newRow("X11 touchpad")
            << Device::TouchPad << false << Qt::NoScrollPhase << QPoint() << Device::TouchPad;
        QTest::newRow("X11 mouse")
            << Device::Mouse << false << Qt::NoScrollPhase << QPoint() << Device::Mouse;
        QTest::newRow("X11 other")
            << Device::Other << false << Qt::NoScrollPhase << QPoint() << Device::Other;
        // Qt's Wayland client reports its one seat-wide device, a touchpad where the compositor
        // offers gestures, for wheels as well.
        QTest::newRow("Wayland wheel click on the seat's touchpad")
            << Device::TouchPad << true << Qt::NoScrollPhase << QPoint() << Device::Mouse;
        QTest::newRow("Wayland wheel click on a core pointer")
            << Device::Mouse << true << Qt::NoScrollPhase << QPoint() << Device::Mouse;
        QTest::newRow("Wayland stroke begins")
            << Device::TouchPad << true << Qt::ScrollBegin << QPoint() << Device::TouchPad;
        QTest::newRow("Wayland stroke")
            << Device::Mouse << true << Qt::ScrollUpdate << QPoint(-6, 0) << Device::TouchPad;
        QTest::newRow("Wayland continuous scrolling without a stop yet")
            << Device::TouchPad << true << Qt::NoScrollPhase << QPoint(4, 0) << Device::TouchPad;
    }
    void deviceOf()
    {
        QFETCH(Device, reported);
        QFETCH(bool, wayland);
        QFETCH(Qt::ScrollPhase, phase);
        QFETCH(QPoint, pixelDelta);
        QFETCH(Device, believed);
        QCOMPARE(SwipeRecognizer::deviceOf(reported, wayland, phase, pixelDelta), believed);
    }

    // Tilt-wheel clicks as Qt's Wayland client delivers them where the compositor offers
    // gestures: on the seat's touchpad device, no phases, no pixel deltas, 120 a click.
    void waylandWheelOnTheSeatsTouchpad()
    {
        SwipeRecognizer recognizer;
        for (Sample sample : xcbTouchpad(repeated(6, 60, {-120, 0}))) {
            QCOMPARE(sample.device, Device::TouchPad);
            sample.device =
                SwipeRecognizer::deviceOf(sample.device, true, sample.phase, sample.pixelDelta);
            QVERIFY(!recognizer.feed(sample));
        }
    }

    // Natural scrolling reports the opposite sense for the same fingers.
    void naturalScrolling()
    {
        SwipeRecognizer recognizer;
        std::optional<int> swipe;
        for (Sample sample : xcbTouchpad(briskSwipe(1))) {
            sample.inverted = true;
            if (const auto seen = recognizer.feed(sample))
                swipe = seen;
        }
        QCOMPARE(swipe, std::optional<int>(-1));
    }

    // A gesture cut off (the panel closed) starts again from nothing.
    void resetForgetsTheGesture()
    {
        SwipeRecognizer recognizer;
        const QList<Sample> first = xcbTouchpad(repeated(5, 8, {80, 0}));
        for (const Sample &sample : first)
            QVERIFY(!recognizer.feed(sample));
        recognizer.reset();
        const QList<Sample> rest = xcbTouchpad(repeated(3, 8, {80, 0}), first.last().time);
        for (const Sample &sample : rest)
            QVERIFY(!recognizer.feed(sample));
    }
};

QTEST_APPLESS_MAIN(TestSwipeRecognizer)
#include "tst_swiperecognizer.moc"
