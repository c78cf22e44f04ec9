#pragma once

#include "model/Board.h"

#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

class TodayBoard;
class VaultLocations;

// An earlier day's board, looked at read-only, and what the board view shows: that day while
// one is picked, else today.
class PastDays : public QObject {
    Q_OBJECT
    // Empty while today is shown.
    Q_PROPERTY(QString viewedDay READ viewedDayText NOTIFY viewedDayChanged)
    Q_PROPERTY(bool isViewingPast READ isViewingPast NOTIFY viewedDayChanged)
    Q_PROPERTY(QString shownDay READ shownDay NOTIFY shownDayChanged)
    Q_PROPERTY(Board shownBoard READ shownBoard NOTIFY shownBoardChanged)

public:
    // Neither is owned. An earlier day's board is read again whenever `today` checks the folder.
    PastDays(const TodayBoard *today, const VaultLocations *locations, QObject *parent = nullptr);

    [[nodiscard]] const std::optional<QString> &viewedDay() const { return m_viewedDay; }
    [[nodiscard]] const std::optional<Board> &viewedBoard() const { return m_viewedBoard; }
    [[nodiscard]] bool isViewingPast() const { return m_viewedDay.has_value(); }
    [[nodiscard]] QString shownDay() const;
    [[nodiscard]] const Board &shownBoard() const;
    // A card of the viewed day's board.
    [[nodiscard]] std::optional<Card> viewedCard(const QUuid &id) const;

    // Shows `day`'s board; no day, today or a later one shows today again. A board that cannot
    // be read shows empty.
    void view(const std::optional<QString> &day);
    // The same for QML, with "" for today.
    Q_INVOKABLE void view(const QString &day);
    [[nodiscard]] QSet<QString> boardDays() const;
    Q_INVOKABLE QStringList boardDayList() const;
    // Whether there is an earlier board to go back to (delta < 0), or a later day to go forward
    // to (delta > 0), from the shown day.
    Q_INVOKABLE bool canStep(int delta) const;
    // Goes to the nearest earlier board (delta < 0) or the next later one, today after the last.
    Q_INVOKABLE void step(int delta);

signals:
    void viewedDayChanged();
    void shownDayChanged();
    void shownBoardChanged();

private:
    void setViewed(std::optional<QString> day, std::optional<Board> board);
    void todaysDayChanged();
    [[nodiscard]] QString viewedDayText() const { return m_viewedDay.value_or(QString()); }

    const TodayBoard *m_today;
    const VaultLocations *m_locations;
    // Today's day as last seen, to tell a new day from a reload of the same one.
    QString m_todaysDay;
    std::optional<QString> m_viewedDay;
    std::optional<Board> m_viewedBoard;
};
