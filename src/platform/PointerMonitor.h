#pragma once

#include <QObject>

#include <xcb/xcb.h>

class XcbEventSource;

// Mouse buttons and motion anywhere on the desktop, also over other programs' windows: XInput2
// raw events on the root window, read from a connection of our own. Nothing is selected until
// asked for, so an idle program is never woken by the pointer.
class PointerMonitor : public QObject {
    Q_OBJECT

public:
    explicit PointerMonitor(QObject *parent = nullptr);

    // False without an X server that speaks XInput 2.2.
    [[nodiscard]] bool isAvailable() const { return m_opcode != 0; }
    void watch(bool buttons, bool motion);
    [[nodiscard]] bool isWatchingButtons() const { return m_buttons; }
    [[nodiscard]] bool isWatchingMotion() const { return m_motion; }
    // Whether any mouse button is held right now, wherever the pointer is.
    [[nodiscard]] bool anyButtonDown() const;

signals:
    void buttonPressed();
    void buttonReleased();
    void moved();

private:
    void handle(const xcb_generic_event_t &event);

    XcbEventSource *m_source = nullptr;
    quint8 m_opcode = 0;
    bool m_buttons = false;
    bool m_motion = false;
};
