#include "ScreenDesktop.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

QPointF ScreenDesktop::pointerPosition() const
{
    return QCursor::pos();
}

bool ScreenDesktop::anyMouseButtonDown() const
{
    return QGuiApplication::mouseButtons() != Qt::NoButton;
}

QRectF ScreenDesktop::screenGeometry() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? QRectF(screen->geometry()) : QRectF(0, 0, 1280, 800);
}

QRectF ScreenDesktop::availableGeometry() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? QRectF(screen->availableGeometry()) : screenGeometry();
}

void ScreenDesktop::setPanelInteractive(bool, bool) {}

void ScreenDesktop::setExitWatch(bool) {}
