#pragma once

#include "model/Shortcut.h"

#include <QKeyCombination>
#include <QString>

#include <optional>

class KeyboardLayout;

// A shortcut written the way each desktop writes it. The key is named by what it types in
// `layout` without modifiers, so Alt+N stays on the key marked N on any layout. Each is null
// when the key types nothing that notation can name.
class ShortcutNotation {
public:
    ShortcutNotation() = delete;

    // The XKB keysym of the key's first level; 0 when there is none.
    [[nodiscard]] static quint32 keysym(quint16 keyCode, const KeyboardLayout *layout);

    // As Plasma and GNOME show it: "Alt+N", "Ctrl+Tab", "Super+Shift+Space".
    [[nodiscard]] static QString label(const Shortcut &shortcut, const KeyboardLayout *layout);
    // Qt's key combination, as KDE's global shortcut service stores it.
    [[nodiscard]] static std::optional<QKeyCombination> qtKey(const Shortcut &shortcut,
                                                              const KeyboardLayout *layout);
    // Back from Qt's key combination: the key that types that key in `layout` without
    // modifiers, the lowest stored code when several do (the main row before the keypad).
    // Null when no key does.
    [[nodiscard]] static std::optional<Shortcut> fromQtKey(QKeyCombination key,
                                                           const KeyboardLayout *layout);
    // The freedesktop shortcut notation of the GlobalShortcuts portal: "ALT+n", "CTRL+Tab",
    // "LOGO+SHIFT+space".
    [[nodiscard]] static std::optional<QString> portalTrigger(const Shortcut &shortcut,
                                                              const KeyboardLayout *layout);
    // A GTK accelerator, as GNOME's keybinding settings store it: "<Alt>n", "<Control>Tab".
    [[nodiscard]] static std::optional<QString> gtkAccelerator(const Shortcut &shortcut,
                                                               const KeyboardLayout *layout);
    // sway's and i3's bindsym keys: "Mod1+n", "Mod4+Shift+space".
    [[nodiscard]] static std::optional<QString> swayKeys(const Shortcut &shortcut,
                                                         const KeyboardLayout *layout);
};
