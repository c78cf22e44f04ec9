#include "BoardLanes.h"

#include "CardMarkup.h"
#include "CardPreviewProvider.h"
#include "store/BoardStore.h"
#include "store/StoreLog.h"

BoardLanes::BoardLanes(QObject *parent)
    : QObject(parent), m_lanes{std::make_unique<LaneModel>(LaneKind::Todo),
                               std::make_unique<LaneModel>(LaneKind::Doing),
                               std::make_unique<LaneModel>(LaneKind::Done)}
{}

BoardLanes::~BoardLanes() = default;

void BoardLanes::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    if (m_store)
        disconnect(m_store->pastDays(), nullptr, this, nullptr);
    m_store = store;
    if (m_store) {
        // The lanes show whichever board the past days show: today's, or an earlier day's.
        connect(m_store->pastDays(), &PastDays::shownBoardChanged, this, &BoardLanes::refresh);
        connect(m_store->pastDays(), &PastDays::viewedDayChanged, this, &BoardLanes::refresh);
    }
    refresh();
    emit storeChanged();
}

LaneModel *BoardLanes::lane(const QString &kind) const
{
    const auto role = LaneKind::fromRawValue(kind);
    return role ? m_lanes[role->value()].get() : nullptr;
}

void BoardLanes::refresh()
{
    const PastDays *shown = m_store ? m_store->pastDays() : nullptr;
    const bool readOnly = shown && shown->isViewingPast();
    const QString day = shown ? shown->shownDay() : QString();
    const auto reuse =
        day == m_shownDay ? LaneModel::Reuse::IdsAndContent : LaneModel::Reuse::IdsOnly;
    m_shownDay = day;

    const QUuid selectedBefore = m_selected;
    const QString kindBefore = selectedKind();
    QUuid selected = m_selected;
    for (LaneKind kind : LaneKind::allCases()) {
        LaneModel &model = *m_lanes[kind.value()];
        const LaneModel::Handover handover =
            model.setCards(shown ? shown->shownBoard().cards(kind) : QList<Card>(), reuse);
        if (const auto to = handover.constFind(selected); to != handover.cend())
            selected = *to;
        model.setReadOnly(readOnly);
    }
    if (!selected.isNull() && find(selected).lane < 0) {
        // The card went: the selection falls to the card that took its place, or the one
        // before it, in the same lane.
        selected = QUuid();
        if (m_selectedPlace.lane >= 0) {
            const LaneModel &model = *m_lanes[m_selectedPlace.lane];
            if (model.count() > 0)
                selected = model.cards()[std::min(m_selectedPlace.row, model.count() - 1)].id();
        }
    }
    m_selected = selected;
    m_selectedPlace = find(selected);
    if (m_selected != selectedBefore || selectedKind() != kindBefore)
        emit selectedChanged();

    if (m_readOnly != readOnly) {
        m_readOnly = readOnly;
        emit readOnlyChanged();
    }
}

bool BoardLanes::isCardPayload(const QString &text)
{
    return text.size() == 36 && !QUuid::fromString(text).isNull();
}

bool BoardLanes::dropOnLane(const QString &payload, const QString &kind)
{
    const auto role = LaneKind::fromRawValue(kind);
    if (!m_store || m_readOnly || !role || !isCardPayload(payload))
        return false;
    m_store->today()->move(QUuid::fromString(payload), *role, std::nullopt);
    return true;
}

bool BoardLanes::dropOnCard(const QString &payload, const QString &cardId)
{
    if (!m_store || m_readOnly || !isCardPayload(payload))
        return false;
    const QUuid target = QUuid::fromString(cardId);
    const Place place = find(target);
    if (place.lane < 0)
        return false;
    m_store->today()->move(QUuid::fromString(payload), LaneKind::allCases()[place.lane], target);
    return true;
}

QUrl BoardLanes::dragImage(const QString &text)
{
    return CardPreviewProvider::source(text);
}

void BoardLanes::perform(const QString &action, const QString &cardId, const QString &target)
{
    if (!m_store)
        return;
    if (action == u"copy") {
        m_store->copyToToday(cardId);
        return;
    }
    if (m_readOnly)
        return;
    if (action == u"move")
        m_store->today()->move(cardId, target, QString());
    else if (action == u"up" || action == u"down")
        reorder(cardId, action == u"up" ? -1 : 1);
    else if (action == u"delete")
        m_store->today()->deleteCard(cardId);
}

