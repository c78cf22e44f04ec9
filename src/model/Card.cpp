#include "Card.h"

#include <QRandomGenerator>

#include <array>
#include <cstring>

Card::Card(QString text, QStringList extraLines)
    : m_text(std::move(text)), m_extraLines(std::move(extraLines))
{}

Card::Card(QUuid id, QString text, QStringList extraLines)
    : m_id(id), m_text(std::move(text)), m_extraLines(std::move(extraLines))
{}

QUuid Card::newId()
{
    // A version 4 UUID from the process-wide generator: ids only need to be unique within this
    // run, and parsing a large board should not cost one system call per card.
    std::array<quint32, 4> words;
    QRandomGenerator::global()->fillRange(words.data(), words.size());
    std::array<uchar, 16> b;
    std::memcpy(b.data(), words.data(), b.size());
    b[6] = uchar((b[6] & 0x0F) | 0x40);
    b[8] = uchar((b[8] & 0x3F) | 0x80);
    return QUuid::fromRfc4122(QByteArrayView(b.data(), qsizetype(b.size())));
}

size_t qHash(const Card &card, size_t salt) noexcept
{
    QtPrivate::QHashCombine combine;
    salt = combine(salt, card.id());
    salt = combine(salt, card.text());
    salt = combine(salt, card.extraLines().size());
    for (const QString &line : card.extraLines())
        salt = combine(salt, line);
    return salt;
}
