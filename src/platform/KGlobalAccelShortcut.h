#pragma once

#include "platform/GlobalShortcutBackend.h"

#include <QDBusConnection>
#include <QStringList>

#include <optional>

class KeyboardLayout;
class QDBusMessage;
class QDBusServiceWatcher;

// The key as an action of KDE's global shortcut service (kglobalaccel), talked to over D-Bus as
// KDE's own library does. The action shows in System Settings under the program's name, and a
// key changed there comes back through shortcutChangedElsewhere.
class KGlobalAccelShortcut : public GlobalShortcutBackend {
    Q_OBJECT

public:
    static constexpr QStringView service = u"org.kde.kglobalaccel";
    static constexpr QStringView path = u"/kglobalaccel";
    static constexpr QStringView interface = u"org.kde.KGlobalAccel";
    static constexpr QStringView componentInterface = u"org.kde.kglobalaccel.Component";
    static constexpr QStringView componentUnique = u"io.tallowfern.Tallowfern";
    static constexpr QStringView actionUnique = u"toggle";

    // Keys are named in `layout`; null means the current layout at each use.
    explicit KGlobalAccelShortcut(QDBusConnection bus = QDBusConnection::sessionBus(),
                                  const KeyboardLayout *layout = nullptr,
                                  QObject *parent = nullptr);
    ~KGlobalAccelShortcut() override;

    [[nodiscard]] QString name() const override;
    void bind(const Shortcut &shortcut) override;
    void unbind() override;

    // The four fields that name the action to the service.
    [[nodiscard]] static QStringList actionId();
    // Where the service publishes the component's signals.
    [[nodiscard]] static QString componentPath();

private slots:
    void onPressed(const QString &component, const QString &action, qlonglong timestamp);
    void onShortcutGotChanged(const QStringList &actionId, const QList<int> &keys);
    void onShortcutsChanged(const QDBusMessage &message);

private:
    [[nodiscard]] const KeyboardLayout *layout() const;
    [[nodiscard]] QDBusMessage call(const QString &method, const QVariantList &arguments) const;
    void sendKeys(const QList<int> &keys);
    void keysAnswered(const QDBusMessage &reply, const QList<int> &keys, quint64 request,
                      bool sequences);
    void takeChange(const QStringList &actionId, const QList<int> &keys);
    void serviceOwnerChanged(const QString &newOwner);

    QDBusConnection m_bus;
    const KeyboardLayout *m_layout;
    QDBusServiceWatcher *m_watcher = nullptr;
    std::optional<Shortcut> m_shortcut;
    // Whether bind() holds; unbind() keeps m_shortcut for the next bind().
    bool m_wanted = false;
    // The service knows the action, so that setInactive means something on the way out.
    bool m_registered = false;
    // Plasma 6's service may have dropped the int-list calls in favour of key sequences.
    bool m_keySequences = false;
    // Answers to anything but the latest request are stale.
    quint64 m_request = 0;
};
