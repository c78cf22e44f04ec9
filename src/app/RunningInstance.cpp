#include "RunningInstance.h"

#include "RemoteControl.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

bool RunningInstance::exists(const QDBusConnection &bus)
{
    if (!bus.isConnected() || !bus.interface())
        return false;
    const QDBusReply<bool> owned =
        bus.interface()->isServiceRegistered(RemoteControl::serviceName.toString());
    return owned.isValid() && owned.value();
}

std::optional<QString> RunningInstance::handOver(const QDBusConnection &bus)
{
    const QDBusMessage call = QDBusMessage::createMethodCall(
        RemoteControl::serviceName.toString(), RemoteControl::objectPath.toString(),
        RemoteControl::interfaceName.toString(), u"Open"_qs);
    // A running app answers at once; a hung one must not keep this start hanging too.
    const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    if (reply.type() == QDBusMessage::ErrorMessage)
        return reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
    return std::nullopt;
}
