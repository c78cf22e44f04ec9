#include "PortalShortcut.h"

#include "platform/KeyboardLayout.h"
#include "platform/PlatformLog.h"
#include "platform/ShortcutKeys.h"
#include "platform/ShortcutNotation.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QRandomGenerator>

// One element of the a(sa{sv}) lists that BindShortcuts takes and its Response returns.
struct PortalShortcutEntry {
    QString id;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(PortalShortcutEntry)

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcutEntry &entry)
{
    argument.beginStructure();
    argument << entry.id << entry.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcutEntry &entry)
{
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.endStructure();
    return argument;
}

namespace {

const QString portalService = u"org.freedesktop.portal.Desktop"_qs;
const QString portalPath = u"/org/freedesktop/portal/desktop"_qs;
const QString shortcutsInterface = u"org.freedesktop.portal.GlobalShortcuts"_qs;
const QString requestInterface = u"org.freedesktop.portal.Request"_qs;
const QString sessionInterface = u"org.freedesktop.portal.Session"_qs;
const QString registryInterface = u"org.freedesktop.host.portal.Registry"_qs;
const QString propertiesInterface = u"org.freedesktop.DBus.Properties"_qs;

// Request responses: 0 success, 1 the user cancelled, 2 anything else.
constexpr uint responseCancelled = 1;

QString pathOf(const QVariant &value)
{
    // session_handle was specified as a string at first and is an object path in newer portals.
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.toString();
}

QList<PortalShortcutEntry> entriesOf(const QVariant &value)
{
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return {};
    return qdbus_cast<QList<PortalShortcutEntry>>(value);
}

// No portal, or one without GlobalShortcuts. `reading` is a Properties.Get, which answers
// InvalidArgs for an interface the object lacks.
bool portalMissing(const QDBusError &error, bool reading = false)
{
    switch (error.type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::UnknownObject:
    case QDBusError::UnknownInterface:
    case QDBusError::UnknownMethod:
    case QDBusError::UnknownProperty:
    case QDBusError::Disconnected:
        return true;
    case QDBusError::InvalidArgs:
        return reading;
    default:
        return false;
    }
}

} // namespace

PortalShortcut::PortalShortcut(QDBusConnection bus, const KeyboardLayout *layout, QObject *parent)
    : GlobalShortcutBackend(parent), m_bus(std::move(bus)), m_layout(layout)
{
    qDBusRegisterMetaType<PortalShortcutEntry>();
    qDBusRegisterMetaType<QList<PortalShortcutEntry>>();
    if (!m_bus.isConnected())
        return;
    m_portalWatcher = new QDBusServiceWatcher(portalService, m_bus,
                                              QDBusServiceWatcher::WatchForUnregistration, this);
    connect(m_portalWatcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        // A restarted portal knows nothing of our session.
        if (!m_sessionPath.isEmpty() || m_pendingShortcut)
            lose(u"The desktop portal stopped; the shortcut no longer works."_qs);
    });
    m_bus.connect(portalService, portalPath, shortcutsInterface, u"Activated"_qs, this,
                  SLOT(onActivated(QDBusObjectPath, QString)));
    m_bus.connect(portalService, portalPath, shortcutsInterface, u"ShortcutsChanged"_qs, this,
                  SLOT(onShortcutsChanged(QDBusMessage)));
}

PortalShortcut::~PortalShortcut()
{
    // The portal would notice when the connection goes, but an open dialog should not outlive
    // the object that asked for it.
    closeRequest();
    closeSession();
}

QString PortalShortcut::name() const
{
    return u"Desktop portal shortcuts"_qs;
}

void PortalShortcut::bind(const Shortcut &shortcut)
{
    m_wanted = shortcut;
    m_active = true;
    if (!m_sessionPath.isEmpty() && !m_pendingShortcut && m_boundShortcut == shortcut) {
        // Back after unbind(): the desktop still holds the key for us, nothing to ask.
        setStatus(Status::Bound);
        return;
    }
    if (m_pendingShortcut == shortcut) {
        setStatus(Status::Pending);
        return;
    }
    start();
}

