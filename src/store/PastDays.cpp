#include "PastDays.h"

#include "io/TextFile.h"
#include "store/DayFiles.h"
#include "store/TodayBoard.h"
#include "store/VaultLocations.h"

#include <algorithm>

PastDays::PastDays(const TodayBoard *today, const VaultLocations *locations, QObject *parent)
    : QObject(parent), m_today(today), m_locations(locations), m_todaysDay(today->day())
{
    connect(today, &TodayBoard::boardChanged, this, [this] {
        if (!m_viewedBoard)
            emit shownBoardChanged();
    });
    connect(today, &TodayBoard::dayChanged, this, &PastDays::todaysDayChanged);
    connect(today, &TodayBoard::folderChecked, this, [this] {
        if (m_viewedDay)
            view(m_viewedDay);
    });
}

void PastDays::todaysDayChanged()
{
    const bool changed = m_todaysDay != m_today->day();
    m_todaysDay = m_today->day();
    if (changed && !m_viewedDay)
        emit shownDayChanged();
}

QString PastDays::shownDay() const
{
    return m_viewedDay.value_or(m_today->day());
}

const Board &PastDays::shownBoard() const
{
    return m_viewedBoard ? *m_viewedBoard : m_today->board();
}

std::optional<Card> PastDays::viewedCard(const QUuid &id) const
{
    if (!m_viewedBoard)
        return std::nullopt;
    const auto at = m_viewedBoard->locate(id);
    if (!at)
        return std::nullopt;
    return m_viewedBoard->lanes()[at->lane].cards()[at->index];
}

void PastDays::setViewed(std::optional<QString> day, std::optional<Board> board)
{
    const bool dayChanged = m_viewedDay != day;
    const bool wasViewing = m_viewedBoard.has_value();
    m_viewedDay = std::move(day);
    m_viewedBoard = std::move(board);
    if (dayChanged) {
        emit viewedDayChanged();
        emit shownDayChanged();
    }
    if (wasViewing || m_viewedBoard)
        emit shownBoardChanged();
}

void PastDays::view(const std::optional<QString> &day)
{
    const QString &today = m_today->day();
    if (!day || *day == today || *day > today) {
        setViewed(std::nullopt, std::nullopt);
        return;
    }
    const TextFile::Read read = TextFile::readUtf8(m_locations->boardPath(*day));
    setViewed(*day, read.text ? Board::parse(*read.text) : Board::empty());
}

void PastDays::view(const QString &day)
{
    view(day.isEmpty() ? std::nullopt : std::optional<QString>(day));
}

QSet<QString> PastDays::boardDays() const
{
    return DayFiles::daysIn(m_locations->boardsDir());
}

QStringList PastDays::boardDayList() const
{
    QStringList days = boardDays().values();
    days.sort();
    return days;
}

bool PastDays::canStep(int delta) const
{
    if (delta >= 1)
        return m_viewedDay.has_value();
    const QString shown = shownDay();
    const QSet<QString> days = boardDays();
    return std::any_of(days.begin(), days.end(), [&](const QString &d) { return d < shown; });
}

void PastDays::step(int delta)
{
    const QString &today = m_today->day();
    QStringList days;
    for (const QString &d : boardDays()) {
        if (d < today)
            days.append(d);
    }
    days.sort();
    const QString current = shownDay();
    if (delta < 0) {
        for (auto it = days.crbegin(); it != days.crend(); ++it) {
            if (*it < current) {
                view(*it);
                return;
            }
        }
        return;
    }
    for (const QString &d : days) {
        if (d > current) {
            view(d);
            return;
        }
    }
    view(std::nullopt);
}
