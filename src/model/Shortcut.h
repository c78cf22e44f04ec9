#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <Qt>

#include <optional>

// A key and its modifiers. The key is in the Mac virtual key numbering and the modifiers in
// AppKit's bit layout, so stored shortcuts read the same on every platform. Reading keys and
// naming them is the platform's business (ShortcutKeys, ShortcutNotation).
class Shortcut {
    Q_GADGET
    Q_PROPERTY(quint16 keyCode READ keyCode CONSTANT)
    Q_PROPERTY(quint32 modifiers READ modifiers CONSTANT)

public:
    enum Modifier : quint32 {
        Shift = 0x20000,
        Control = 0x40000,
        Option = 0x80000,
        Command = 0x100000,
    };
    static constexpr quint32 relevant = Shift | Control | Option | Command;

    static constexpr quint16 keyN = 45;
    static constexpr quint16 keyReturn = 36;
    static constexpr quint16 keyTab = 48;
    static constexpr quint16 keySpace = 49;
    static constexpr quint16 keyDelete = 51;
    static constexpr quint16 keyEscape = 53;

    constexpr Shortcut() = default;
    constexpr Shortcut(quint16 keyCode, quint32 modifiers)
        : m_keyCode(keyCode), m_modifiers(modifiers)
    {}

    [[nodiscard]] static constexpr Shortcut defaultOpen() { return {keyN, Option}; }
    [[nodiscard]] static constexpr Shortcut defaultSwitchTab() { return {keyTab, Control}; }

    // Only Shift, Control, Alt and Super count; Caps Lock, NumLock and keypad state never do.
    [[nodiscard]] static quint32 modifierBits(Qt::KeyboardModifiers modifiers);

    [[nodiscard]] constexpr quint16 keyCode() const { return m_keyCode; }
    [[nodiscard]] constexpr quint32 modifiers() const { return m_modifiers; }

    // A shortcut needs Control, Option or Command; Shift alone would steal typing.
    [[nodiscard]] constexpr bool isUsable() const
    {
        return (m_modifiers & (Control | Option | Command)) != 0;
    }

    // JSON with exactly the keys "keyCode" and "modifiers".
    [[nodiscard]] QByteArray toJson() const;
    [[nodiscard]] static std::optional<Shortcut> fromJson(const QByteArray &json);

    friend constexpr bool operator==(const Shortcut &, const Shortcut &) = default;

private:
    quint16 m_keyCode = 0;
    quint32 m_modifiers = 0;
};

Q_DECLARE_METATYPE(Shortcut)
