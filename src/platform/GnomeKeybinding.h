#pragma once

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

// Tallowfern's entry among GNOME's custom keyboard shortcuts, for desktops where no global
// shortcut portal takes the key: gnome-settings-daemon grabs it and runs the command. It is one
// entry at a path of its own; whatever else the user has there is kept as it is, in its order.
class GnomeKeybinding : public QObject {
    Q_OBJECT

public:
    static constexpr QStringView listSchema = u"org.gnome.settings-daemon.plugins.media-keys";
    static constexpr QStringView listKey = u"custom-keybindings";
    static constexpr QStringView entrySchema =
        u"org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";
    static constexpr QStringView entryPath =
        u"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/tallowfern/";
    // What GNOME Settings lists the entry as.
    static constexpr QStringView entryName = u"Open or close Tallowfern";

    explicit GnomeKeybinding(QObject *parent = nullptr);
    ~GnomeKeybinding() override;

    // Whether GNOME's keybinding settings are there to be written (gnome-settings-daemon's
    // schemas); without them everything here does nothing and install() says why.
    [[nodiscard]] static bool isAvailable();

    // Our entry is in GNOME's list of custom shortcuts.
    [[nodiscard]] bool isInstalled() const;
    // Its GTK accelerator ("<Alt>n") and command; empty when it is not installed.
    [[nodiscard]] QString binding() const;
    [[nodiscard]] QString command() const;

    // Adds the entry, or updates it in place; what went wrong, in one line, when it could not.
    std::optional<QString> install(const QString &accelerator, const QString &command);
    // Takes the entry out of the list and clears it.
    std::optional<QString> remove();

    // `program --toggle` as GNOME splits a command line into arguments (g_shell_parse_argv).
    [[nodiscard]] static QString toggleCommand(const QString &program);

signals:
    // The entry or the list changed, here or in GNOME Settings. Needs the GLib event loop, which
    // is Qt's on Linux unless QT_NO_GLIB is set.
    void changed();

private:
    struct Settings;
    std::unique_ptr<Settings> m_settings;
};
