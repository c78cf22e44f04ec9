#pragma once

#include "Card.h"

#include <QList>
#include <QString>

class Lane {
public:
    Lane() = default;
    explicit Lane(QString title, QList<Card> cards = {}, bool isComplete = false)
        : m_title(std::move(title)), m_cards(std::move(cards)), m_isComplete(isComplete)
    {}

    [[nodiscard]] const QString &title() const { return m_title; }
    [[nodiscard]] const QList<Card> &cards() const { return m_cards; }
    [[nodiscard]] QList<Card> &cards() { return m_cards; }
    // Cards of a complete lane are written checked, and its heading is followed by the marker.
    [[nodiscard]] bool isComplete() const { return m_isComplete; }

    void setTitle(const QString &title) { m_title = title; }
    void setComplete(bool complete) { m_isComplete = complete; }

    friend bool operator==(const Lane &a, const Lane &b)
    {
        return a.m_title == b.m_title && a.m_isComplete == b.m_isComplete && a.m_cards == b.m_cards;
    }

private:
    QString m_title;
    QList<Card> m_cards;
    bool m_isComplete = false;
};
