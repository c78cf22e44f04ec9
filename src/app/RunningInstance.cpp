#include "RunningInstance.h"

#include "RemoteControl.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>

bool RunningInstance::exists(const QDBusConnection &bus)
{
    if (!bus.isConnected() || !bus.interface())
        return false;
    const QDBusReply<bool> owned =
        bus.interface()->isServiceRegistered(RemoteControl::serviceName.toString());
    return owned.isValid() && owned.value();
}

RunningInstance::Answer RunningInstance::call(const QDBusConnection &bus, const QString &method,
                                              const QVariantList &arguments)
{
    if (!exists(bus))
        return {Outcome::NotRunning, {}};
    QDBusMessage call = QDBusMessage::createMethodCall(
        RemoteControl::serviceName.toString(), RemoteControl::objectPath.toString(),
        RemoteControl::interfaceName.toString(), method);
    call.setArguments(arguments);
    // Installed, the app's service file would have the bus start it for a call that finds nobody.
    call.setAutoStartService(false);
    // A running app answers at once; a hung one must not keep this command hanging too.
    const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ErrorMessage)
        return {Outcome::Done, {}};
    // It quit between the two questions.
    if (QDBusError(reply).type() == QDBusError::ServiceUnknown ||
        reply.errorName() == u"org.freedesktop.DBus.Error.NameHasNoOwner"_qs)
        return {Outcome::NotRunning, {}};
    const QString error = reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
    return {Outcome::Failed, error.simplified()};
}

std::optional<QString> RunningInstance::handOver(const QDBusConnection &bus, const QString &method)
{
    const Answer answer = call(bus, method);
    if (answer.outcome == Outcome::Done)
        return std::nullopt;
    return answer.outcome == Outcome::NotRunning ? u"it quit"_qs : answer.error;
}
