#include "KGlobalAccelShortcut.h"

#include "platform/KeyboardLayout.h"
#include "platform/PlatformLog.h"
#include "platform/ShortcutNotation.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

namespace {

// One QKeySequence as the service's newer calls carry it: a struct of its (up to four) keys.
struct KeySequenceKeys {
    QList<int> keys;
};

QDBusArgument &operator<<(QDBusArgument &argument, const KeySequenceKeys &sequence)
{
    argument.beginStructure();
    argument << sequence.keys;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, KeySequenceKeys &sequence)
{
    argument.beginStructure();
    argument >> sequence.keys;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(KeySequenceKeys)

namespace {

// setShortcut's flags, as the service defines them.
constexpr uint setPresent = 2;
constexpr uint noAutoloading = 4;
// What KF5 sends for a shortcut the program sets itself: the key is in use now, and the key
// given replaces whatever the service has stored for the action.
constexpr uint explicitKeyFlags = setPresent | noAutoloading;
// The service's teardown is quick; quitting should not hang on a stuck one.
constexpr int inactiveTimeoutMs = 2000;

const QString unknownMethod = u"org.freedesktop.DBus.Error.UnknownMethod"_qs;

bool isAbsent(const QDBusError &error)
{
    return error.type() == QDBusError::ServiceUnknown ||
           error.name() == u"org.freedesktop.DBus.Error.NameHasNoOwner";
}

QList<KeySequenceKeys> toSequences(const QList<int> &keys)
{
    QList<KeySequenceKeys> sequences;
    for (int key : keys)
        sequences.append({{key, 0, 0, 0}});
    return sequences;
}

QList<int> firstKeys(const QList<KeySequenceKeys> &sequences)
{
    // Global shortcuts are single keys; the service pads each sequence with zeroes.
    QList<int> keys;
    for (const KeySequenceKeys &sequence : sequences)
        keys.append(sequence.keys.value(0));
    return keys;
}

} // namespace

KGlobalAccelShortcut::KGlobalAccelShortcut(QDBusConnection bus, const KeyboardLayout *layout,
                                           QObject *parent)
    : GlobalShortcutBackend(parent), m_bus(std::move(bus)), m_layout(layout)
{
    qDBusRegisterMetaType<QList<int>>();
    qDBusRegisterMetaType<KeySequenceKeys>();
    qDBusRegisterMetaType<QList<KeySequenceKeys>>();
    if (!m_bus.isConnected())
        return;
    const QString name = service.toString();
    m_bus.connect(name, componentPath(), componentInterface.toString(), u"globalShortcutPressed"_qs,
                  this, SLOT(onPressed(QString, QString, qlonglong)));
    m_bus.connect(name, path.toString(), interface.toString(), u"yourShortcutGotChanged"_qs, this,
                  SLOT(onShortcutGotChanged(QStringList, QList<int>)));
    // Newer services (KF5 5.103 already) announce changes only in key sequences.
    m_bus.connect(name, path.toString(), interface.toString(), u"yourShortcutsChanged"_qs, this,
                  SLOT(onShortcutsChanged(QDBusMessage)));
    m_watcher =
        new QDBusServiceWatcher(name, m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &newOwner) {
                serviceOwnerChanged(newOwner);
            });
}

KGlobalAccelShortcut::~KGlobalAccelShortcut()
{
    if (!m_registered || !m_bus.isConnected())
        return;
    // As KF5 does when a program quits: the service keeps the key on record for System
    // Settings but stops grabbing it, so that it is free while this program is not running.
    // Blocking, since an asynchronous call could be lost with the connection on the way out.
    const QDBusMessage reply =
        m_bus.call(call(u"setInactive"_qs, {actionId()}), QDBus::Block, inactiveTimeoutMs);
    if (reply.type() == QDBusMessage::ErrorMessage && !isAbsent(QDBusError(reply)))
        qCWarning(lcShortcut) << "KDE global shortcuts: setInactive failed:"
                              << reply.errorMessage();
}

QString KGlobalAccelShortcut::name() const
{
    return u"KDE global shortcuts"_qs;
}

QStringList KGlobalAccelShortcut::actionId()
{
    // Component unique name, action unique name, then the names System Settings shows.
    return {componentUnique.toString(), actionUnique.toString(), u"Tallowfern"_qs,
            u"Open Tallowfern"_qs};
}

QString KGlobalAccelShortcut::componentPath()
{
    // The service's rule for turning a component name into an object path.
    QString name = componentUnique.toString();
    for (QChar &c : name) {
        if (c.unicode() >= 0x7f || !c.isLetterOrNumber())
            c = u'_';
    }
    return u"/component/"_qs + name;
}

const KeyboardLayout *KGlobalAccelShortcut::layout() const
{
    return m_layout ? m_layout : KeyboardLayout::current();
}

QDBusMessage KGlobalAccelShortcut::call(const QString &method, const QVariantList &arguments) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(service.toString(), path.toString(),
                                                          interface.toString(), method);
    message.setArguments(arguments);
    // Where KDE's libraries are installed outside Plasma the service is activatable, and a
    // daemon started on GNOME would take keys it can never deliver.
    message.setAutoStartService(false);
    return message;
}

void KGlobalAccelShortcut::bind(const Shortcut &shortcut)
{
    m_shortcut = shortcut;
    m_wanted = true;
    ++m_request;
    if (!m_bus.isConnected()) {
        setStatus(Status::Unavailable);
        return;
    }
    const auto key = ShortcutNotation::qtKey(shortcut, layout());
    if (!key) {
        const QString label = ShortcutNotation::label(shortcut, layout());
        qCWarning(lcShortcut) << "KDE global shortcuts: no Qt key for" << label;
        setStatus(Status::Refused, u"%1 cannot be named in KDE's shortcuts"_qs.arg(label));
        return;
    }
    setStatus(Status::Pending);
    // doRegister has no answer worth waiting for; the keys call right behind it, delivered in
    // order, tells whether the service is there at all.
    m_bus.send(call(u"doRegister"_qs, {actionId()}));
    sendKeys({key->toCombined()});
}

