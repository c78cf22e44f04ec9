#pragma once

#include <QString>

#include <optional>

// What the Settings tab asks of the desktop: a folder chooser and the file manager. One instance
// serves the whole process; the application installs the real one and tests their own, so that
// no test ever waits on a dialog.
class DesktopServices {
public:
    DesktopServices() = default;
    virtual ~DesktopServices();
    DesktopServices(const DesktopServices &) = delete;
    DesktopServices &operator=(const DesktopServices &) = delete;

    // A modal folder chooser titled `title`, opened in `start`, in front of every other window.
    // The chosen folder, or none when the user cancelled.
    virtual std::optional<QString> chooseFolder(const QString &title, const QString &start) = 0;
    // Shows `path` selected in its folder in the file manager.
    virtual void reveal(const QString &path) = 0;

    // Null while none is installed: then every dialog counts as cancelled and nothing is shown.
    [[nodiscard]] static DesktopServices *current();
    // Not owned. An instance that goes away while installed uninstalls itself.
    static void setCurrent(DesktopServices *services);
};
