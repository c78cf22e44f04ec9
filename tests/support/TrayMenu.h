#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

// The desktop's side of the tray: it accepts the app's StatusNotifierItem on a private session
// bus, as a panel would.
class FakeWatcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    QString itemService;

    [[nodiscard]] bool hostRegistered() const { return true; }
    [[nodiscard]] int protocolVersion() const { return 0; }
    [[nodiscard]] QStringList items() const
    {
        return itemService.isEmpty() ? QStringList() : QStringList{itemService};
    }

public slots:
    void RegisterStatusNotifierItem(const QString &service)
    {
        itemService = service.startsWith(u'/') ? message().service() : service;
    }
    void RegisterStatusNotifierHost(const QString &) {}

signals:
    void StatusNotifierItemRegistered(const QString &service);
    void StatusNotifierHostRegistered();
};

struct MenuItem {
    int id = 0;
    QVariantMap properties;
};

// The tray's menu as a panel reads and clicks it, over com.canonical.dbusmenu.
namespace TrayMenu {

inline void readLayout(const QDBusArgument &argument, QList<MenuItem> &items)
{
    MenuItem item;
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.beginArray();
    QList<QDBusVariant> children;
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        children.append(child);
    }
    argument.endArray();
    argument.endStructure();
    if (item.id != 0)
        items.append(item);
    for (const QDBusVariant &child : children)
        readLayout(child.variant().value<QDBusArgument>(), items);
}

// Every item of the menu the app at `service` shows, depth first.
inline QList<MenuItem> items(const QString &service)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, u"/MenuBar"_qs, u"com.canonical.dbusmenu"_qs, u"GetLayout"_qs);
    call << 0 << -1 << QStringList();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    QList<MenuItem> found;
    if (reply.type() == QDBusMessage::ReplyMessage && reply.arguments().size() == 2)
        readLayout(reply.arguments().at(1).value<QDBusArgument>(), found);
    return found;
}

// The item labelled `label`; one with id 0 if there is none.
inline MenuItem find(const QList<MenuItem> &items, const QString &label)
{
    for (const MenuItem &item : items) {
        if (item.properties.value(u"label"_qs).toString() == label)
            return item;
    }
    return {};
}

inline void click(const QString &service, int id)
{
    QDBusMessage event = QDBusMessage::createMethodCall(service, u"/MenuBar"_qs,
                                                        u"com.canonical.dbusmenu"_qs, u"Event"_qs);
    event << id << u"clicked"_qs << QVariant::fromValue(QDBusVariant(0)) << uint(0);
    QDBusConnection::sessionBus().call(event);
}

} // namespace TrayMenu