void PortalShortcut::unbind()
{
    // The session stays: closing it would make the next bind() ask the user again. Activations
    // are dropped until then.
    m_active = false;
    if (status() == Status::Bound || status() == Status::Pending)
        setStatus(Status::Unbound);
}

void PortalShortcut::start()
{
    ++m_attempt;
    closeRequest();
    // A session binds once; a new key needs a new one. Version 2's ConfigureShortcuts only opens
    // the desktop's settings and cannot propose a key, so it is no substitute.
    closeSession();
    setTriggerDescription({});
    m_pendingShortcut = m_wanted;
    setStatus(Status::Pending);
    if (!m_bus.isConnected()) {
        m_pendingShortcut.reset();
        setStatus(Status::Unavailable);
        return;
    }
    if (m_registered) {
        readVersion();
        return;
    }
    // Outside a sandbox the portal knows us only by our desktop file's name, which must come
    // before any other portal call on this connection. Older portals have no Registry.
    // This first call may start the portal through D-Bus activation, as it should: at login this
    // program can be up before the portal is, and nothing here waits, so a slow start only
    // prolongs Pending.
    m_registered = true;
    QDBusMessage call = portalCall(registryInterface, u"Register"_qs);
    call << appId.toString() << QVariantMap();
    watch(m_bus.asyncCall(call), [this](QDBusPendingCallWatcher *watcher) {
        if (watcher->isError())
            qCDebug(lcShortcut) << "portal registry:" << watcher->error().message();
        readVersion();
    });
}

void PortalShortcut::readVersion()
{
    QDBusMessage call = portalCall(propertiesInterface, u"Get"_qs);
    call << shortcutsInterface << u"version"_qs;
    watch(m_bus.asyncCall(call), [this](QDBusPendingCallWatcher *watcher) {
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isError() || reply.value().variant().toUInt() == 0) {
            if (reply.isError() && !portalMissing(reply.error(), true))
                qCWarning(lcShortcut) << "desktop portal:" << reply.error().message();
            else
                qCDebug(lcShortcut) << "no GlobalShortcuts portal:" << reply.error().message();
            m_pendingShortcut.reset();
            setStatus(Status::Unavailable);
            return;
        }
        m_version = reply.value().variant().toUInt();
        qCDebug(lcShortcut) << "GlobalShortcuts portal version" << m_version;
        createSession();
    });
}

void PortalShortcut::createSession()
{
    const QVariantMap options{{u"session_handle_token"_qs, newToken()}};
    request(u"CreateSession"_qs, {}, options, [this](uint code, const QVariantMap &results) {
        const QString session = pathOf(results.value(u"session_handle"_qs));
        if (code != 0 || session.isEmpty()) {
            qCWarning(lcShortcut) << "portal CreateSession answered" << code;
            m_pendingShortcut.reset();
            setStatus(m_active ? Status::Refused : Status::Unbound,
                      m_active ? u"The desktop could not set up the shortcut."_qs : QString());
            return;
        }
        m_sessionPath = session;
        m_bus.connect(portalService, m_sessionPath, sessionInterface, u"Closed"_qs, this,
                      SLOT(onSessionClosed()));
        bindShortcut();
    });
}

