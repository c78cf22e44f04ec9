#pragma once

#include "platform/DesktopOverlay.h"

class PointerMonitor;
class StackKeeper;

// X11 windows that no window manager handles, on an X server of its own or through XWayland.
// Through XWayland the compositor neither honours their input shape nor tells the X server
// about the pointer over native windows, and a focus hand-back to another X window is taken as
// a request for attention.
class X11DesktopOverlay : public DesktopOverlay {
    Q_OBJECT

public:
    enum class Server { X11, XWayland };

    explicit X11DesktopOverlay(Server server, QObject *parent = nullptr);

    void prepare(QWindow *window, Role role) override;
    void place(QWindow *window, const QRect &geometry) override;
    void setInputArea(QWindow *window, const QRect &area) override;
    void takeKeyboard(QWindow *window) override;
    void releaseKeyboard(QWindow *window, bool byClick) override;
    [[nodiscard]] bool seesWholeDesktop() const override { return m_server == Server::X11; }
    [[nodiscard]] bool shrinksWhenClosed() const override { return m_server == Server::XWayland; }
    [[nodiscard]] bool isCompositing() const override;
    void keepAbove(const QList<QWindow *> &windows) override;
    void raise() override;
    void watchPointer(bool buttons, bool motion) override;
    [[nodiscard]] bool anyButtonDown() const override;

private:
    Server m_server;
    PointerMonitor *m_pointer = nullptr;
    StackKeeper *m_stack = nullptr;
    // The keyboard was taken for the panel, and who had it before.
    bool m_hasKeyboard = false;
    quint32 m_previousFocus = 0;
};
