#pragma once

#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

// Qt's X11 side of the application, or nullptr: on other platforms, and in a process with only a
// QCoreApplication, where qGuiApp would be a cast to a type the object does not have.
inline QNativeInterface::QX11Application *x11Application()
{
    auto *gui = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    return gui ? gui->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
}
