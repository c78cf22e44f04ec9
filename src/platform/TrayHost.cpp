#include "TrayHost.h"

#include "platform/PlatformLog.h"
#include "platform/X11Application.h"
#include "platform/XcbReply.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

namespace {

const QString watcherService = u"org.kde.StatusNotifierWatcher"_qs;
const QString watcherPath = u"/StatusNotifierWatcher"_qs;

} // namespace

TrayHost::TrayHost(QObject *parent) : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    auto *services = new QDBusServiceWatcher(watcherService, bus,
                                             QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(services, &QDBusServiceWatcher::serviceOwnerChanged, this, &TrayHost::refresh);
    // From any sender: naming the watcher's service here would make QtDBus cache that name's
    // owner, and Qt's own tray check, made right after a host appears, could then read the cache
    // before the D-Bus thread has updated it and settle on "no tray" for good.
    for (const char *signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
        bus.connect(QString(), watcherPath, watcherService, QString::fromLatin1(signal), this,
                    SLOT(refresh()));
    m_present = statusNotifierHost() || xembedTray();
}

void TrayHost::refresh()
{
    const bool present = statusNotifierHost() || xembedTray();
    if (present == m_present)
        return;
    m_present = present;
    qCDebug(lcPlatform, present ? "a tray host appeared" : "the tray host went away");
    emit presentChanged();
}

bool TrayHost::statusNotifierHost()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface() ||
        !bus.interface()->isServiceRegistered(watcherService).value())
        return false;
    QDBusMessage get = QDBusMessage::createMethodCall(
        watcherService, watcherPath, u"org.freedesktop.DBus.Properties"_qs, u"Get"_qs);
    get << watcherService << u"IsStatusNotifierHostRegistered"_qs;
    get.setAutoStartService(false);
    // The watcher lives in the desktop's panel and answers at once; a hung one is no tray.
    const QDBusMessage reply = bus.call(get, QDBus::Block, 1000);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
           reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

bool TrayHost::xembedTray()
{
    auto *x11 = x11Application();
    xcb_connection_t *c = x11 ? x11->connection() : nullptr;
    if (!c)
        return false;
    // Trays on the first screen; a desktop with one per screen has one there too.
    static const char name[] = "_NET_SYSTEM_TRAY_S0";
    XcbReply<xcb_intern_atom_reply_t> atom(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 1, sizeof name - 1, name), nullptr));
    if (!atom || atom->atom == XCB_ATOM_NONE)
        return false;
    XcbReply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atom->atom), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}
