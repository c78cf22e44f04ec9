#include "LaneModel.h"

#include "CardMarkup.h"

#include <QSet>

#include <algorithm>

namespace {

// Positions in `sequence` of one longest strictly increasing subsequence.
QList<qsizetype> longestIncreasing(const QList<qsizetype> &sequence)
{
    QList<qsizetype> tails; // index into sequence of the last element of each length
    QList<qsizetype> previous(sequence.size(), -1);
    for (qsizetype i = 0; i < sequence.size(); ++i) {
        const auto slot =
            std::lower_bound(tails.begin(), tails.end(), sequence[i],
                             [&](qsizetype t, qsizetype v) { return sequence[t] < v; });
        if (slot != tails.begin())
            previous[i] = *(slot - 1);
        if (slot == tails.end())
            tails.append(i);
        else
            *slot = i;
    }
    QList<qsizetype> result;
    for (qsizetype i = tails.isEmpty() ? -1 : tails.last(); i >= 0; i = previous[i])
        result.prepend(i);
    return result;
}

bool sameContent(const Card &a, const Card &b)
{
    return a.text() == b.text() && a.extraLines() == b.extraLines();
}

} // namespace

LaneModel::LaneModel(LaneKind kind, QObject *parent) : QAbstractListModel(parent), m_kind(kind) {}

void LaneModel::setReadOnly(bool readOnly)
{
    if (m_readOnly == readOnly)
        return;
    m_readOnly = readOnly;
    emit readOnlyChanged();
}

QString LaneModel::placeholder() const
{
    if (m_readOnly)
        return u"Nothing here"_qs;
    return m_kind == LaneKind::Done ? u"Nothing done yet"_qs : u"Drop tasks here"_qs;
}

QString LaneModel::checkToolTip() const
{
    if (m_readOnly)
        return {};
    return m_kind == LaneKind::Done ? u"Move back to To do"_qs : u"Mark done"_qs;
}

QString LaneModel::advanceToolTip() const
{
    return u"Move to "_qs + m_kind.next().title();
}

int LaneModel::checkState() const
{
    switch (m_kind.value()) {
    case LaneKind::Done:
        return Qt::Checked;
    case LaneKind::Doing:
        return Qt::PartiallyChecked;
    case LaneKind::Todo:
        break;
    }
    return Qt::Unchecked;
}

QString LaneModel::checkName(const QString &cardText) const
{
    return m_kind == LaneKind::Done ? u"Move “%1” back to To do"_qs.arg(cardText)
                                    : u"Mark “%1” done"_qs.arg(cardText);
}

QString LaneModel::advanceName(const QString &cardText) const
{
    return u"Move “%1” to %2"_qs.arg(cardText, m_kind.next().title());
}

LaneModel::Handover LaneModel::setCards(const QList<Card> &cards, Reuse reuse)
{
    // Which current row each new card takes: the row with its id; failing that, a row nobody
    // claimed with the same text; failing that, the next unclaimed row in order. A re-read of
    // the file thus changes rows in place instead of replacing every one of them.
    QHash<QUuid, qsizetype> rowOfId;
    rowOfId.reserve(m_cards.size());
    for (qsizetype row = 0; row < m_cards.size(); ++row)
        rowOfId.insert(m_cards[row].id(), row);

    QList<qsizetype> claimed(cards.size(), -1);
    QList<bool> taken(m_cards.size(), false);
    for (qsizetype i = 0; i < cards.size(); ++i) {
        const auto found = rowOfId.constFind(cards[i].id());
        if (found != rowOfId.cend()) {
            claimed[i] = *found;
            taken[*found] = true;
        }
    }
    const bool allKnown = std::find(claimed.cbegin(), claimed.cend(), -1) == claimed.cend();
    if (!allKnown && reuse == Reuse::IdsAndContent) {
        QHash<QString, QList<qsizetype>> freeByText;
        for (qsizetype row = m_cards.size() - 1; row >= 0; --row) {
            if (!taken[row])
                freeByText[m_cards[row].text()].append(row);
        }
        for (qsizetype i = 0; i < cards.size(); ++i) {
            if (claimed[i] >= 0)
                continue;
            auto same = freeByText.find(cards[i].text());
            if (same == freeByText.end() || same->isEmpty())
                continue;
            claimed[i] = same->takeLast();
            taken[claimed[i]] = true;
        }
        qsizetype nextFree = 0;
        for (qsizetype i = 0; i < cards.size(); ++i) {
            if (claimed[i] >= 0)
                continue;
            while (nextFree < taken.size() && taken[nextFree])
                ++nextFree;
            if (nextFree == taken.size())
                break;
            claimed[i] = nextFree;
            taken[nextFree] = true;
        }
    }

    const int countBefore = count();

    // Rows no card wants go first, from the bottom so that the numbers above stay valid.
    QList<QUuid> keys;
    keys.reserve(m_cards.size());
    for (const Card &card : std::as_const(m_cards))
        keys.append(card.id());
    QList<QUuid> wanted(cards.size());
    for (qsizetype i = 0; i < cards.size(); ++i)
        wanted[i] = claimed[i] >= 0 ? keys[claimed[i]] : QUuid();
    for (qsizetype row = m_cards.size() - 1; row >= 0; --row) {
        if (taken[row])
            continue;
        beginRemoveRows({}, int(row), int(row));
        m_cards.removeAt(row);
        keys.removeAt(row);
        endRemoveRows();
    }

    // The rows that keep their order among themselves stay put; every other row, and every new
    // card, is placed right after the row that comes before it, in order.
    QHash<QUuid, qsizetype> position;
    for (qsizetype row = 0; row < keys.size(); ++row)
        position.insert(keys[row], row);
    QList<qsizetype> kept;
    QList<qsizetype> keptAt;
    for (qsizetype i = 0; i < cards.size(); ++i) {
        if (!wanted[i].isNull()) {
            kept.append(position.value(wanted[i]));
            keptAt.append(i);
        }
    }
    QSet<qsizetype> stays;
    for (qsizetype k : longestIncreasing(kept))
        stays.insert(keptAt[k]);

    for (qsizetype i = 0; i < cards.size(); ++i) {
        if (stays.contains(i))
            continue;
        const QUuid previousKey =
            i == 0 ? QUuid() : (wanted[i - 1].isNull() ? cards[i - 1].id() : wanted[i - 1]);
        const qsizetype destination = i == 0 ? 0 : keys.indexOf(previousKey) + 1;
        if (wanted[i].isNull()) {
            beginInsertRows({}, int(destination), int(destination));
            m_cards.insert(destination, cards[i]);
            keys.insert(destination, cards[i].id());
            endInsertRows();
            continue;
        }
        const qsizetype from = keys.indexOf(wanted[i]);
        if (destination == from || destination == from + 1)
            continue;
        beginMoveRows({}, int(from), int(from), {}, int(destination));
        const qsizetype to = from < destination ? destination - 1 : destination;
        m_cards.move(from, to);
        keys.move(from, to);
        endMoveRows();
    }

    Handover handover;
    for (qsizetype row = 0; row < cards.size(); ++row) {
        if (m_cards[row].id() != cards[row].id())
            handover.insert(m_cards[row].id(), cards[row].id());
        if (m_cards[row] == cards[row])
            continue;
        const bool contentChanged = !sameContent(m_cards[row], cards[row]);
        m_cards[row] = cards[row];
        const QModelIndex changed = index(int(row));
        if (contentChanged)
            emit dataChanged(changed, changed,
                             {IdRole, TextRole, MarkupRole, DetailRole, DetailLinesRole});
        else
            emit dataChanged(changed, changed, {IdRole});
    }

    if (count() != countBefore)
        emit countChanged();
    return handover;
}

