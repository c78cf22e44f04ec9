#pragma once

#include "model/Shortcut.h"

#include <QString>
#include <Qt>

#include <optional>

class KeyboardLayout;
class QKeyEvent;

// Shortcuts as the keyboard gives and shows them: read from key presses by the physical key, so
// they survive a change of layout, and named with the glyphs of the panel's own labels in the
// user's layout.
class ShortcutKeys {
public:
    ShortcutKeys() = delete;

    // From a key press: any key with a key code. Null for a code outside the keyboard's range.
    [[nodiscard]] static std::optional<Shortcut> fromKeyEvent(const QKeyEvent &event);
    [[nodiscard]] static std::optional<Shortcut> fromNative(quint32 x11Keycode,
                                                            Qt::KeyboardModifiers modifiers);
    [[nodiscard]] static bool matches(const Shortcut &shortcut, const QKeyEvent &event);
    // The modifiers as an X11 key-grab mask: Shift, Control, Mod1 (Alt) and Mod4 (Super).
    [[nodiscard]] static quint16 x11Modifiers(const Shortcut &shortcut);

    // "⌥N", "⌃⇥": modifier glyphs, then the key's name.
    [[nodiscard]] static QString label(const Shortcut &shortcut);
    [[nodiscard]] static QString label(const Shortcut &shortcut, const KeyboardLayout *layout);
    // The key part of a label, named in the user's current keyboard layout; "?" if it has none.
    [[nodiscard]] static QString keyName(quint16 keyCode);
    [[nodiscard]] static QString keyName(quint16 keyCode, const KeyboardLayout *layout);
    // A keysym's name made readable ("Keypad Add", "Audio Mute"); "?" for none.
    [[nodiscard]] static QString keysymName(quint32 keysym);
};
