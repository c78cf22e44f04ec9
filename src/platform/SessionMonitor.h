#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

// Tells when the machine has woken from sleep and when the screen has been unlocked, from
// systemd-logind on the system bus and the screensavers on the session bus. Without those buses
// it simply never signals.
class SessionMonitor : public QObject {
    Q_OBJECT

public:
    explicit SessionMonitor(QObject *parent = nullptr);

signals:
    void resumed();
    void unlocked();

private slots:
    void prepareForSleep(bool starting);
    void sessionPropertiesChanged(const QString &interface, const QVariantMap &changed,
                                  const QStringList &invalidated);
    void screenSaverActiveChanged(bool active);

private:
    void watchSession(const QString &path);
};
