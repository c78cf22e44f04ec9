#pragma once

#include "notch/Shortcut.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <functional>

struct xcb_connection_t;

// The one system-wide shortcut of the program: an X11 key grab on the root window. Works
// whatever NumLock, CapsLock and ScrollLock are; a key that another program has grabbed already
// leaves it silently inactive.
class HotKey : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    explicit HotKey(std::function<void()> action, QObject *parent = nullptr);
    ~HotKey() override;

    // Replaces the grabbed key; false when the key could not be grabbed.
    bool registerShortcut(const Shortcut &shortcut);
    void unregister();
    [[nodiscard]] bool isRegistered() const { return m_keycode != 0; }

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    [[nodiscard]] QList<quint16> lockCombinations() const;

    std::function<void()> m_action;
    xcb_connection_t *m_connection = nullptr;
    quint32 m_root = 0;
    quint8 m_keycode = 0;
    quint16 m_modifiers = 0;
    // Held keys repeat; one press is one toggle.
    bool m_down = false;
};
