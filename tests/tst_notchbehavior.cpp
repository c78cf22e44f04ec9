#include "notch/NotchBehavior.h"
#include "notch/NotchDesktop.h"
#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QElapsedTimer>
#include <QKeyEvent>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

class FakeDesktop final : public NotchDesktop {
public:
    // nullopt: the pointer is somewhere outside our windows, as Wayland reports it.
    std::optional<QPointF> pointer = QPointF(2000, 900);
    bool buttonDown = false;
    QRectF screen{0, 0, 1920, 1080};
    QRectF available{0, 27, 1920, 1053};
    bool interactive = false;
    bool focused = false;
    bool exitWatch = false;

    [[nodiscard]] std::optional<QPointF> pointerPosition() const override { return pointer; }
    [[nodiscard]] bool anyMouseButtonDown() const override { return buttonDown; }
    [[nodiscard]] QRectF screenGeometry() const override { return screen; }
    [[nodiscard]] QRectF availableGeometry() const override { return available; }
    void setPanelInteractive(bool on, bool focus) override
    {
        interactive = on;
        focused = focus;
    }
    void setExitWatch(bool on) override { exitWatch = on; }
};

// X11 keycodes of a US keyboard: the stored numbering is mapped from these.
constexpr quint32 x11Escape = 9;
constexpr quint32 x11Tab = 23;
constexpr quint32 x11K = 45;
constexpr quint32 x11J = 44;
constexpr quint32 x11ControlL = 37;

QKeyEvent key(int qtKey, Qt::KeyboardModifiers modifiers, quint32 nativeCode)
{
    return QKeyEvent(QEvent::KeyPress, qtKey, modifiers, nativeCode, 0, 0);
}

} // namespace

class TestNotchBehavior : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;
    std::unique_ptr<NotchModel> m_model;
    std::unique_ptr<FakeDesktop> m_desktop;
    std::unique_ptr<NotchBehavior> m_behavior;

    QPointF inPanel() const { return {960, 200}; }
    QPointF onNotch() const { return {960, 10}; }
    QPointF outside() const { return {1800, 900}; }

    void openByHover()
    {
        m_desktop->pointer = onNotch();
        m_behavior->sensorEntered();
        QTRY_VERIFY_WITH_TIMEOUT(m_model->isOpen(), 1000);
        m_behavior->sensorExited();
        m_desktop->pointer = inPanel();
        m_behavior->panelEntered();
    }

