#pragma once

#include "platform/GlobalShortcutBackend.h"

#include <QDBusConnection>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

class KeyboardLayout;
class QDBusMessage;
class QDBusObjectPath;
class QDBusPendingCall;
class QDBusPendingCallWatcher;
class QDBusServiceWatcher;

// The shortcut through the desktop portal's GlobalShortcuts interface, which Wayland desktops
// offer where no program may grab keys. The desktop asks the user once, in its own dialog, and
// may assign another key than the one proposed; triggerDescription() says which.
class PortalShortcut : public GlobalShortcutBackend {
    Q_OBJECT

public:
    static constexpr QStringView shortcutId = u"toggle";
    static constexpr QStringView appId = u"io.tallowfern.Tallowfern";

    // Keys are proposed in `layout`'s notation; null means KeyboardLayout::current() at each
    // bind().
    explicit PortalShortcut(QDBusConnection bus = QDBusConnection::sessionBus(),
                            const KeyboardLayout *layout = nullptr, QObject *parent = nullptr);
    ~PortalShortcut() override;

    [[nodiscard]] QString name() const override;
    void bind(const Shortcut &shortcut) override;
    void unbind() override;

    // How the desktop says the key is pressed ("Alt+N"), once it took it; empty otherwise.
    [[nodiscard]] QString triggerDescription() const { return m_triggerDescription; }
    // The GlobalShortcuts version the portal reported; 0 before it answered or without one.
    [[nodiscard]] uint portalVersion() const { return m_version; }

signals:
    void triggerDescriptionChanged();

private slots:
    void onResponse(const QDBusMessage &message);
    void onActivated(const QDBusObjectPath &session, const QString &id);
    void onShortcutsChanged(const QDBusMessage &message);
    void onSessionClosed();

private:
    using ResponseHandler = std::function<void(uint code, const QVariantMap &results)>;

    void start();
    void readVersion();
    void createSession();
    void bindShortcut();
    void finishBinding(uint code, const QVariantMap &results);
    void lose(const QString &message);
    // Calls a method that answers through a Request object: listens at the handle the portal
    // will use before calling, and moves over if the reply names another.
    void request(const QString &method, const QVariantList &arguments, QVariantMap options,
                 ResponseHandler handler);
    void watch(const QDBusPendingCall &call,
               std::function<void(QDBusPendingCallWatcher *)> handler);
    void listenForResponse(const QString &path);
    void stopListeningForResponse();
    void closeRequest();
    void closeSession();
    void setTriggerDescription(const QString &description);
    [[nodiscard]] QString newToken();
    [[nodiscard]] QDBusMessage portalCall(const QString &interface, const QString &method) const;

    QDBusConnection m_bus;
    const KeyboardLayout *m_layout;
    QDBusServiceWatcher *m_portalWatcher = nullptr;
    bool m_registered = false;
    uint m_version = 0;
    // Bumped whenever a new attempt starts, so that answers to an abandoned one are dropped.
    quint64 m_attempt = 0;
    quint64 m_tokenCount = 0;

    // What was asked for, and whether the key is wanted now (unbind() keeps the session).
    std::optional<Shortcut> m_wanted;
    bool m_active = false;
    // What the session holds once the desktop answered.
    std::optional<Shortcut> m_boundShortcut;
    std::optional<Shortcut> m_pendingShortcut;
    QString m_sessionPath;
    QString m_requestPath;
    ResponseHandler m_responseHandler;
    QString m_triggerDescription;
};