void BoardLanes::setCardsFocused(bool focused)
{
    if (m_cardsFocused == focused)
        return;
    m_cardsFocused = focused;
    emit cardsFocusedChanged();
}

QString BoardLanes::selectedId() const
{
    return m_selected.isNull() ? QString() : m_selected.toString(QUuid::WithoutBraces);
}

void BoardLanes::setSelectedId(const QString &id)
{
    const QUuid wanted = QUuid::fromString(id);
    select(find(wanted).lane >= 0 ? wanted : QUuid());
}

QString BoardLanes::selectedKind() const
{
    const Place place = find(m_selected);
    return place.lane < 0 ? QString() : LaneKind::allCases()[place.lane].rawValue();
}

void BoardLanes::select(const QUuid &id)
{
    const Place place = find(id);
    m_selectedPlace = place;
    if (m_selected == id)
        return;
    m_selected = id;
    emit selectedChanged();
}

BoardLanes::Place BoardLanes::find(const QUuid &id) const
{
    if (id.isNull())
        return {};
    for (int lane = 0; lane < int(m_lanes.size()); ++lane) {
        if (const int row = m_lanes[lane]->indexOf(id); row >= 0)
            return {lane, row};
    }
    return {};
}

bool BoardLanes::moveSelection(Direction direction)
{
    const Place place = find(m_selected);
    if (place.lane < 0) {
        // Nothing selected yet: start at the first card of the first lane that has one.
        for (const auto &model : m_lanes) {
            if (model->count() > 0) {
                select(model->cards().first().id());
                return true;
            }
        }
        return false;
    }
    const LaneModel &current = *m_lanes[place.lane];
    switch (direction) {
    case Direction::Up:
        if (place.row == 0)
            return false;
        select(current.cards()[place.row - 1].id());
        return true;
    case Direction::Down:
        if (place.row + 1 >= current.count())
            return false;
        select(current.cards()[place.row + 1].id());
        return true;
    case Direction::Left:
    case Direction::Right: {
        const int step = direction == Direction::Left ? -1 : 1;
        for (int lane = place.lane + step; lane >= 0 && lane < int(m_lanes.size()); lane += step) {
            const LaneModel &model = *m_lanes[lane];
            if (model.count() == 0)
                continue;
            select(model.cards()[std::min(place.row, model.count() - 1)].id());
            return true;
        }
        return false;
    }
    }
    return false;
}

bool BoardLanes::selectEdge(const QString &kind, bool last)
{
    const LaneModel *model = lane(kind);
    if (!model || model->count() == 0)
        return false;
    select(last ? model->cards().last().id() : model->cards().first().id());
    return true;
}

bool BoardLanes::openLink(const QString &link) const
{
    const auto target = CardMarkup::target(link);
    if (!m_store || !target) {
        qCWarning(lcStore, "not opening a card's link that is not safe to open: %s",
                  qPrintable(link));
        return false;
    }
    if (target->kind == CardMarkup::Target::Kind::Note)
        m_store->openInObsidian(target->value);
    else
        m_store->openAddress(target->value.toUtf8());
    return true;
}

bool BoardLanes::reorder(const QString &cardId, int step)
{
    const QUuid id = QUuid::fromString(cardId);
    const Place place = find(id);
    if (!m_store || m_readOnly || place.lane < 0 || (step != -1 && step != 1))
        return false;
    const QList<Card> &cards = m_lanes[place.lane]->cards();
    const int to = place.row + step;
    if (to < 0 || to >= cards.size())
        return false;
    // Up goes above the card above; down goes above the card two below, or to the end.
    const int before = step < 0 ? to : to + 1;
    const LaneKind kind = LaneKind::allCases()[place.lane];
    m_store->today()->move(
        id, kind, before < cards.size() ? std::optional<QUuid>(cards[before].id()) : std::nullopt);
    return true;
}

bool BoardLanes::reorderSelected(int step)
{
    return reorder(selectedId(), step);
}

void BoardLanes::toggleSelected()
{
    if (m_store && !m_readOnly && !m_selected.isNull())
        m_store->today()->toggle(m_selected);
}
