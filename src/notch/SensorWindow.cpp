#include "SensorWindow.h"

#include <QPainter>

SensorWindow::SensorWindow(QWindow *parent) : QRasterWindow(parent)
{
    setTitle(u"Tallowfern Sensor"_qs);
    // Unmanaged like the panel, so that no window manager frames, moves or focuses it.
    setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
             Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint);
    QSurfaceFormat format = this->format();
    format.setAlphaBufferSize(8);
    setFormat(format);
}

bool SensorWindow::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::Enter:
        emit entered();
        break;
    case QEvent::Leave:
        emit exited();
        break;
    default:
        break;
    }
    return QRasterWindow::event(event);
}

void SensorWindow::paintEvent(QPaintEvent *)
{
    // Black at 1 %: invisible over the notch, but some desktops hand the pointer only to
    // windows that draw something.
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(), size()), QColor(0, 0, 0, 3));
}