void KGlobalAccelShortcut::unbind()
{
    m_wanted = false;
    ++m_request;
    // The action stays registered, with no key, so that a later bind() only sets the key again
    // and System Settings keeps listing it meanwhile.
    // A key still pending is cleared too: the calls reach the service in order.
    if (status() == Status::Bound || status() == Status::Pending)
        sendKeys({});
    setStatus(Status::Unbound);
}

void KGlobalAccelShortcut::sendKeys(const QList<int> &keys)
{
    const bool sequences = m_keySequences;
    QDBusMessage message =
        sequences
            ? call(u"setShortcutKeys"_qs,
                   {actionId(), QVariant::fromValue(toSequences(keys)), explicitKeyFlags})
            : call(u"setShortcut"_qs, {actionId(), QVariant::fromValue(keys), explicitKeyFlags});
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    const quint64 request = m_request;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, keys, request, sequences](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                keysAnswered(finished->reply(), keys, request, sequences);
            });
}

void KGlobalAccelShortcut::keysAnswered(const QDBusMessage &reply, const QList<int> &keys,
                                        quint64 request, bool sequences)
{
    const bool current = request == m_request;
    if (reply.type() == QDBusMessage::ErrorMessage) {
        const QDBusError error(reply);
        if (error.name() == unknownMethod && !sequences) {
            qCDebug(lcShortcut) << "KDE global shortcuts: no setShortcut, using setShortcutKeys";
            m_keySequences = true;
            if (current)
                sendKeys(keys);
            return;
        }
        if (isAbsent(error)) {
            qCDebug(lcShortcut) << "KDE global shortcuts: the service is not running";
            m_registered = false;
            if (current && !keys.isEmpty())
                setStatus(Status::Unavailable);
            return;
        }
        qCWarning(lcShortcut) << "KDE global shortcuts: setting the key failed:" << error.name()
                              << error.message();
        if (current && !keys.isEmpty())
            setStatus(Status::Refused,
                      u"KDE's shortcuts did not answer: %1"_qs.arg(error.message()));
        return;
    }
    m_registered = true;
    if (!current || keys.isEmpty())
        return;
    const QVariant answer = reply.arguments().value(0);
    const QList<int> assigned = sequences ? firstKeys(qdbus_cast<QList<KeySequenceKeys>>(answer))
                                          : qdbus_cast<QList<int>>(answer);
    if (assigned.contains(keys.first())) {
        qCDebug(lcShortcut) << "KDE global shortcuts: bound"
                            << QKeyCombination::fromCombined(keys.first());
        setStatus(Status::Bound);
        return;
    }
    // The service leaves out (or zeroes) a key that another action holds.
    const QString label = ShortcutNotation::label(*m_shortcut, layout());
    qCWarning(lcShortcut) << "KDE global shortcuts: refused" << label << "; assigned" << assigned;
    setStatus(Status::Refused,
              u"%1 is already used by another program in KDE's shortcuts"_qs.arg(label));
}

void KGlobalAccelShortcut::onPressed(const QString &component, const QString &action, qlonglong)
{
    if (component != componentUnique || action != actionUnique || !m_wanted)
        return;
    emit activated();
}

void KGlobalAccelShortcut::onShortcutGotChanged(const QStringList &actionId, const QList<int> &keys)
{
    takeChange(actionId, keys);
}

void KGlobalAccelShortcut::onShortcutsChanged(const QDBusMessage &message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.size() < 2)
        return;
    takeChange(qdbus_cast<QStringList>(arguments.at(0)),
               firstKeys(qdbus_cast<QList<KeySequenceKeys>>(arguments.at(1))));
}

void KGlobalAccelShortcut::takeChange(const QStringList &actionId, const QList<int> &keys)
{
    if (actionId.value(0) != componentUnique || actionId.value(1) != actionUnique)
        return;
    const auto first = std::find_if(keys.begin(), keys.end(), [](int key) { return key != 0; });
    if (first == keys.end()) {
        // Shortcut has no "none"; the app keeps its key and gives it back on the next bind().
        qCDebug(lcShortcut) << "KDE global shortcuts: the key was removed in System Settings";
        return;
    }
    const QKeyCombination key = QKeyCombination::fromCombined(*first);
    const auto shortcut = ShortcutNotation::fromQtKey(key, layout());
    if (!shortcut) {
        qCWarning(lcShortcut) << "KDE global shortcuts: ignoring" << key
                              << "from System Settings: no key types it in this layout";
        return;
    }
    // Our own key coming back, or one change announced in both signals.
    if (shortcut == m_shortcut)
        return;
    qCDebug(lcShortcut) << "KDE global shortcuts: changed in System Settings to" << key;
    m_shortcut = shortcut;
    emit shortcutChangedElsewhere(*shortcut);
}

void KGlobalAccelShortcut::serviceOwnerChanged(const QString &newOwner)
{
    if (newOwner.isEmpty())
        m_registered = false;
    if (!m_wanted || !m_shortcut)
        return;
    if (newOwner.isEmpty()) {
        qCDebug(lcShortcut) << "KDE global shortcuts: the service quit";
        ++m_request;
        setStatus(Status::Unavailable);
        return;
    }
    // A new or restarted service knows nothing of us yet.
    bind(*m_shortcut);
}
