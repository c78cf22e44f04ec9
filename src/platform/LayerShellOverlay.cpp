#include "LayerShellOverlay.h"

#include "platform/ClickCatcher.h"
#include "platform/LayerSurface.h"
#include "platform/PlatformLog.h"

#include <QScreen>
#include <QWindow>

LayerShellOverlay::LayerShellOverlay(QObject *parent) : DesktopOverlay(parent)
{
    // Made before the panel's surfaces, so that it lies under them.
    m_clicks = new ClickCatcher(this);
    connect(m_clicks, &ClickCatcher::pressed, this, &DesktopOverlay::buttonPressed);
}

void LayerShellOverlay::prepare(QWindow *window, Role role)
{
    Placed &placed = m_windows[window];
    placed.surface = new LayerSurface(
        window, role == Role::Panel ? "tallowfern-panel" : "tallowfern-sensor", this);
    if (!placed.surface->isValid())
        qCWarning(lcPlatform, "the panel could not become a layer surface");
    // The panel takes the pointer only while open; the sensor always, all of it.
    if (role == Role::Panel)
        placed.surface->setInputRegion(QRect());
}

void LayerShellOverlay::place(QWindow *window, const QRect &geometry)
{
    Placed &placed = m_windows[window];
    placed.geometry = geometry;
    window->setGeometry(geometry);
    if (placed.surface) {
        placed.surface->setSize(geometry.size());
        const QScreen *screen = window->screen();
        placed.surface->setLeft(geometry.left() - (screen ? screen->geometry().left() : 0));
    }
}

void LayerShellOverlay::setInputArea(QWindow *window, const QRect &area)
{
    Placed &placed = m_windows[window];
    placed.inputArea = area;
    if (placed.surface)
        placed.surface->setInputRegion(area);
}

void LayerShellOverlay::takeKeyboard(QWindow *window)
{
    window->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    LayerSurface *surface = m_windows.value(window).surface;
    if (!surface)
        return;
    // Asked for exclusively: some compositors give it on demand only after a click on the
    // surface (KWin), and some take it away again from a surface that switches to on demand
    // (sway 1.10). Clicks beside the panel are caught below it instead.
    surface->setKeyboard(LayerSurface::Keyboard::Exclusive);
    // While the panel holds the keyboard a click beside it must close it, and only a surface of
    // ours can see one.
    const Placed &placed = m_windows.value(window);
    const QPoint outputOrigin =
        window->screen() ? window->screen()->geometry().topLeft() : QPoint();
    m_clicks->catchAround(placed.inputArea.translated(placed.geometry.topLeft() - outputOrigin));
}

void LayerShellOverlay::releaseKeyboard(QWindow *window, bool)
{
    window->setFlag(Qt::WindowDoesNotAcceptFocus, true);
    m_clicks->stop();
    // The compositor hands the keyboard back to the window that had it, or to the one clicked.
    if (LayerSurface *surface = m_windows.value(window).surface)
        surface->setKeyboard(LayerSurface::Keyboard::None);
}

QPointF LayerShellOverlay::mapToGlobal(const QWindow *window, QPointF local) const
{
    // A layer surface's place is the compositor's; it is where we asked for it to be.
    const auto placed = m_windows.constFind(window);
    if (placed == m_windows.cend())
        return DesktopOverlay::mapToGlobal(window, local);
    return QPointF(placed->geometry.topLeft()) + local;
}
