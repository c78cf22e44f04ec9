#pragma once

#include "platform/GlobalShortcutBackend.h"

#include <QAbstractNativeEventFilter>

#include <functional>

struct xcb_connection_t;

// The system-wide shortcut as an X11 key grab on the root window. Works whatever NumLock,
// CapsLock and ScrollLock are; a key that another program has grabbed already is refused. On
// XWayland it only sees keys while an X11 window has the keyboard.
class HotKey : public GlobalShortcutBackend, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    explicit HotKey(std::function<void()> action = {}, QObject *parent = nullptr);
    ~HotKey() override;

    [[nodiscard]] QString name() const override;
    void bind(const Shortcut &shortcut) override;
    void unbind() override;

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
