#include "RemoteControl.h"

#include "model/LaneKind.h"
#include "notch/NotchBehavior.h"
#include "notch/NotchModel.h"
#include "store/BoardStore.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

RemoteControl::RemoteControl(NotchBehavior *behavior, NotchModel *model, BoardStore *store,
                             QObject *parent)
    : QObject(parent), m_behavior(behavior), m_model(model), m_store(store)
{
    if (m_model) {
        connect(m_model, &NotchModel::isOpenChanged, this,
                [this] { announce(u"IsOpen"_qs, isOpen()); });
        connect(m_model, &NotchModel::tabChanged, this, [this] { announce(u"Tab"_qs, tab()); });
    }
}

RemoteControl::Claim RemoteControl::publish(QDBusConnection bus)
{
    if (!bus.isConnected() || !bus.interface())
        return Claim::NoBus;
    if (!bus.registerObject(objectPath.toString(), this,
                            QDBusConnection::ExportScriptableSlots |
                                QDBusConnection::ExportScriptableProperties))
        return Claim::NoBus;
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        bus.interface()->registerService(serviceName.toString(),
                                         QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) {
        bus.unregisterObject(objectPath.toString());
        return Claim::NoBus;
    }
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        bus.unregisterObject(objectPath.toString());
        return Claim::Taken;
    }
    m_bus = bus;
    return Claim::Owned;
}

bool RemoteControl::isOpen() const
{
    return m_model && m_model->isOpen();
}

QString RemoteControl::tab() const
{
    if (!m_model)
        return {};
    switch (m_model->tab()) {
    case NotchModel::Tab::Board:
        return u"board"_qs;
    case NotchModel::Tab::Notes:
        return u"notes"_qs;
    case NotchModel::Tab::Settings:
        return u"settings"_qs;
    }
    return {};
}

void RemoteControl::Open()
{
    if (m_behavior)
        m_behavior->open(true);
}

void RemoteControl::Close()
{
    if (m_behavior)
        m_behavior->close();
}

void RemoteControl::Toggle()
{
    if (m_behavior)
        m_behavior->toggleFromHotKey();
}

void RemoteControl::AddTask(const QString &text)
{
    if (text.trimmed().isEmpty()) {
        if (calledFromDBus())
            sendErrorReply(QDBusError::InvalidArgs, u"A task needs some text."_qs);
        return;
    }
    if (!m_store)
        return;
    m_store->add(text, LaneKind::Todo);
    if (m_store->lastError().startsWith(BoardStore::saveErrorPrefix) && calledFromDBus())
        sendErrorReply(QDBusError::Failed, m_store->lastError());
}

void RemoteControl::NewTask()
{
    if (!m_behavior || !m_model)
        return;
    m_behavior->open(true);
    m_model->requestAddFocus();
}

void RemoteControl::Quit()
{
    if (calledFromDBus()) {
        // The reply goes out first; giving up the name is a round trip to the bus behind it, so
        // the reply has left when that returns, and a start from now on finds no app to hand over
        // to.
        setDelayedReply(true);
        connection().send(message().createReply());
        if (m_bus.isConnected())
            m_bus.interface()->unregisterService(serviceName.toString());
    }
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                              Qt::QueuedConnection);
}

void RemoteControl::announce(const QString &property, const QVariant &value)
{
    // Panels and scripts that follow the panel learn of it without asking.
    if (!m_bus.isConnected())
        return;
    QDBusMessage signal = QDBusMessage::createSignal(
        objectPath.toString(), u"org.freedesktop.DBus.Properties"_qs, u"PropertiesChanged"_qs);
    signal << interfaceName.toString() << QVariantMap{{property, value}} << QStringList();
    m_bus.send(signal);
}