void PortalShortcut::bindShortcut()
{
    const Shortcut shortcut = *m_pendingShortcut;
    QVariantMap properties{{u"description"_qs, u"Open Tallowfern"_qs}};
    const KeyboardLayout *layout = m_layout ? m_layout : KeyboardLayout::current();
    if (const auto trigger = ShortcutNotation::portalTrigger(shortcut, layout))
        properties.insert(u"preferred_trigger"_qs, *trigger);
    else // the dialog lets the user pick one
        qCDebug(lcShortcut) << "no portal notation for" << ShortcutKeys::label(shortcut, layout);
    const QList<PortalShortcutEntry> shortcuts{{shortcutId.toString(), properties}};
    const QVariantList arguments{QVariant::fromValue(QDBusObjectPath(m_sessionPath)),
                                 QVariant::fromValue(shortcuts), QString()};
    request(u"BindShortcuts"_qs, arguments, {},
            [this](uint code, const QVariantMap &results) { finishBinding(code, results); });
}

void PortalShortcut::finishBinding(uint code, const QVariantMap &results)
{
    const Shortcut shortcut = *m_pendingShortcut;
    m_pendingShortcut.reset();
    QString refusal;
    std::optional<PortalShortcutEntry> bound;
    for (const PortalShortcutEntry &entry : entriesOf(results.value(u"shortcuts"_qs))) {
        if (entry.id == shortcutId)
            bound = entry;
    }
    if (code == responseCancelled)
        refusal = u"The shortcut was declined in the desktop's dialog."_qs;
    else if (code != 0)
        refusal = u"The desktop could not set up the shortcut."_qs;
    else if (!bound)
        refusal = u"The desktop did not assign a key to the shortcut."_qs;
    if (!refusal.isEmpty()) {
        qCWarning(lcShortcut) << "portal BindShortcuts answered" << code << "-" << refusal;
        // This session cannot bind again; a later bind() starts over.
        closeSession();
        setStatus(m_active ? Status::Refused : Status::Unbound, m_active ? refusal : QString());
        return;
    }
    m_boundShortcut = shortcut;
    setTriggerDescription(bound->properties.value(u"trigger_description"_qs).toString());
    qCDebug(lcShortcut) << "portal bound the shortcut to" << m_triggerDescription;
    if (m_active && m_wanted == shortcut)
        setStatus(Status::Bound);
}

void PortalShortcut::lose(const QString &message)
{
    ++m_attempt;
    closeRequest();
    if (!m_sessionPath.isEmpty())
        m_bus.disconnect(portalService, m_sessionPath, sessionInterface, u"Closed"_qs, this,
                         SLOT(onSessionClosed()));
    m_sessionPath.clear();
    m_boundShortcut.reset();
    m_pendingShortcut.reset();
    setTriggerDescription({});
    qCWarning(lcShortcut) << message;
    setStatus(m_active ? Status::Refused : Status::Unbound, m_active ? message : QString());
}

void PortalShortcut::onResponse(const QDBusMessage &message)
{
    if (message.path() != m_requestPath || !m_responseHandler)
        return;
    const QVariantList arguments = message.arguments();
    if (arguments.size() < 2)
        return;
    const ResponseHandler handler = std::move(m_responseHandler);
    stopListeningForResponse();
    handler(arguments[0].toUInt(), qdbus_cast<QVariantMap>(arguments[1]));
}

void PortalShortcut::onActivated(const QDBusObjectPath &session, const QString &id)
{
    if (m_active && status() == Status::Bound && session.path() == m_sessionPath &&
        id == shortcutId)
        emit activated();
}

void PortalShortcut::onShortcutsChanged(const QDBusMessage &message)
{
    // The user gave the key another trigger in the desktop's settings.
    const QVariantList arguments = message.arguments();
    if (arguments.size() < 2 || m_sessionPath.isEmpty() || pathOf(arguments[0]) != m_sessionPath)
        return;
    for (const PortalShortcutEntry &entry : entriesOf(arguments[1])) {
        if (entry.id == shortcutId) {
            setTriggerDescription(entry.properties.value(u"trigger_description"_qs).toString());
            qCDebug(lcShortcut) << "portal shortcut now" << m_triggerDescription;
        }
    }
}

void PortalShortcut::onSessionClosed()
{
    lose(u"The desktop withdrew the shortcut."_qs);
}

