#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

struct xkb_context;
struct xkb_keymap;
struct xkb_state;
struct xcb_connection_t;

// One keyboard layout, used to name keys the way the user's keyboard labels them.
class KeyboardLayout {
public:
    ~KeyboardLayout();
    KeyboardLayout(const KeyboardLayout &) = delete;
    KeyboardLayout &operator=(const KeyboardLayout &) = delete;

    // A layout compiled from XKB names ("us", "de", "fr"...); empty names give the system default.
    // Null when the layout cannot be compiled.
    [[nodiscard]] static std::unique_ptr<KeyboardLayout> fromNames(const QString &layout = {},
                                                                   const QString &variant = {});
    // The X server's keymap in its active group. Null without the XKB extension.
    [[nodiscard]] static std::unique_ptr<KeyboardLayout> fromX11(xcb_connection_t *connection);

    // A keymap in XKB's text format, as a Wayland compositor sends it, in the given group. Null
    // when it does not compile.
    [[nodiscard]] static std::unique_ptr<KeyboardLayout> fromText(const QByteArray &keymap,
                                                                  quint32 group);

    // The layout key names use: the X server's when the application runs on X11, the
    // compositor's on Wayland once it has sent one, otherwise the default keymap. Null only when no
    // keymap can be had at all. Main thread only.
    [[nodiscard]] static const KeyboardLayout *current();
    // Forget the cached current layout, after the keymap or the active group changed.
    static void invalidateCurrent();

    // What the key types without modifiers, upper-cased; empty when it types nothing printable.
    [[nodiscard]] QString keyName(quint32 x11Keycode) const;
    // The keysym the key types without modifiers; 0 (NoSymbol) when it types nothing.
    [[nodiscard]] quint32 keysym(quint32 x11Keycode) const;

private:
    KeyboardLayout(xkb_context *context, xkb_keymap *keymap, quint32 layoutIndex);
    // The Wayland compositor's keymap; null until it has sent one. Main thread only.
    [[nodiscard]] static std::unique_ptr<KeyboardLayout> fromWayland();

    xkb_context *m_context;
    xkb_keymap *m_keymap;
    xkb_state *m_state;
};
