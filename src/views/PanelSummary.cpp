#include "PanelSummary.h"

#include "notch/NotchModel.h"
#include "store/BoardStore.h"

#include <QLocale>

PanelSummary::PanelSummary(QObject *parent) : PanelSummary(nullptr, nullptr, parent) {}

PanelSummary::PanelSummary(BoardStore *store, NotchModel *model, QObject *parent)
    : QObject(parent), m_store(store), m_model(model)
{
    connectStore();
    if (m_model) {
        connect(m_model, &NotchModel::notchSizeChanged, this, &PanelSummary::updateClosedSize);
        connect(m_model, &NotchModel::isOpenChanged, this, &PanelSummary::refreshSteps);
    }
    updateToday();
    updateShown();
    updateGreeting();
}

void PanelSummary::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    if (m_store)
        disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    connectStore();
    updateToday();
    updateShown();
    updateGreeting();
    emit storeChanged();
}

void PanelSummary::setModel(NotchModel *model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        connect(m_model, &NotchModel::notchSizeChanged, this, &PanelSummary::updateClosedSize);
        connect(m_model, &NotchModel::isOpenChanged, this, &PanelSummary::refreshSteps);
    }
    updateClosedSize();
    emit modelChanged();
}

void PanelSummary::connectStore()
{
    if (!m_store)
        return;
    connect(m_store, &BoardStore::boardChanged, this, &PanelSummary::updateToday);
    // Stepping looks at the boards on disk; saving today's board may have made the first one.
    connect(m_store, &BoardStore::boardChanged, this, &PanelSummary::refreshSteps);
    connect(m_store, &BoardStore::shownBoardChanged, this, &PanelSummary::updateShown);
    connect(m_store, &BoardStore::shownDayChanged, this, &PanelSummary::updateShown);
    connect(m_store, &BoardStore::viewedDayChanged, this, &PanelSummary::updateShown);
    connect(m_store, &BoardStore::viewedDayChanged, this, &PanelSummary::updateGreeting);
    connect(m_store, &BoardStore::greetingChanged, this, &PanelSummary::updateGreeting);
    connect(m_store, &BoardStore::locationChanged, this, &PanelSummary::refreshSteps);
}

void PanelSummary::updateToday()
{
    int remaining = 0;
    bool doing = false;
    if (m_store) {
        const Board &board = m_store->board();
        const auto doingCount = board.cards(LaneKind::Doing).size();
        remaining = int(board.cards(LaneKind::Todo).size() + doingCount);
        doing = doingCount > 0;
    }
    if (remaining != m_remaining || doing != m_doing) {
        m_remaining = remaining;
        m_doing = doing;
        emit todayChanged();
    }
    updateClosedSize();
}

void PanelSummary::updateClosedSize()
{
    const QSizeF notch = m_model ? m_model->notchSize() : NotchModel::defaultNotchSize;
    const QSizeF size(notch.width() + (hasWings() ? 2 * NotchModel::wingWidth : 0), notch.height());
    if (size == m_closedSize)
        return;
    m_closedSize = size;
    emit closedSizeChanged();
}

void PanelSummary::updateShown()
{
    int done = 0;
    int total = 0;
    QString label;
    bool past = false;
    if (m_store) {
        const Board &board = m_store->shownBoard();
        for (const Lane &lane : board.lanes())
            total += int(lane.cards().size());
        done = int(board.cards(LaneKind::Done).size());
        if (const auto date = BoardStore::date(m_store->shownDay()))
            label = dayLabel(*date);
        past = m_store->isViewingPast();
    }
    const bool changed =
        done != m_done || total != m_total || label != m_dayLabel || past != m_isViewingPast;
    m_done = done;
    m_total = total;
    m_dayLabel = label;
    m_isViewingPast = past;
    if (changed)
        emit shownChanged();
    refreshSteps();
}

void PanelSummary::refreshSteps()
{
    const bool back = m_store && m_store->canStep(-1);
    const bool forward = m_store && m_store->canStep(+1);
    if (back == m_canStepBack && forward == m_canStepForward)
        return;
    m_canStepBack = back;
    m_canStepForward = forward;
    emit stepsChanged();
}

void PanelSummary::updateGreeting()
{
    const bool shows = m_store && m_store->greeting() && !m_store->isViewingPast();
    const int carried = m_store && m_store->greeting() ? m_store->greeting()->carried() : 0;
    if (shows == m_showsGreeting && carried == m_carried)
        return;
    m_showsGreeting = shows;
    m_carried = carried;
    emit greetingChanged();
}

qreal PanelSummary::progress() const
{
    return m_total > 0 ? qreal(m_done) / m_total : 0;
}

int PanelSummary::donePercent() const
{
    // Whole percent, cut towards zero, in integers so that 29 of 100 reads 29.
    return m_total > 0 ? int(qint64(m_done) * 100 / m_total) : 0;
}

QString PanelSummary::wingsLabel(int remaining)
{
    return QString::number(remaining) + u" left"_qs;
}

QString PanelSummary::progressToolTip(int percent)
{
    return QString::number(percent) + u"% done today"_qs;
}

QString PanelSummary::dayLabel(const QDate &date)
{
    return QLocale(QLocale::English, QLocale::UnitedStates).toString(date, u"ddd, d MMM"_qs);
}

QString PanelSummary::greetingTitle()
{
    return u"Good morning"_qs;
}

QString PanelSummary::greetingMessage(int carried)
{
    if (carried <= 0)
        return u"Fresh board for today. What's the plan?"_qs;
    return u"Carried over "_qs + QString::number(carried) + u" unfinished task"_qs +
           (carried == 1 ? QString() : u"s"_qs) +
           u". Keep, move or drop them, then add today's."_qs;
}

void PanelSummary::dismissGreeting()
{
    if (m_store)
        m_store->setGreeting(std::nullopt);
}
