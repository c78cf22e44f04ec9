#include "X11DesktopOverlay.h"

#include "platform/PointerMonitor.h"
#include "platform/StackKeeper.h"
#include "platform/X11Overlay.h"

#include <QWindow>

X11DesktopOverlay::X11DesktopOverlay(Server server, QObject *parent)
    : DesktopOverlay(parent), m_server(server)
{
    m_pointer = new PointerMonitor(this);
    connect(m_pointer, &PointerMonitor::buttonPressed, this, &DesktopOverlay::buttonPressed);
    connect(m_pointer, &PointerMonitor::buttonReleased, this, &DesktopOverlay::buttonReleased);
    connect(m_pointer, &PointerMonitor::moved, this, &DesktopOverlay::moved);
}

void X11DesktopOverlay::prepare(QWindow *window, Role)
{
    X11Overlay::prepare(window);
}

void X11DesktopOverlay::place(QWindow *window, const QRect &geometry)
{
    window->setGeometry(geometry);
}

void X11DesktopOverlay::setInputArea(QWindow *window, const QRect &area)
{
    X11Overlay::setInputArea(window, area);
}

void X11DesktopOverlay::takeKeyboard(QWindow *window)
{
    if (m_hasKeyboard)
        return;
    m_hasKeyboard = true;
    m_previousFocus = X11Overlay::focusedWindow();
    if (m_previousFocus == quint32(window->winId()))
        m_previousFocus = 0;
    window->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    window->requestActivate();
    // Qt stamps its focus request with the last event it saw; asked from the bus or the hot key
    // that may be older than the last focus change, and the server would ignore it.
    X11Overlay::takeFocus(window);
}

void X11DesktopOverlay::releaseKeyboard(QWindow *window, bool byClick)
{
    window->setFlag(Qt::WindowDoesNotAcceptFocus, true);
    if (!m_hasKeyboard)
        return;
    m_hasKeyboard = false;
    const quint32 previous = m_previousFocus;
    m_previousFocus = 0;
    if (m_server == Server::XWayland) {
        // The compositor gives the keyboard to whatever was clicked; after Escape or the hot key
        // the X focus goes back without asking the compositor to activate anything, which some
        // take as a window wanting attention.
        if (!byClick)
            X11Overlay::setInputFocus(previous);
        return;
    }
    // The window manager focuses whatever the click went to; without one, or after Escape or
    // the hot key, the keyboard goes back to where it was.
    if (!(byClick && X11Overlay::hasWindowManager()))
        X11Overlay::focusWindow(previous);
}

bool X11DesktopOverlay::isCompositing() const
{
    return X11Overlay::isCompositing();
}

void X11DesktopOverlay::keepAbove(const QList<QWindow *> &windows)
{
    // No window manager keeps unmanaged windows on top: we do.
    if (!m_stack)
        m_stack = new StackKeeper(this);
    m_stack->keepAbove(windows);
}

void X11DesktopOverlay::raise()
{
    if (m_stack)
        m_stack->raise();
}

void X11DesktopOverlay::watchPointer(bool buttons, bool motion)
{
    // Through XWayland raw events come only while the pointer is over X windows; clicks on
    // those still count as clicks outside.
    m_pointer->watch(buttons, motion && m_server == Server::X11);
}

bool X11DesktopOverlay::anyButtonDown() const
{
    return m_pointer->anyButtonDown();
}
