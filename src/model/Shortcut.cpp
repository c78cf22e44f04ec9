#include "Shortcut.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <limits>

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
