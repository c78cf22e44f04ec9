#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QPointer>

class BoardStore;
class NotchBehavior;
class NotchModel;

// The panel on the session bus, for the desktop's own shortcut settings and for scripts, such as
// `gdbus call --session --dest io.tallowfern.Tallowfern --object-path /io/tallowfern/Tallowfern
// --method io.tallowfern.Tallowfern.AddTask "Call the bank"`.
class RemoteControl : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "io.tallowfern.Tallowfern")
    Q_PROPERTY(bool IsOpen READ isOpen)
    // "board", "notes" or "settings": the tab the panel shows, or shows next time it opens.
    Q_PROPERTY(QString Tab READ tab)

public:
    static constexpr QStringView serviceName = u"io.tallowfern.Tallowfern";
    static constexpr QStringView objectPath = u"/io/tallowfern/Tallowfern";
    static constexpr QStringView interfaceName = u"io.tallowfern.Tallowfern";

    enum class Claim {
        Owned, // this process answers to the name
        Taken, // another process already does
        NoBus, // there is no session bus to be on
    };

    RemoteControl(NotchBehavior *behavior, NotchModel *model, BoardStore *store,
                  QObject *parent = nullptr);

    // Puts the object on the bus first and takes the name after, so that a call that started the
    // app through bus activation finds it ready.
    Claim publish(QDBusConnection bus);

    [[nodiscard]] bool isOpen() const;
    [[nodiscard]] QString tab() const;

public slots:
    // Opens the panel pinned, as the tray's "Open Tallowfern" does.
    Q_SCRIPTABLE void Open();
    Q_SCRIPTABLE void Close();
    // What the global shortcut does: opens the panel pinned and ready to type a task, or closes
    // it when it is open and pinned.
    Q_SCRIPTABLE void Toggle();
    // Adds a task to the end of today's To do. Refused when the text is blank or the board could
    // not be saved.
    Q_SCRIPTABLE void AddTask(const QString &text);
    // Opens the panel pinned and ready to type a task, whether or not it was open.
    Q_SCRIPTABLE void NewTask();
    // Ends the app as the tray's Quit does. The caller has its answer before the app is gone.
    Q_SCRIPTABLE void Quit();

private:
    void announce(const QString &property, const QVariant &value);

    QPointer<NotchBehavior> m_behavior;
    QPointer<NotchModel> m_model;
    QPointer<BoardStore> m_store;
    QDBusConnection m_bus{QString()};
};
