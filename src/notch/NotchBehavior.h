#pragma once

#include "notch/NotchModel.h"
#include "notch/SwipeRecognizer.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QTimer>

#include <optional>

class BoardStore;
class NotchDesktop;
class QKeyEvent;

// When the panel opens and closes: hover delays, clicks outside, Escape, the hot key, pinning,
// swipes and the panel geometry. Pure decisions over NotchModel; the windows are the desktop's.
class NotchBehavior : public QObject {
    Q_OBJECT

public:
    static constexpr int hoverOpenDelayMs = 100;
    static constexpr int closeDelayMs = 350;
    static constexpr qreal shadowPad = 40;
    static constexpr qreal sensorMargin = 12;
    static constexpr qreal pointerSlack = 12;

    struct Geometry {
        QSizeF notchSize;
        QRectF panel;    // the content window
        QRectF openArea; // where the pointer counts as inside the open panel
        QRectF sensor;   // the hover sensor over the notch
    };

    NotchBehavior(NotchModel *model, BoardStore *store, NotchDesktop *desktop,
                  QObject *parent = nullptr);

    // Measures the notch and places everything; again after every screen change.
    void layout();
    [[nodiscard]] const Geometry &geometry() const { return m_geometry; }
    enum class Position { Left, Centre, Right };
    [[nodiscard]] static Geometry geometryFor(const QRectF &screen, const QRectF &available,
                                              Position position = Position::Centre);
    // Where the notch goes: the user's choice, or beside what the desktop keeps at the top
    // centre (GNOME's clock), or the centre.
    [[nodiscard]] Position position() const;
    [[nodiscard]] bool pointerInPanel() const;
    [[nodiscard]] bool isWaitingForExit() const { return m_waitForExit; }

    void open(bool pin);
    void close();
    void toggleFromHotKey();
    void switchTab(std::optional<bool> forward);

    // Pointer over the sensor and over the open area.
    void sensorEntered();
    void sensorExited();
    void panelEntered();
    void panelExited();
    // Anywhere on the desktop.
    void buttonPressed();
    void buttonReleased();
    void pointerMoved();
    // The keyboard went to another window while the panel had it: on desktops that report no
    // clicks outside, that is what such a click looks like.
    void keyboardTakenAway();
    // A scroll over the open panel; a horizontal swipe on a touchpad switches tabs.
    void scrolled(const SwipeRecognizer::Sample &sample);
    // Keys that reach the open panel; true when the key was used here.
    bool keyPressed(const QKeyEvent &event);

private:
    [[nodiscard]] bool pointerInSensorColumn() const;
    void scheduleClose();
    void setExitWatch(bool on);

    NotchModel *m_model;
    QPointer<BoardStore> m_store;
    NotchDesktop *m_desktop;
    Geometry m_geometry;
    QTimer m_pendingOpen;
    QTimer m_pendingClose;
    // Closed while the pointer was on the notch: hovering must not reopen it until it has left.
    bool m_waitForExit = false;
    bool m_exitWatch = false;
    SwipeRecognizer m_swipe;
};
