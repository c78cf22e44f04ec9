#include "DesktopOverlay.h"

#include "platform/LayerShellOverlay.h"
#include "platform/X11DesktopOverlay.h"

#include <QWindow>

DesktopOverlay *DesktopOverlay::create(PanelShell::Kind kind, QObject *parent)
{
    switch (kind) {
    case PanelShell::Kind::LayerShell:
        return new LayerShellOverlay(parent);
    case PanelShell::Kind::XWayland:
        return new X11DesktopOverlay(X11DesktopOverlay::Server::XWayland, parent);
    case PanelShell::Kind::X11:
        break;
    }
    return new X11DesktopOverlay(X11DesktopOverlay::Server::X11, parent);
}

QPointF DesktopOverlay::mapToGlobal(const QWindow *window, QPointF local) const
{
    return window->mapToGlobal(local);
}

void DesktopOverlay::keepAbove(const QList<QWindow *> &) {}

void DesktopOverlay::watchPointer(bool, bool) {}
