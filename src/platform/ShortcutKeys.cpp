#include "ShortcutKeys.h"

#include "platform/KeyCodeTable.h"
#include "platform/KeyboardLayout.h"

#include <QKeyEvent>

#include <xkbcommon/xkbcommon.h>

namespace {

// X11 core modifier masks (ShiftMask, ControlMask, Mod1Mask, Mod4Mask).
constexpr quint16 x11Shift = 1 << 0;
constexpr quint16 x11Control = 1 << 2;
constexpr quint16 x11Mod1 = 1 << 3;
constexpr quint16 x11Mod4 = 1 << 6;

} // namespace

std::optional<Shortcut> ShortcutKeys::fromNative(quint32 x11Keycode,
                                                 Qt::KeyboardModifiers modifiers)
{
    const auto keyCode = KeyCodeTable::keyCodeForX11(x11Keycode);
    if (!keyCode)
        return std::nullopt;
    return Shortcut(*keyCode, Shortcut::modifierBits(modifiers));
}

std::optional<Shortcut> ShortcutKeys::fromKeyEvent(const QKeyEvent &event)
{
    return fromNative(event.nativeScanCode(), event.modifiers());
}

bool ShortcutKeys::matches(const Shortcut &shortcut, const QKeyEvent &event)
{
    const auto pressed = fromKeyEvent(event);
    return pressed && *pressed == shortcut;
}

quint16 ShortcutKeys::x11Modifiers(const Shortcut &shortcut)
{
    const quint32 modifiers = shortcut.modifiers();
    quint16 mask = 0;
    if (modifiers & Shortcut::Shift)
        mask |= x11Shift;
    if (modifiers & Shortcut::Control)
        mask |= x11Control;
    if (modifiers & Shortcut::Option)
        mask |= x11Mod1;
    if (modifiers & Shortcut::Command)
        mask |= x11Mod4;
    return mask;
}

QString ShortcutKeys::label(const Shortcut &shortcut)
{
    return label(shortcut, KeyboardLayout::current());
}

QString ShortcutKeys::label(const Shortcut &shortcut, const KeyboardLayout *layout)
{
    const quint32 modifiers = shortcut.modifiers();
    QString text;
    if (modifiers & Shortcut::Control)
        text += u'\u2303';
    if (modifiers & Shortcut::Option)
        text += u'\u2325';
    if (modifiers & Shortcut::Shift)
        text += u'\u21E7';
    if (modifiers & Shortcut::Command)
        text += u'\u2318';
    return text + keyName(shortcut.keyCode(), layout);
}

QString ShortcutKeys::keyName(quint16 keyCode)
{
    return keyName(keyCode, KeyboardLayout::current());
}

QString ShortcutKeys::keyName(quint16 keyCode, const KeyboardLayout *layout)
{
    switch (keyCode) {
    case Shortcut::keyReturn:
        return QStringLiteral("\u21A9");
    case Shortcut::keyTab:
        return QStringLiteral("\u21E5");
    case Shortcut::keySpace:
        return QStringLiteral("Space");
    case Shortcut::keyDelete:
        return QStringLiteral("\u232B");
    case Shortcut::keyEscape:
        return QStringLiteral("\u238B");
    case 123:
        return QStringLiteral("\u2190");
    case 124:
        return QStringLiteral("\u2192");
    case 125:
        return QStringLiteral("\u2193");
    case 126:
        return QStringLiteral("\u2191");
    default:
        break;
    }
    const auto x11 = KeyCodeTable::x11For(keyCode);
    if (!layout || !x11)
        return QStringLiteral("?");
    const quint32 sym = layout->keysym(*x11);
    if (const QString name = layout->keyName(*x11); !name.isEmpty()) {
        // Keypad keys type what other keys type too: "Keypad +", not "+".
        const bool keypad = sym >= XKB_KEY_KP_Space && sym <= XKB_KEY_KP_9;
        return keypad ? u"Keypad "_qs + name : name;
    }
    return keysymName(sym);
}

QString ShortcutKeys::keysymName(quint32 keysym)
{
    // Keys that type nothing printable go by their keysym's name: "Insert", "Menu", "F13",
    // "Keypad Add", "Audio Mute".
    char name[64];
    if (keysym == XKB_KEY_NoSymbol || xkb_keysym_get_name(keysym, name, sizeof name) <= 0)
        return QStringLiteral("?");
    QString text = QString::fromLatin1(name);
    if (text.startsWith(u"XF86"))
        text.remove(0, 4);
    if (text.startsWith(u"KP_"))
        text.replace(0, 3, u"Keypad "_qs);
    text.replace(u'_', u' ');
    // "AudioMute" → "Audio Mute"
    for (qsizetype i = text.size() - 1; i > 0; --i) {
        if (text[i].isUpper() && text[i - 1].isLower())
            text.insert(i, u' ');
    }
    return text;
}
