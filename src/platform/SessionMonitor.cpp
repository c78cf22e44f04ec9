#include "SessionMonitor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <unistd.h>

namespace {

const QString login1 = QStringLiteral("org.freedesktop.login1");
const QString login1Path = QStringLiteral("/org/freedesktop/login1");
const QString login1Manager = QStringLiteral("org.freedesktop.login1.Manager");

} // namespace

SessionMonitor::SessionMonitor(QObject *parent) : QObject(parent)
{
    QDBusConnection system = QDBusConnection::systemBus();
    if (system.isConnected()) {
        system.connect(login1, login1Path, login1Manager, QStringLiteral("PrepareForSleep"), this,
                       SLOT(prepareForSleep(bool)));
        // logind's Lock and Unlock signals are requests to lock, not news that it happened;
        // the session's LockedHint is the state.
        const QString sessionId = qEnvironmentVariable("XDG_SESSION_ID");
        QDBusMessage lookup =
            sessionId.isEmpty() ? QDBusMessage::createMethodCall(login1, login1Path, login1Manager,
                                                                 QStringLiteral("GetSessionByPID"))
                                      << quint32(::getpid())
                                : QDBusMessage::createMethodCall(login1, login1Path, login1Manager,
                                                                 QStringLiteral("GetSession"))
                                      << sessionId;
        auto *watcher = new QDBusPendingCallWatcher(system.asyncCall(lookup), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher *call) {
                    call->deleteLater();
                    const QDBusPendingReply<QDBusObjectPath> reply = *call;
                    if (reply.isValid())
                        watchSession(reply.value().path());
                });
    }

    QDBusConnection session = QDBusConnection::sessionBus();
    if (session.isConnected()) {
        const std::pair<const char *, const char *> screenSavers[] = {
            {"/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver"},
            {"/ScreenSaver", "org.freedesktop.ScreenSaver"},
            {"/org/gnome/ScreenSaver", "org.gnome.ScreenSaver"},
        };
        for (const auto &[path, interface] : screenSavers)
            session.connect(QString(), QString::fromLatin1(path), QString::fromLatin1(interface),
                            QStringLiteral("ActiveChanged"), this,
                            SLOT(screenSaverActiveChanged(bool)));
    }
}

void SessionMonitor::watchSession(const QString &path)
{
    QDBusConnection::systemBus().connect(
        login1, path, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("PropertiesChanged"), this,
        SLOT(sessionPropertiesChanged(QString, QVariantMap, QStringList)));
}

void SessionMonitor::prepareForSleep(bool starting)
{
    if (!starting)
        emit resumed();
}

void SessionMonitor::sessionPropertiesChanged(const QString &interface, const QVariantMap &changed,
                                              const QStringList &)
{
    if (interface != u"org.freedesktop.login1.Session")
        return;
    const auto locked = changed.constFind(QStringLiteral("LockedHint"));
    if (locked != changed.cend() && !locked->toBool())
        emit unlocked();
}

void SessionMonitor::screenSaverActiveChanged(bool active)
{
    if (!active)
        emit unlocked();
}
