#include "Shortcut.h"

#include "platform/KeyCodeTable.h"
#include "platform/KeyboardLayout.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>

#include <cmath>
#include <limits>

namespace {

// X11 core modifier masks (ShiftMask, ControlMask, Mod1Mask, Mod4Mask).
constexpr quint16 x11Shift = 1 << 0;
constexpr quint16 x11Control = 1 << 2;
constexpr quint16 x11Mod1 = 1 << 3;
constexpr quint16 x11Mod4 = 1 << 6;

} // namespace

quint32 Shortcut::modifierBits(Qt::KeyboardModifiers modifiers)
{
    quint32 bits = 0;
    if (modifiers & Qt::ShiftModifier)
        bits |= Shift;
    if (modifiers & Qt::ControlModifier)
        bits |= Control;
    if (modifiers & Qt::AltModifier)
        bits |= Option;
    if (modifiers & Qt::MetaModifier)
        bits |= Command;
    return bits;
}

std::optional<Shortcut> Shortcut::fromNative(quint32 x11Keycode, Qt::KeyboardModifiers modifiers)
{
    const auto keyCode = KeyCodeTable::keyCodeForX11(x11Keycode);
    if (!keyCode)
        return std::nullopt;
    return Shortcut(*keyCode, modifierBits(modifiers));
}

std::optional<Shortcut> Shortcut::fromKeyEvent(const QKeyEvent &event)
{
    return fromNative(event.nativeScanCode(), event.modifiers());
}

bool Shortcut::matches(const QKeyEvent &event) const
{
    const auto pressed = fromKeyEvent(event);
    return pressed && *pressed == *this;
}

quint16 Shortcut::x11Modifiers() const
{
    quint16 mask = 0;
    if (m_modifiers & Shift)
        mask |= x11Shift;
    if (m_modifiers & Control)
        mask |= x11Control;
    if (m_modifiers & Option)
        mask |= x11Mod1;
    if (m_modifiers & Command)
        mask |= x11Mod4;
    return mask;
}

QString Shortcut::label() const
{
    return label(KeyboardLayout::current());
}

QString Shortcut::label(const KeyboardLayout *layout) const
{
    QString text;
    if (m_modifiers & Control)
        text += u'\u2303';
    if (m_modifiers & Option)
        text += u'\u2325';
    if (m_modifiers & Shift)
        text += u'\u21E7';
    if (m_modifiers & Command)
        text += u'\u2318';
    return text + keyName(m_keyCode, layout);
}

QString Shortcut::keyName(quint16 keyCode)
{
    return keyName(keyCode, KeyboardLayout::current());
}

QString Shortcut::keyName(quint16 keyCode, const KeyboardLayout *layout)
{
    switch (keyCode) {
    case keyReturn:
        return QStringLiteral("\u21A9");
    case keyTab:
        return QStringLiteral("\u21E5");
    case keySpace:
        return QStringLiteral("Space");
    case keyDelete:
        return QStringLiteral("\u232B");
    case keyEscape:
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
    const QString name = layout->keyName(*x11);
    return name.isEmpty() ? QStringLiteral("?") : name;
}

QByteArray Shortcut::toJson() const
{
    QJsonObject object;
    object.insert(QStringLiteral("keyCode"), int(m_keyCode));
    object.insert(QStringLiteral("modifiers"), qint64(m_modifiers));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Shortcut> Shortcut::fromJson(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const QJsonValue keyCode = object.value(QStringLiteral("keyCode"));
    const QJsonValue modifiers = object.value(QStringLiteral("modifiers"));
    if (!keyCode.isDouble() || !modifiers.isDouble())
        return std::nullopt;
    // Whole numbers in range only: 45.5 or -1 is a damaged record, not a key. The range is
    // checked before any conversion, which would be undefined for huge values.
    const double key = keyCode.toDouble();
    const double mods = modifiers.toDouble();
    if (!(key >= 0 && key <= std::numeric_limits<quint16>::max()) || key != std::floor(key))
        return std::nullopt;
    if (!(mods >= 0 && mods <= std::numeric_limits<quint32>::max()) || mods != std::floor(mods))
        return std::nullopt;
    return Shortcut(quint16(key), quint32(mods));
}
