#include "CalendarMonth.h"

#include <QLocale>

#include <algorithm>

namespace {

// Qt counts weekdays Monday = 1 ... Sunday = 7; the calendar counts Sunday = 1 ... Saturday = 7.
int fromQtWeekday(int qtDay)
{
    return qtDay % 7 + 1;
}

int toQtWeekday(int weekday)
{
    return weekday == 1 ? 7 : weekday - 1;
}

QDate firstOfMonth(const QDate &day)
{
    return QDate(day.year(), day.month(), 1);
}

QStringList rotatedDayNames(int firstWeekday, QLocale::FormatType format)
{
    const QLocale locale;
    QStringList names;
    for (int i = 0; i < 7; ++i)
        names.append(locale.standaloneDayName(toQtWeekday((firstWeekday - 1 + i) % 7 + 1), format));
    return names;
}

} // namespace

CalendarMonth::CalendarMonth(QObject *parent) : CalendarMonth(nullptr, nullptr, parent) {}

CalendarMonth::CalendarMonth(BoardStore *store, NotchModel *model, QObject *parent)
    : QAbstractListModel(parent), m_firstWeekday(localeFirstWeekday())
{
    setModel(model);
    setStore(store);
    if (!m_store)
        reset();
}

int CalendarMonth::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_cells.size());
}

QVariant CalendarMonth::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const QDate &day = m_cells.at(index.row());
    const bool blank = day.isNull();
    switch (role) {
    case DateRole:
        return day;
    case DayKeyRole:
        return blank ? QString() : dayKey(day);
    case DayNumberRole:
        return blank ? 0 : day.day();
    case HasBoardRole:
        return !blank && hasBoard(day);
    case IsTodayRole:
        return !blank && dayKey(day) == todayKey();
    case IsShownRole:
        return !blank && m_store && dayKey(day) == m_store->pastDays()->shownDay();
    case IsEnabledRole:
        return !blank && isEnabled(day);
    case IsFocusedRole:
        return !blank && dayKey(day) == m_focusedDay;
    case ToolTipRole:
        return blank ? QString() : toolTip(day);
    case AccessibleNameRole:
        return blank ? QString() : accessibleName(day);
    default:
        return {};
    }
}

QHash<int, QByteArray> CalendarMonth::roleNames() const
{
    return {
        {DateRole, "date"},           {DayKeyRole, "dayKey"},
        {DayNumberRole, "dayNumber"}, {HasBoardRole, "hasBoard"},
        {IsTodayRole, "isToday"},     {IsShownRole, "isShown"},
        {IsEnabledRole, "isEnabled"}, {IsFocusedRole, "isFocused"},
        {ToolTipRole, "toolTip"},     {AccessibleNameRole, "accessibleName"},
    };
}

void CalendarMonth::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    if (m_store) {
        disconnect(m_store->today(), nullptr, this, nullptr);
        disconnect(m_store->pastDays(), nullptr, this, nullptr);
    }
    m_store = store;
    connectStore();
    reset();
    emit storeChanged();
}

void CalendarMonth::setModel(NotchModel *model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        connect(m_model, &NotchModel::showCalendarChanged, this, [this] {
            if (m_model->showCalendar())
                reset();
        });
    }
    emit modelChanged();
}

void CalendarMonth::connectStore()
{
    if (!m_store)
        return;
    // A new day moves what is today, what can be picked and whether the next month has begun.
    connect(m_store->today(), &TodayBoard::dayChanged, this, [this] {
        refreshCells();
        updateCanGoForward();
    });
    connect(m_store->pastDays(), &PastDays::shownDayChanged, this, &CalendarMonth::refreshCells);
}

void CalendarMonth::setMonth(const QDate &month)
{
    if (!month.isValid())
        return;
    // Months that have not begun are never shown.
    const QDate shown = firstOfMonth(month) > today() ? today() : month;
    if (shown == m_month)
        return;
    m_month = shown;
    rebuild();
    updateCanGoForward();
    emit monthChanged();
}

QStringList CalendarMonth::boardDayList() const
{
    QStringList days = m_boardDays.values();
    days.sort();
    return days;
}

void CalendarMonth::setBoardDays(const QSet<QString> &days)
{
    if (days == m_boardDays)
        return;
    m_boardDays = days;
    refreshCells();
    emit boardDaysChanged();
}

void CalendarMonth::setFirstWeekday(int weekday)
{
    if (weekday < 1 || weekday > 7)
        return;
    if (weekday == m_firstWeekday)
        return;
    m_firstWeekday = weekday;
    rebuild();
    emit firstWeekdayChanged();
}

void CalendarMonth::resetFirstWeekday()
{
    const int weekday = localeFirstWeekday();
    if (weekday == m_firstWeekday)
        return;
    m_firstWeekday = weekday;
    rebuild();
    emit firstWeekdayChanged();
}

QString CalendarMonth::title() const
{
    if (!m_month.isValid())
        return {};
    return QLocale().standaloneMonthName(m_month.month(), QLocale::LongFormat) + u' ' +
           QString::number(m_month.year());
}

QStringList CalendarMonth::weekdaySymbols() const
{
    return rotatedDayNames(m_firstWeekday, QLocale::NarrowFormat);
}

