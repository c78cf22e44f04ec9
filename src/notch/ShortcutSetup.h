#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class BoardStore;
class GlobalShortcut;
class GnomeKeybinding;
class KeyboardLayout;

// What Settings says about the open shortcut beyond its keys: which of the desktop's mechanisms
// delivers it, why none does, and, where none reaches every window, how to let the desktop run
// `tallowfern --toggle` itself: a GNOME custom shortcut added on request, or the line to put in
// a compositor's configuration.
class ShortcutSetup : public QObject {
    Q_OBJECT
    // One line under the shortcut: how it arrives ("Through KDE's global shortcuts").
    Q_PROPERTY(QString summary READ summary NOTIFY changed)
    // Why the key does not work everywhere; empty when it does.
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    Q_PROPERTY(Advice advice READ advice NOTIFY changed)
    Q_PROPERTY(bool gnomeShortcutAdded READ gnomeShortcutAdded NOTIFY changed)
    // For Advice::Gnome: what the row says, and its button's title.
    Q_PROPERTY(QString gnomeNote READ gnomeNote NOTIFY changed)
    Q_PROPERTY(QString gnomeAction READ gnomeAction NOTIFY changed)
    // For Advice::ConfigLine: where the line goes, and the line.
    Q_PROPERTY(QString configHint READ configHint NOTIFY changed)
    Q_PROPERTY(QString configLine READ configLine NOTIFY changed)

public:
    enum class Advice {
        None,       // the key reaches every window already
        Gnome,      // offer to add a GNOME custom shortcut
        ConfigLine, // show a line for the compositor's configuration
    };
    Q_ENUM(Advice)

    enum class Session { X11, XWayland, Wayland };
    enum class Desktop { Other, Gnome, Sway, River, Hyprland };

    // For this session and desktop. `gnome` is used, and owned, when the desktop is GNOME; null
    // where GNOME's keybinding settings are missing.
    ShortcutSetup(GlobalShortcut *shortcut, BoardStore *store, QObject *parent = nullptr);
    ShortcutSetup(GlobalShortcut *shortcut, BoardStore *store, Session session, Desktop desktop,
                  GnomeKeybinding *gnome, const QString &program, QObject *parent = nullptr);
    ~ShortcutSetup() override;

    [[nodiscard]] QString summary() const;
    [[nodiscard]] QString problem() const;
    [[nodiscard]] Advice advice() const;
    [[nodiscard]] bool gnomeShortcutAdded() const;
    [[nodiscard]] QString gnomeNote() const;
    [[nodiscard]] QString gnomeAction() const;
    [[nodiscard]] QString configHint() const;
    [[nodiscard]] QString configLine() const;

    // How the desktop should start this program: by name when that is what the search path
    // finds, otherwise by its full path.
    [[nodiscard]] static QString commandProgram(const QString &program);
    // The command line that toggles the panel, quoted for a shell.
    [[nodiscard]] static QString toggleCommand(const QString &program);

    // Only ever on the user's request.
    Q_INVOKABLE void addGnomeShortcut();
    Q_INVOKABLE void removeGnomeShortcut();
    // The row's button: adds the GNOME shortcut, or removes the one added.
    Q_INVOKABLE void toggleGnomeShortcut();
    Q_INVOKABLE void copyConfigLine() const;

signals:
    void changed();

private:
    void followShortcut();
    [[nodiscard]] QString label() const;

    QPointer<GlobalShortcut> m_shortcut;
    QPointer<BoardStore> m_store;
    Session m_session;
    Desktop m_desktop;
    GnomeKeybinding *m_gnome;
    QString m_program;
    QString m_gnomeError;
};
