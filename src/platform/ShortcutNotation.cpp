#include "ShortcutNotation.h"

#include "platform/KeyCodeTable.h"
#include "platform/KeyboardLayout.h"

#include <QKeySequence>

#include <xkbcommon/xkbcommon.h>

namespace {

struct Named {
    xkb_keysym_t sym;
    Qt::Key key;
};

// Keys that type no character, or a character Qt gives a key of its own.
constexpr Named namedKeys[] = {
    {XKB_KEY_Return, Qt::Key_Return}, {XKB_KEY_KP_Enter, Qt::Key_Enter},
    {XKB_KEY_Tab, Qt::Key_Tab},       {XKB_KEY_ISO_Left_Tab, Qt::Key_Backtab},
    {XKB_KEY_space, Qt::Key_Space},   {XKB_KEY_BackSpace, Qt::Key_Backspace},
    {XKB_KEY_Escape, Qt::Key_Escape}, {XKB_KEY_Delete, Qt::Key_Delete},
    {XKB_KEY_Insert, Qt::Key_Insert}, {XKB_KEY_Home, Qt::Key_Home},
    {XKB_KEY_End, Qt::Key_End},       {XKB_KEY_Prior, Qt::Key_PageUp},
    {XKB_KEY_Next, Qt::Key_PageDown}, {XKB_KEY_Left, Qt::Key_Left},
    {XKB_KEY_Right, Qt::Key_Right},   {XKB_KEY_Up, Qt::Key_Up},
    {XKB_KEY_Down, Qt::Key_Down},     {XKB_KEY_Menu, Qt::Key_Menu},
    {XKB_KEY_Print, Qt::Key_Print},   {XKB_KEY_Pause, Qt::Key_Pause},
};

std::optional<Qt::Key> qtKeyOf(xkb_keysym_t sym)
{
    for (const Named &named : namedKeys) {
        if (named.sym == sym)
            return named.key;
    }
    if (sym >= XKB_KEY_F1 && sym <= XKB_KEY_F35)
        return Qt::Key(Qt::Key_F1 + int(sym - XKB_KEY_F1));
    const char32_t ucs = xkb_keysym_to_utf32(sym);
    if (ucs < 0x20 || ucs == 0x7f)
        return std::nullopt;
    // Qt names a character key by its upper-case form, as Latin-1 keys are numbered.
    const QString upper = QString::fromUcs4(&ucs, 1).toUpper();
    const char32_t key = upper.size() == 1 ? upper.at(0).unicode() : ucs;
    return Qt::Key(key);
}

QString keysymName(xkb_keysym_t sym)
{
    if (sym == XKB_KEY_NoSymbol)
        return {};
    char name[64];
    const int size = xkb_keysym_get_name(sym, name, sizeof name);
    return size > 0 ? QString::fromLatin1(name, size) : QString();
}

struct ModifierName {
    Shortcut::Modifier modifier;
    QStringView name;
};

// The modifiers' names in the notation's order, then the key's keysym name.
std::optional<QString> written(const Shortcut &shortcut, const KeyboardLayout *layout,
                               std::initializer_list<ModifierName> names)
{
    const QString key = keysymName(ShortcutNotation::keysym(shortcut.keyCode(), layout));
    if (key.isEmpty())
        return std::nullopt;
    QString text;
    for (const ModifierName &each : names) {
        if (shortcut.modifiers() & each.modifier)
            text += each.name;
    }
    return text + key;
}

} // namespace

quint32 ShortcutNotation::keysym(quint16 keyCode, const KeyboardLayout *layout)
{
    const auto x11 = KeyCodeTable::x11For(keyCode);
    return layout && x11 ? layout->keysym(*x11) : XKB_KEY_NoSymbol;
}

QString ShortcutNotation::label(const Shortcut &shortcut, const KeyboardLayout *layout)
{
    QString text;
    const quint32 modifiers = shortcut.modifiers();
    if (modifiers & Shortcut::Command)
        text += u"Super+"_qs;
    if (modifiers & Shortcut::Control)
        text += u"Ctrl+"_qs;
    if (modifiers & Shortcut::Option)
        text += u"Alt+"_qs;
    if (modifiers & Shortcut::Shift)
        text += u"Shift+"_qs;
    const auto key = qtKey(Shortcut(shortcut.keyCode(), 0), layout);
    if (!key)
        return text + u'?';
    return text + QKeySequence(*key).toString(QKeySequence::NativeText);
}

std::optional<QKeyCombination> ShortcutNotation::qtKey(const Shortcut &shortcut,
                                                       const KeyboardLayout *layout)
{
    const auto key = qtKeyOf(keysym(shortcut.keyCode(), layout));
    if (!key)
        return std::nullopt;
    Qt::KeyboardModifiers modifiers;
    if (shortcut.modifiers() & Shortcut::Shift)
        modifiers |= Qt::ShiftModifier;
    if (shortcut.modifiers() & Shortcut::Control)
        modifiers |= Qt::ControlModifier;
    if (shortcut.modifiers() & Shortcut::Option)
        modifiers |= Qt::AltModifier;
    if (shortcut.modifiers() & Shortcut::Command)
        modifiers |= Qt::MetaModifier;
    return QKeyCombination(modifiers, *key);
}

std::optional<Shortcut> ShortcutNotation::fromQtKey(QKeyCombination key,
                                                    const KeyboardLayout *layout)
{
    if (!layout)
        return std::nullopt;
    const Qt::KeyboardModifiers qtModifiers = key.keyboardModifiers();
    quint32 modifiers = 0;
    if (qtModifiers & Qt::ShiftModifier)
        modifiers |= Shortcut::Shift;
    if (qtModifiers & Qt::ControlModifier)
        modifiers |= Shortcut::Control;
    if (qtModifiers & Qt::AltModifier)
        modifiers |= Shortcut::Option;
    if (qtModifiers & Qt::MetaModifier)
        modifiers |= Shortcut::Command;
    // Stored codes are the Mac numbering, which ends below 128, then keys it has no code for.
    for (int evdev = 1; evdev <= KeyCodeTable::evdevMax; ++evdev) {
        const auto keyCode = KeyCodeTable::keyCodeForEvdev(evdev);
        if (!keyCode)
            continue;
        const auto typed = qtKeyOf(keysym(*keyCode, layout));
        if (typed && *typed == key.key())
            return Shortcut(*keyCode, modifiers);
    }
    return std::nullopt;
}

std::optional<QString> ShortcutNotation::portalTrigger(const Shortcut &shortcut,
                                                       const KeyboardLayout *layout)
{
    return written(shortcut, layout,
                   {{Shortcut::Control, u"CTRL+"},
                    {Shortcut::Option, u"ALT+"},
                    {Shortcut::Shift, u"SHIFT+"},
                    {Shortcut::Command, u"LOGO+"}});
}

std::optional<QString> ShortcutNotation::gtkAccelerator(const Shortcut &shortcut,
                                                        const KeyboardLayout *layout)
{
    return written(shortcut, layout,
                   {{Shortcut::Control, u"<Control>"},
                    {Shortcut::Option, u"<Alt>"},
                    {Shortcut::Shift, u"<Shift>"},
                    {Shortcut::Command, u"<Super>"}});
}

std::optional<QString> ShortcutNotation::swayKeys(const Shortcut &shortcut,
                                                  const KeyboardLayout *layout)
{
    return written(shortcut, layout,
                   {{Shortcut::Command, u"Mod4+"},
                    {Shortcut::Control, u"Ctrl+"},
                    {Shortcut::Option, u"Mod1+"},
                    {Shortcut::Shift, u"Shift+"}});
}