QStringList CalendarMonth::weekdayNames() const
{
    return rotatedDayNames(m_firstWeekday, QLocale::LongFormat);
}

int CalendarMonth::leadingBlanks() const
{
    if (!m_month.isValid())
        return 0;
    const int first = fromQtWeekday(firstOfMonth(m_month).dayOfWeek());
    return (first - m_firstWeekday + 7) % 7;
}

QList<QDate> CalendarMonth::cells() const
{
    QList<QDate> cells;
    if (!m_month.isValid())
        return cells;
    const int blanks = leadingBlanks();
    const int days = m_month.daysInMonth();
    cells.reserve(blanks + days);
    cells.fill(QDate(), blanks);
    const QDate first = firstOfMonth(m_month);
    for (int i = 0; i < days; ++i)
        cells.append(first.addDays(i));
    return cells;
}

bool CalendarMonth::canGoForward() const
{
    return m_month.isValid() && firstOfMonth(m_month).addMonths(1) <= today();
}

QString CalendarMonth::todayKey() const
{
    return m_store ? m_store->today()->day() : dayKey(QDate::currentDate());
}

bool CalendarMonth::hasBoard(const QDate &day) const
{
    return m_boardDays.contains(dayKey(day));
}

bool CalendarMonth::isEnabled(const QDate &day) const
{
    const QString key = dayKey(day);
    const QString today = todayKey();
    // Keys sort as dates, so a board file for a later day never makes that day pickable.
    if (key > today)
        return false;
    return key == today || m_boardDays.contains(key);
}

QString CalendarMonth::toolTip(const QDate &day) const
{
    if (isEnabled(day) || dayKey(day) > todayKey())
        return {};
    return u"No board this day"_qs;
}

QString CalendarMonth::accessibleName(const QDate &day) const
{
    const QString name = QLocale().toString(day, u"dddd, d MMMM yyyy");
    return isEnabled(day) ? name : name + u", no board"_qs;
}

QString CalendarMonth::dayKey(const QDate &day)
{
    return day.toString(Qt::ISODate);
}

int CalendarMonth::localeFirstWeekday()
{
    return fromQtWeekday(QLocale().firstDayOfWeek());
}

void CalendarMonth::reset()
{
    QDate month;
    QString focus;
    if (m_store) {
        focus = m_store->pastDays()->shownDay();
        month = BoardStore::date(focus).value_or(today());
        setBoardDays(m_store->pastDays()->boardDays());
    } else {
        month = today();
    }
    if (!BoardStore::date(focus))
        focus = dayKey(today());
    setMonth(month);
    setFocusedDay(focus);
}

void CalendarMonth::shiftMonth(int delta)
{
    if (delta == 0 || !m_month.isValid())
        return;
    if (delta > 0 && firstOfMonth(m_month).addMonths(delta) > today())
        return;
    // The keys carry on from the same day of the new month, or from today if that is sooner.
    const QDate focus = BoardStore::date(m_focusedDay).value_or(m_month).addMonths(delta);
    setMonth(m_month.addMonths(delta));
    setFocusedDay(dayKey(std::min(focus, today())));
    emit monthShifted(delta);
}

void CalendarMonth::pick(const QString &dayKey)
{
    const std::optional<QDate> day = BoardStore::date(dayKey);
    if (!m_store || !day || !isEnabled(*day))
        return;
    m_store->pastDays()->view(dayKey);
    close();
}

void CalendarMonth::showToday()
{
    if (!m_store)
        return;
    m_store->pastDays()->view(QString());
    close();
}

void CalendarMonth::moveFocus(int days)
{
    const QDate from = BoardStore::date(m_focusedDay).value_or(today());
    const QDate to = std::min(from.addDays(days), today());
    if (to == from)
        return;
    const int months = (to.year() - m_month.year()) * 12 + to.month() - m_month.month();
    setFocusedDay(dayKey(to));
    if (months != 0) {
        setMonth(to);
        emit monthShifted(months);
    }
}

void CalendarMonth::pickFocused()
{
    pick(m_focusedDay);
}

void CalendarMonth::close()
{
    if (m_model)
        m_model->setShowCalendar(false);
}

void CalendarMonth::setFocusedDay(const QString &day)
{
    if (day == m_focusedDay)
        return;
    m_focusedDay = day;
    refreshCells();
    emit focusedDayChanged();
}

void CalendarMonth::rebuild()
{
    QList<QDate> cells = this->cells();
    if (cells == m_cells)
        return;
    beginResetModel();
    m_cells = std::move(cells);
    endResetModel();
    emit gridChanged();
}

void CalendarMonth::refreshCells()
{
    if (m_cells.isEmpty())
        return;
    emit dataChanged(index(0), index(int(m_cells.size()) - 1));
}

void CalendarMonth::updateCanGoForward()
{
    const bool forward = canGoForward();
    if (forward == m_canGoForward)
        return;
    m_canGoForward = forward;
    emit canGoForwardChanged();
}

QDate CalendarMonth::today() const
{
    return BoardStore::date(todayKey()).value_or(QDate::currentDate());
}
