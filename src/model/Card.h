#pragma once

#include <QHashFunctions>
#include <QString>
#include <QStringList>
#include <QUuid>

// One task. The id lives only in memory: every card made (parsing included) gets a fresh one.
class Card {
public:
    Card() = default;
    explicit Card(QString text, QStringList extraLines = {});
    Card(QUuid id, QString text, QStringList extraLines);

    [[nodiscard]] static QUuid newId();

    [[nodiscard]] const QUuid &id() const { return m_id; }
    [[nodiscard]] const QString &text() const { return m_text; }
    [[nodiscard]] const QStringList &extraLines() const { return m_extraLines; }

    void setText(const QString &text) { m_text = text; }
    void setExtraLines(const QStringList &lines) { m_extraLines = lines; }
    void appendExtraLine(const QString &line) { m_extraLines.append(line); }

    friend bool operator==(const Card &a, const Card &b)
    {
        return a.m_id == b.m_id && a.m_text == b.m_text && a.m_extraLines == b.m_extraLines;
    }

private:
    QUuid m_id = newId();
    QString m_text;
    // Continuation lines kept whole, indentation included.
    QStringList m_extraLines;
};

size_t qHash(const Card &card, size_t salt = 0) noexcept;