void PortalShortcut::request(const QString &method, const QVariantList &arguments,
                             QVariantMap options, ResponseHandler handler)
{
    QString sender = m_bus.baseService().mid(1);
    sender.replace(u'.', u'_');
    const QString token = newToken();
    options.insert(u"handle_token"_qs, token);
    const QString predicted = portalPath + u"/request/"_qs + sender + u'/' + token;
    // Listening before calling: the answer may follow the reply at once.
    stopListeningForResponse();
    listenForResponse(predicted);
    m_responseHandler = std::move(handler);

    QDBusMessage call = portalCall(shortcutsInterface, method);
    call.setArguments(arguments);
    call << options;
    watch(m_bus.asyncCall(call), [this, method, predicted](QDBusPendingCallWatcher *watcher) {
        // Replies and signals reach us through separate queues: when the answer came first,
        // this request is over and the next one may be under way.
        if (m_requestPath != predicted)
            return;
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (reply.isError()) {
            stopListeningForResponse();
            m_responseHandler = {};
            qCWarning(lcShortcut) << "portal" << method << "failed:" << reply.error().message();
            m_pendingShortcut.reset();
            if (portalMissing(reply.error()))
                setStatus(Status::Unavailable);
            else
                setStatus(m_active ? Status::Refused : Status::Unbound,
                          m_active ? u"The desktop could not set up the shortcut."_qs : QString());
            return;
        }
        // Portals before 0.9 chose their own handle.
        const QString handle = reply.value().path();
        if (handle != predicted) {
            stopListeningForResponse();
            listenForResponse(handle);
        }
    });
}

void PortalShortcut::watch(const QDBusPendingCall &call,
                           std::function<void(QDBusPendingCallWatcher *)> handler)
{
    auto *watcher = new QDBusPendingCallWatcher(call, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, attempt = m_attempt, handler = std::move(handler)](auto *finished) {
                finished->deleteLater();
                if (attempt == m_attempt)
                    handler(finished);
            });
}

void PortalShortcut::listenForResponse(const QString &path)
{
    m_requestPath = path;
    m_bus.connect(portalService, path, requestInterface, u"Response"_qs, this,
                  SLOT(onResponse(QDBusMessage)));
}

void PortalShortcut::stopListeningForResponse()
{
    if (m_requestPath.isEmpty())
        return;
    m_bus.disconnect(portalService, m_requestPath, requestInterface, u"Response"_qs, this,
                     SLOT(onResponse(QDBusMessage)));
    m_requestPath.clear();
}

void PortalShortcut::closeRequest()
{
    if (m_requestPath.isEmpty())
        return;
    // Takes the desktop's dialog away when the answer is no longer wanted.
    m_bus.send(QDBusMessage::createMethodCall(portalService, m_requestPath, requestInterface,
                                              u"Close"_qs));
    stopListeningForResponse();
    m_responseHandler = {};
}

void PortalShortcut::closeSession()
{
    if (m_sessionPath.isEmpty())
        return;
    m_bus.disconnect(portalService, m_sessionPath, sessionInterface, u"Closed"_qs, this,
                     SLOT(onSessionClosed()));
    m_bus.send(QDBusMessage::createMethodCall(portalService, m_sessionPath, sessionInterface,
                                              u"Close"_qs));
    m_sessionPath.clear();
    m_boundShortcut.reset();
}

void PortalShortcut::setTriggerDescription(const QString &description)
{
    if (description == m_triggerDescription)
        return;
    m_triggerDescription = description;
    emit triggerDescriptionChanged();
}

QString PortalShortcut::newToken()
{
    return u"tallowfern%1_%2"_qs.arg(++m_tokenCount).arg(QRandomGenerator::global()->generate());
}

QDBusMessage PortalShortcut::portalCall(const QString &interface, const QString &method) const
{
    return QDBusMessage::createMethodCall(portalService, portalPath, interface, method);
}