private slots:
    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        m_store->setGreeting(std::nullopt);
        m_model = std::make_unique<NotchModel>();
        m_desktop = std::make_unique<FakeDesktop>();
        m_behavior = std::make_unique<NotchBehavior>(m_model.get(), m_store.get(), m_desktop.get());
    }
    void cleanup()
    {
        m_behavior.reset();
        m_model.reset();
        m_store.reset();
    }

    void geometryWithoutNotch_data()
    {
        QTest::addColumn<QRectF>("screen");
        QTest::addColumn<QRectF>("available");
        QTest::addColumn<QSizeF>("notch");
        QTest::newRow("top panel 27")
            << QRectF(0, 0, 1920, 1080) << QRectF(0, 27, 1920, 1053) << QSizeF(190, 27);
        QTest::newRow("no top panel")
            << QRectF(0, 0, 1920, 1080) << QRectF(0, 0, 1920, 1040) << QSizeF(190, 24);
        QTest::newRow("second screen")
            << QRectF(1920, 0, 1280, 800) << QRectF(1920, 32, 1280, 768) << QSizeF(190, 32);
    }
    void geometryWithoutNotch()
    {
        QFETCH(QRectF, screen);
        QFETCH(QRectF, available);
        QFETCH(QSizeF, notch);
        m_desktop->screen = screen;
        m_desktop->available = available;
        m_behavior->layout();
        const NotchBehavior::Geometry &g = m_behavior->geometry();
        QCOMPARE(g.notchSize, notch);
        QCOMPARE(m_model->notchSize(), notch);
        QCOMPARE(g.panel.size(), QSizeF(860, 420));
        QCOMPARE(g.panel.center().x(), screen.center().x());
        QCOMPARE(g.panel.top(), screen.top());
        QCOMPARE(g.sensor.size(), QSizeF(notch.width() + 24, notch.height()));
        QCOMPARE(g.sensor.center().x(), screen.center().x());
        QCOMPARE(g.sensor.top(), screen.top());
        // The open area grown by 12, clipped to the screen at the top.
        QCOMPARE(g.openArea, QRectF(screen.center().x() - 402, screen.top(), 804, 392));
    }

    void notchPosition_data()
    {
        QTest::addColumn<QRectF>("screen");
        QTest::addColumn<NotchBehavior::Position>("position");
        QTest::addColumn<qreal>("centre");
        const QRectF wide(0, 0, 1920, 1080);
        QTest::newRow("centre") << wide << NotchBehavior::Position::Centre << 960.0;
        QTest::newRow("left quarter") << wide << NotchBehavior::Position::Left << 480.0;
        QTest::newRow("right quarter") << wide << NotchBehavior::Position::Right << 1440.0;
        QTest::newRow("second screen left")
            << QRectF(1920, 0, 2560, 1440) << NotchBehavior::Position::Left << 2560.0;
        // A quarter in would push the open panel off a narrow screen: it stops at the edge.
        QTest::newRow("narrow left")
            << QRectF(0, 0, 1280, 800) << NotchBehavior::Position::Left << 390.0;
        QTest::newRow("narrow right")
            << QRectF(0, 0, 1280, 800) << NotchBehavior::Position::Right << 890.0;
    }

    void notchPosition()
    {
        QFETCH(QRectF, screen);
        QFETCH(NotchBehavior::Position, position);
        QFETCH(qreal, centre);
        const NotchBehavior::Geometry g =
            NotchBehavior::geometryFor(screen, screen.adjusted(0, 27, 0, 0), position);
        QCOMPARE(g.sensor.center().x(), centre);
        QCOMPARE(g.panel.center().x(), centre);
        // The open panel itself stays on the screen.
        const qreal half = NotchModel::openSize.width() / 2;
        QVERIFY(centre - half >= screen.left());
        QVERIFY(centre + half <= screen.right());
    }

    void automaticPositionFollowsTheDesktop_data()
    {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<BoardStore::NotchPosition>("chosen");
        QTest::addColumn<qreal>("centre");
        QTest::newRow("GNOME keeps its clock")
            << QByteArray("GNOME") << BoardStore::NotchPosition::Automatic << 480.0;
        QTest::newRow("Ubuntu's GNOME")
            << QByteArray("ubuntu:GNOME") << BoardStore::NotchPosition::Automatic << 480.0;
        QTest::newRow("Plasma") << QByteArray("KDE") << BoardStore::NotchPosition::Automatic
                                << 960.0;
        QTest::newRow("sway") << QByteArray("sway") << BoardStore::NotchPosition::Automatic
                              << 960.0;
        QTest::newRow("GNOME, centre chosen")
            << QByteArray("GNOME") << BoardStore::NotchPosition::Centre << 960.0;
        QTest::newRow("Plasma, right chosen")
            << QByteArray("KDE") << BoardStore::NotchPosition::Right << 1440.0;
    }

    void automaticPositionFollowsTheDesktop()
    {
        QFETCH(QByteArray, desktop);
        QFETCH(BoardStore::NotchPosition, chosen);
        QFETCH(qreal, centre);
        const QByteArray saved = qgetenv("XDG_CURRENT_DESKTOP");
        qputenv("XDG_CURRENT_DESKTOP", desktop);
        m_store->setNotchPosition(chosen);
        m_desktop->screen = QRectF(0, 0, 1920, 1080);
        m_desktop->available = QRectF(0, 27, 1920, 1053);
        m_behavior->layout();
        qputenv("XDG_CURRENT_DESKTOP", saved);
        m_store->setNotchPosition(BoardStore::NotchPosition::Automatic);
        QCOMPARE(m_behavior->geometry().sensor.center().x(), centre);
    }

    // Gone again before the open delay: the pending open is dropped. (Leaving at once rather than
    // after a sleep: on a busy machine a short sleep can outlast the delay.)
    void brushOpensNothing()
    {
        m_desktop->pointer = onNotch();
        m_behavior->sensorEntered();
        QVERIFY(!m_model->isOpen());
        m_behavior->sensorExited();
        QTest::qWait(NotchBehavior::hoverOpenDelayMs + 150);
        QVERIFY(!m_model->isOpen());
    }

    void hoverOpensUnpinned()
    {
        QElapsedTimer elapsed;
        elapsed.start();
        m_desktop->pointer = onNotch();
        m_behavior->sensorEntered();
        QVERIFY(!m_model->isOpen());
        QTRY_VERIFY_WITH_TIMEOUT(m_model->isOpen(), 1000);
        // Never sooner than the delay (a coarse timer may fire up to 5% early).
        QVERIFY(elapsed.elapsed() >= NotchBehavior::hoverOpenDelayMs * 9 / 10);
        QVERIFY(!m_model->isPinned());
        QVERIFY(m_desktop->interactive);
        QVERIFY(!m_desktop->focused); // a hover never takes the keyboard
    }

    void leavingClosesAfterDelay()
    {
        openByHover();
        QElapsedTimer elapsed;
        elapsed.start();
        m_desktop->pointer = outside();
        m_behavior->panelExited();
        QVERIFY(m_model->isOpen());
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->isOpen(), 1000);
        QVERIFY(elapsed.elapsed() >= NotchBehavior::closeDelayMs * 9 / 10);
        QVERIFY(!m_desktop->interactive);
        QVERIFY(!m_behavior->isWaitingForExit());
    }

    void closeDelayExceptions_data()
    {
        QTest::addColumn<int>("exception");
        QTest::newRow("pointer came back") << 0;
        QTest::newRow("button held") << 1;
        QTest::newRow("pinned") << 2;
        QTest::newRow("editing") << 3;
    }
    void closeDelayExceptions()
    {
        QFETCH(int, exception);
        openByHover();
        m_desktop->pointer = outside();
        m_behavior->panelExited();
        switch (exception) {
        case 0:
            m_desktop->pointer = inPanel();
            break;
        case 1:
            m_desktop->buttonDown = true;
            break;
        case 2:
            m_model->setPinned(true);
            break;
        case 3:
            m_model->setEditing(true);
            break;
        }
        QTest::qWait(600);
        QVERIFY(m_model->isOpen());
    }

    void comingBackCancelsClose()
    {
        openByHover();
        m_desktop->pointer = outside();
        m_behavior->panelExited();
        // Back before the close delay is up.
        QVERIFY(m_model->isOpen());
        m_desktop->pointer = inPanel();
        m_behavior->panelEntered();
        m_desktop->pointer = outside(); // even if it leaves again without an event
        QTest::qWait(600);
        QVERIFY(m_model->isOpen());
    }

    void clickOutsideClosesAtOnce()
    {
        m_behavior->open(true);
        m_desktop->pointer = inPanel();
        m_behavior->buttonPressed();
        QVERIFY(m_model->isOpen());
        // Just inside the 12-point slack still counts as the panel.
        m_desktop->pointer = QPointF(960 + 390 + 11, 100);
        m_behavior->buttonPressed();
        QVERIFY(m_model->isOpen());
        m_desktop->pointer = outside();
        m_behavior->buttonPressed();
        QVERIFY(!m_model->isOpen());
        QVERIFY(!m_model->isPinned());
    }

    void releaseOutsideClosesAfterDelay()
    {
        openByHover();
        m_desktop->pointer = outside();
        m_behavior->buttonReleased();
        QVERIFY(m_model->isOpen());
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->isOpen(), 1000);
    }

    void escapeOverNotchWaitsForExit()
    {
        m_behavior->open(true);
        m_desktop->pointer = onNotch();
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_Escape, Qt::NoModifier, x11Escape)));
        QTRY_VERIFY(!m_model->isOpen());
        QVERIFY(m_behavior->isWaitingForExit());
        QVERIFY(m_desktop->exitWatch);
        m_behavior->sensorEntered();
        QTest::qWait(250);
        QVERIFY(!m_model->isOpen());
        // Moving within the notch column keeps waiting; leaving it ends the wait.
        m_desktop->pointer = QPointF(960, 20);
        m_behavior->pointerMoved();
        QVERIFY(m_behavior->isWaitingForExit());
        m_desktop->pointer = QPointF(960, 300);
        m_behavior->pointerMoved();
        QVERIFY(!m_behavior->isWaitingForExit());
        QVERIFY(!m_desktop->exitWatch);
        m_desktop->pointer = onNotch();
        m_behavior->sensorEntered();
        QTRY_VERIFY_WITH_TIMEOUT(m_model->isOpen(), 1000);
    }

    // A context menu over the panel is modal: the first Escape takes it away, the next one the
    // panel; the panel closing takes the menu along.
    void escapeClosesTheMenuFirst()
    {
        m_behavior->open(true);
        m_model->setMenuOpen(true);
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_Escape, Qt::NoModifier, x11Escape)));
        QVERIFY(!m_model->menuOpen());
        QCoreApplication::processEvents();
        QVERIFY(m_model->isOpen());
        QVERIFY(m_model->isPinned());
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_Escape, Qt::NoModifier, x11Escape)));
        QTRY_VERIFY(!m_model->isOpen());

        m_behavior->open(true);
        m_model->setMenuOpen(true);
        m_behavior->close();
        QVERIFY(!m_model->menuOpen());
    }

    // Where the desktop reports the pointer only over our own windows.
    void leavingForAnUnknownPlaceCloses()
    {
        openByHover();
        m_desktop->pointer = std::nullopt;
        m_behavior->panelExited();
        QVERIFY(m_model->isOpen());
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->isOpen(), 1000);
        QVERIFY(!m_behavior->isWaitingForExit());
    }

    void closingWithThePointerElsewhereDoesNotWait()
    {
        m_behavior->open(true);
        m_desktop->pointer = std::nullopt;
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_Escape, Qt::NoModifier, x11Escape)));
        QTRY_VERIFY(!m_model->isOpen());
        QVERIFY(!m_behavior->isWaitingForExit());
        m_desktop->pointer = onNotch();
        m_behavior->sensorEntered();
        QTRY_VERIFY_WITH_TIMEOUT(m_model->isOpen(), 1000);
    }

    void pointerLeavingOurWindowsEndsTheWait()
    {
        m_behavior->open(true);
        m_desktop->pointer = onNotch();
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_Escape, Qt::NoModifier, x11Escape)));
        QTRY_VERIFY(!m_model->isOpen());
        QVERIFY(m_behavior->isWaitingForExit());
        m_desktop->pointer = std::nullopt;
        m_behavior->pointerMoved();
        QVERIFY(!m_behavior->isWaitingForExit());
    }

    void keyboardTakenAway_data()
    {
        QTest::addColumn<bool>("pinned");
        QTest::addColumn<bool>("editing");
        QTest::newRow("pinned") << true << false;
        QTest::newRow("typing after a hover") << false << true;
    }
    void keyboardTakenAway()
    {
        QFETCH(bool, pinned);
        QFETCH(bool, editing);
        if (pinned) {
            m_behavior->open(true);
        } else {
            openByHover();
            m_model->setEditing(editing);
        }
        m_desktop->pointer = std::nullopt;
        m_behavior->keyboardTakenAway();
        QVERIFY(!m_model->isOpen());
        QVERIFY(!m_model->isPinned());
        QVERIFY(!m_model->isEditing());
        QVERIFY(!m_desktop->interactive);
        // Closed, it changes nothing.
        m_behavior->keyboardTakenAway();
        QVERIFY(!m_model->isOpen());
    }

    void escapeWhileClosedPassesOn()
    {
        QVERIFY(!m_behavior->keyPressed(key(Qt::Key_Escape, Qt::NoModifier, x11Escape)));
    }

    void hotKeyPinsThenCloses()
    {
        openByHover();
        QCOMPARE(m_model->focusAddRequest(), 0);
        m_behavior->toggleFromHotKey();
        QVERIFY(m_model->isOpen());
        QVERIFY(m_model->isPinned());
        QVERIFY(m_desktop->focused);
        QCOMPARE(m_model->focusAddRequest(), 1);
        m_behavior->toggleFromHotKey();
        QVERIFY(!m_model->isOpen());
        QCOMPARE(m_model->focusAddRequest(), 1);
        m_behavior->toggleFromHotKey();
        QVERIFY(m_model->isOpen() && m_model->isPinned());
        QCOMPARE(m_model->focusAddRequest(), 2);
    }

    void closeResetsStateButKeepsTab()
    {
        Scratch::write(m_scratch->boards() + u"/2025-03-01.md"_qs, "## To do\n- [ ] old\n");
        m_behavior->open(true);
        m_model->setTab(NotchModel::Tab::Notes);
        m_model->setEditing(true);
        m_model->setShowCalendar(true);
        m_store->view(u"2025-03-01"_qs);
        m_store->saveQuickNote(u"typed just now"_qs);
        m_behavior->close();
        QVERIFY(!m_model->isOpen());
        QVERIFY(!m_model->isPinned());
        QVERIFY(!m_model->isEditing());
        QVERIFY(!m_model->showCalendar());
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
        QVERIFY(!m_store->isViewingPast());
        QCOMPARE(Scratch::read(m_scratch->notes() + u"/2025-03-07.md"_qs),
                 QByteArray("typed just now\n"));
    }

    // Phased gestures, as Wayland compositors report touchpads; the recognizer's own cases are
    // in tst_swiperecognizer.
    static SwipeRecognizer::Sample phased(QPoint pixels, Qt::ScrollPhase phase, qint64 time,
                                          bool inverted = false)
    {
        SwipeRecognizer::Sample sample;
        sample.time = time;
        sample.device = SwipeRecognizer::Device::TouchPad;
        sample.pixelDelta = pixels;
        sample.angleDelta = pixels * 8;
        sample.phase = phase;
        sample.inverted = inverted;
        return sample;
    }

    void swipes()
    {
        m_behavior->open(true);
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        m_behavior->scrolled(phased({25, 0}, Qt::ScrollBegin, 0));
        m_behavior->scrolled(phased({25, 2}, Qt::ScrollUpdate, 10));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        m_behavior->scrolled(phased({25, 0}, Qt::ScrollUpdate, 20));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
        // Once per gesture.
        m_behavior->scrolled(phased({-200, 0}, Qt::ScrollUpdate, 30));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
        m_behavior->scrolled(phased({0, 0}, Qt::ScrollEnd, 40));
        // Natural scrolling reverses the sense.
        m_behavior->scrolled(phased({70, 0}, Qt::ScrollBegin, 500, true));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
    }

    void swipesThatDoNothing()
    {
        m_behavior->open(true);
        m_behavior->scrolled(phased({30, 25}, Qt::ScrollBegin, 0)); // diagonal
        m_behavior->scrolled(phased({30, 40}, Qt::ScrollUpdate, 10));
        m_behavior->scrolled(phased({0, 0}, Qt::ScrollEnd, 20));
        m_behavior->scrolled(phased({100, 0}, Qt::ScrollMomentum, 30));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        m_store->setSwipeToSwitch(false);
        m_behavior->scrolled(phased({100, 0}, Qt::ScrollBegin, 500));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        m_store->setSwipeToSwitch(true);
        m_behavior->close();
        m_behavior->scrolled(phased({100, 0}, Qt::ScrollBegin, 1000));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
    }

    void switchTabRules()
    {
        m_behavior->switchTab(std::nullopt);
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
        m_behavior->switchTab(std::nullopt);
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        m_model->setTab(NotchModel::Tab::Settings);
        m_behavior->switchTab(std::nullopt);
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        QSignalSpy changed(m_model.get(), &NotchModel::tabChanged);
        m_behavior->switchTab(false);
        QCOMPARE(changed.count(), 0);
    }

    void switchTabShortcut()
    {
        const QKeyEvent ctrlTab = key(Qt::Key_Tab, Qt::ControlModifier, x11Tab);
        QVERIFY(!m_behavior->keyPressed(ctrlTab)); // closed: not for us
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        m_behavior->open(true);
        QVERIFY(m_behavior->keyPressed(ctrlTab));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
        QVERIFY(!m_behavior->keyPressed(
            key(Qt::Key_Tab, Qt::ControlModifier | Qt::ShiftModifier, x11Tab)));
    }

    void recording()
    {
        const Shortcut before = m_store->openShortcut();
        m_model->setRecording(NotchModel::ShortcutTarget::Open);
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_Escape, Qt::NoModifier, x11Escape)));
        QVERIFY(!m_model->recording());
        QCOMPARE(m_store->openShortcut(), before);

        m_model->setRecording(NotchModel::ShortcutTarget::Open);
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_K, Qt::ShiftModifier, x11K)));
        QVERIFY(!m_model->recording());
        QCOMPARE(m_store->openShortcut(), before);

        m_model->setRecording(NotchModel::ShortcutTarget::Open);
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_Control, Qt::ControlModifier, x11ControlL)));
        QVERIFY(m_model->recording()); // still waiting for the real key
        QVERIFY(
            m_behavior->keyPressed(key(Qt::Key_K, Qt::ControlModifier | Qt::AltModifier, x11K)));
        QVERIFY(!m_model->recording());
        QCOMPARE(m_store->openShortcut(), Shortcut(40, Shortcut::Control | Shortcut::Option));

        // While recording, the switch-tab shortcut is recorded, not used.
        m_behavior->open(true);
        m_model->setRecording(NotchModel::ShortcutTarget::SwitchTab);
        QVERIFY(m_behavior->keyPressed(key(Qt::Key_J, Qt::MetaModifier, x11J)));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        QCOMPARE(m_store->switchTabShortcut(), Shortcut(38, Shortcut::Command));
    }

    void greetingOpensPinned()
    {
        m_store->setGreeting(Greeting(2, u"2025-03-06"_qs));
        QVERIFY(m_model->isOpen());
        QVERIFY(m_model->isPinned());
    }

    void greetingRaisedBeforeTheBehaviorOpensOnceTheLoopRuns()
    {
        // A new day's board made while the store was being built, before the panel existed.
        m_behavior.reset();
        m_model = std::make_unique<NotchModel>();
        m_store->setGreeting(Greeting(1, u"2025-03-06"_qs));
        m_behavior = std::make_unique<NotchBehavior>(m_model.get(), m_store.get(), m_desktop.get());
        QVERIFY(!m_model->isOpen());
        QTRY_VERIFY(m_model->isOpen());
        QVERIFY(m_model->isPinned());
    }

    void noGreetingAtStartOpensNothing()
    {
        QTest::qWait(50);
        QVERIFY(!m_model->isOpen());
    }

    void callbacksAfterBehaviorIsGone()
    {
        m_behavior.reset();
        m_model->requestOpen(true);
        m_model->requestClose();
        QVERIFY(!m_model->isOpen());
    }

    void requestsReachBehavior()
    {
        m_model->requestOpen(false);
        QVERIFY(m_model->isOpen());
        m_model->requestClose();
        QVERIFY(!m_model->isOpen());
    }
};

QTEST_GUILESS_MAIN(TestNotchBehavior)
#include "tst_notchbehavior.moc"