int LaneModel::indexOf(const QString &id) const
{
    return indexOf(QUuid::fromString(id));
}

int LaneModel::indexOf(const QUuid &id) const
{
    if (id.isNull())
        return -1;
    for (qsizetype row = 0; row < m_cards.size(); ++row) {
        if (m_cards[row].id() == id)
            return int(row);
    }
    return -1;
}

QString LaneModel::idAt(int row) const
{
    if (row < 0 || row >= m_cards.size())
        return {};
    return m_cards[row].id().toString(QUuid::WithoutBraces);
}

QVariantList LaneModel::menu(const QString &cardId) const
{
    QVariantList entries;
    if (m_readOnly) {
        entries.append(QVariantMap{{u"text"_qs, u"Copy to Today"_qs}, {u"action"_qs, u"copy"_qs}});
        return entries;
    }
    for (LaneKind other : LaneKind::allCases()) {
        if (other == m_kind)
            continue;
        entries.append(QVariantMap{{u"text"_qs, u"Move to "_qs + other.title()},
                                   {u"action"_qs, u"move"_qs},
                                   {u"target"_qs, other.rawValue()}});
    }
    const int row = cardId.isEmpty() ? -1 : indexOf(QUuid::fromString(cardId));
    if (row > 0)
        entries.append(QVariantMap{{u"text"_qs, u"Move Up"_qs}, {u"action"_qs, u"up"_qs}});
    if (row >= 0 && row + 1 < count())
        entries.append(QVariantMap{{u"text"_qs, u"Move Down"_qs}, {u"action"_qs, u"down"_qs}});
    entries.append(QVariantMap{{u"separator"_qs, true}});
    entries.append(QVariantMap{{u"text"_qs, u"Edit"_qs}, {u"action"_qs, u"edit"_qs}});
    entries.append(QVariantMap{{u"text"_qs, u"Delete"_qs}, {u"action"_qs, u"delete"_qs}});
    return entries;
}

int LaneModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_cards.size());
}

QVariant LaneModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Card &card = m_cards[index.row()];
    switch (role) {
    case IdRole:
        return card.id().toString(QUuid::WithoutBraces);
    case TextRole:
    case Qt::DisplayRole:
        return card.text();
    case MarkupRole:
        return CardMarkup::line(card.text()).value_or(QString());
    case DetailRole:
        return CardMarkup::detail(card.extraLines());
    case DetailLinesRole:
        return int(CardMarkup::detailLineCount(card.extraLines()));
    default:
        return {};
    }
}

QHash<int, QByteArray> LaneModel::roleNames() const
{
    return {{IdRole, "cardId"},
            {TextRole, "text"},
            {MarkupRole, "markup"},
            {DetailRole, "detail"},
            {DetailLinesRole, "detailLines"}};
}
