#pragma once

#include <QObject>

#include <xcb/xcb.h>

#include <functional>

// A connection to the X server of our own, whose events reach `handler` from the event loop:
// for watching the whole desktop without mixing our selections into Qt's connection. Null
// connection away from X11.
class XcbEventSource : public QObject {
    Q_OBJECT

public:
    explicit XcbEventSource(std::function<void(const xcb_generic_event_t &)> handler,
                            QObject *parent = nullptr);
    ~XcbEventSource() override;

    [[nodiscard]] xcb_connection_t *connection() const { return m_connection; }
    [[nodiscard]] quint32 root() const { return m_root; }

private:
    void drain(bool readSocket);

    std::function<void(const xcb_generic_event_t &)> m_handler;
    xcb_connection_t *m_connection = nullptr;
    quint32 m_root = 0;
};
