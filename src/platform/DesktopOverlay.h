#pragma once

#include "platform/PanelShell.h"

#include <QList>
#include <QObject>
#include <QPointF>
#include <QRect>

class QWindow;

// What makes the panel's two windows part of the desktop rather than application windows: on
// every workspace, above ordinary windows, an input area of their own choosing, and the keyboard
// only when asked for. One implementation per way of reaching the screen (PanelShell); the
// controller sees only this.
class DesktopOverlay : public QObject {
    Q_OBJECT

public:
    enum class Role { Sensor, Panel };

    [[nodiscard]] static DesktopOverlay *create(PanelShell::Kind kind, QObject *parent = nullptr);

    // After window->create() and before its first show().
    virtual void prepare(QWindow *window, Role role) = 0;
    // `geometry` in global (screen) coordinates.
    virtual void place(QWindow *window, const QRect &geometry) = 0;
    // The part that takes the pointer, in the window's coordinates; empty lets everything
    // through.
    virtual void setInputArea(QWindow *window, const QRect &area) = 0;
    virtual void takeKeyboard(QWindow *window) = 0;
    // `byClick`: a click elsewhere is what ends it, and the clicked window gets the keyboard.
    virtual void releaseKeyboard(QWindow *window, bool byClick) = 0;
    // Where a point of one of our windows is on the screen.
    [[nodiscard]] virtual QPointF mapToGlobal(const QWindow *window, QPointF local) const;

    // Whether the pointer's position and clicks are known all over the desktop (plain X11), or
    // only over our own windows (Wayland and XWayland: there a click outside shows as the
    // keyboard going to another window, and leaving as our windows' own leave events).
    [[nodiscard]] virtual bool seesWholeDesktop() const = 0;
    // Whether the closed panel's window must shrink to the visible shape, because the
    // compositor sends it every click over its rectangle whatever its input area.
    [[nodiscard]] virtual bool shrinksWhenClosed() const { return false; }
    // Transparent pixels are transparent only with a compositing manager.
    [[nodiscard]] virtual bool isCompositing() const { return true; }

    // Bottom first; kept above ordinary windows by whatever means the desktop needs.
    virtual void keepAbove(const QList<QWindow *> &windows);
    // The opening panel shows above whatever came up meanwhile.
    virtual void raise() {}

    // Global clicks and motion, where the desktop reports them (seesWholeDesktop()).
    virtual void watchPointer(bool buttons, bool motion);
    [[nodiscard]] virtual bool anyButtonDown() const { return false; }

signals:
    void buttonPressed();
    void buttonReleased();
    void moved();

protected:
    using QObject::QObject;
};
