#pragma once

#include <QString>

#include <optional>

// Starting with the desktop session, through an XDG autostart entry:
// $XDG_CONFIG_HOME/autostart/<app id>.desktop. It counts as on when the file exists and does not
// say Hidden=true (which is how desktops switch an entry off without deleting it).
class LaunchAtLogin {
public:
    static constexpr QStringView appId = u"io.tallowfern.Tallowfern";

    LaunchAtLogin() = delete;

    [[nodiscard]] static QString entryPath();
    [[nodiscard]] static bool isEnabled();
    // Writes or removes the entry; the reason when that failed. `program` is the absolute path
    // the session should start.
    static std::optional<QString> setEnabled(bool on, const QString &program);

    // The entry's text for `program`, with the path quoted as desktop entries require.
    [[nodiscard]] static QByteArray entryText(const QString &program);
    [[nodiscard]] static QString quotedExec(const QString &program);
};
