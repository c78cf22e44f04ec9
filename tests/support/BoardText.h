#pragma once

#include "model/Board.h"

#include <QByteArray>
#include <QStringList>

// A board file with `todo`, `doing` and `done` numbered cards in the three lanes.
inline QByteArray boardText(int todo, int doing, int done)
{
    const auto cards = [](int count, const QString &prefix) {
        QList<Card> list;
        for (int i = 0; i < count; ++i)
            list.append(Card(prefix + QString::number(i + 1)));
        return list;
    };
    return Board({Lane(u"To do"_qs, cards(todo, u"Task "_qs)),
                  Lane(u"Doing"_qs, cards(doing, u"Busy with "_qs)),
                  Lane(u"Done"_qs, cards(done, u"Finished "_qs), true)})
        .markdown()
        .toUtf8();
}

// A board file with these cards in the three lanes, Done marked complete.
inline QByteArray boardText(const QStringList &todo, const QStringList &doing,
                            const QStringList &done)
{
    const auto cards = [](const QStringList &texts) {
        QList<Card> list;
        for (const QString &text : texts)
            list.append(Card(text));
        return list;
    };
    return Board({Lane(u"To do"_qs, cards(todo)), Lane(u"Doing"_qs, cards(doing)),
                  Lane(u"Done"_qs, cards(done), true)})
        .markdown()
        .toUtf8();
}

// The texts of the cards in `board`'s lane of `kind`, top to bottom.
inline QStringList texts(const Board &board, LaneKind kind)
{
    QStringList result;
    for (const Card &card : board.cards(kind))
        result.append(card.text());
    return result;
}
