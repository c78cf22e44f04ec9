#pragma once

#include "notch/NotchModel.h"
#include "store/BoardStore.h"

#include <QAbstractListModel>
#include <QDate>
#include <QList>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QtQml/qqml.h>

// The month the calendar dropdown shows, one row a position of its day grid: the blanks before
// the 1st, then every day of the month. Also the dropdown's actions, so that its QML only binds
// and forwards.
class CalendarMonth : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(NotchModel *model READ model WRITE setModel NOTIFY modelChanged)

    // Any day inside the month shown.
    Q_PROPERTY(QDate month READ month WRITE setMonth NOTIFY monthChanged)
    // The days with a board file, as of the last reset.
    Q_PROPERTY(QStringList boardDays READ boardDayList NOTIFY boardDaysChanged)
    // 1 = Sunday, 2 = Monday, ... 7 = Saturday; the locale's unless set.
    Q_PROPERTY(int firstWeekday READ firstWeekday WRITE setFirstWeekday RESET resetFirstWeekday
                   NOTIFY firstWeekdayChanged)

    Q_PROPERTY(QString title READ title NOTIFY monthChanged)
    Q_PROPERTY(QStringList weekdaySymbols READ weekdaySymbols NOTIFY firstWeekdayChanged)
    Q_PROPERTY(QStringList weekdayNames READ weekdayNames NOTIFY firstWeekdayChanged)
    Q_PROPERTY(int leadingBlanks READ leadingBlanks NOTIFY gridChanged)
    Q_PROPERTY(bool canGoForward READ canGoForward NOTIFY canGoForwardChanged)
    // The day the arrow keys move; empty until the first reset.
    Q_PROPERTY(QString focusedDay READ focusedDay NOTIFY focusedDayChanged)

public:
    enum Role {
        DateRole = Qt::UserRole + 1,
        // "yyyy-MM-dd"; empty for a blank before the 1st.
        DayKeyRole,
        // 1 to 31; 0 for a blank.
        DayNumberRole,
        HasBoardRole,
        IsTodayRole,
        IsShownRole,
        IsEnabledRole,
        IsFocusedRole,
        ToolTipRole,
        AccessibleNameRole,
    };
    Q_ENUM(Role)

    explicit CalendarMonth(QObject *parent = nullptr);
    CalendarMonth(BoardStore *store, NotchModel *model, QObject *parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);
    [[nodiscard]] NotchModel *model() const { return m_model; }
    void setModel(NotchModel *model);

    [[nodiscard]] QDate month() const { return m_month; }
    void setMonth(const QDate &month);
    [[nodiscard]] const QSet<QString> &boardDays() const { return m_boardDays; }
    [[nodiscard]] QStringList boardDayList() const;
    void setBoardDays(const QSet<QString> &days);
    [[nodiscard]] int firstWeekday() const { return m_firstWeekday; }
    void setFirstWeekday(int weekday);
    void resetFirstWeekday();

    [[nodiscard]] QString title() const;
    [[nodiscard]] QStringList weekdaySymbols() const;
    [[nodiscard]] QStringList weekdayNames() const;
    [[nodiscard]] int leadingBlanks() const;
    // The grid, one entry a position; a null date for a blank.
    [[nodiscard]] QList<QDate> cells() const;
    [[nodiscard]] bool canGoForward() const;
    [[nodiscard]] QString focusedDay() const { return m_focusedDay; }

    // Today's key: the store's day, or the system's when there is no store.
    [[nodiscard]] QString todayKey() const;
    [[nodiscard]] bool hasBoard(const QDate &day) const;
    [[nodiscard]] bool isEnabled(const QDate &day) const;
    [[nodiscard]] QString toolTip(const QDate &day) const;
    [[nodiscard]] QString accessibleName(const QDate &day) const;

    [[nodiscard]] static QString dayKey(const QDate &day);
    [[nodiscard]] static int localeFirstWeekday();

    // Back to the store's shown day and its board days: every opening starts from here.
    Q_INVOKABLE void reset();
    Q_INVOKABLE void shiftMonth(int delta);
    // Shows the day's board and puts the calendar away; a day that cannot be picked is ignored.
    Q_INVOKABLE void pick(const QString &dayKey);
    Q_INVOKABLE void showToday();
    // The arrow keys: the focus moves by whole days, never past today, the month following it.
    Q_INVOKABLE void moveFocus(int days);
    Q_INVOKABLE void pickFocused();

signals:
    void storeChanged();
    void modelChanged();
    void monthChanged();
    void boardDaysChanged();
    void firstWeekdayChanged();
    void canGoForwardChanged();
    void focusedDayChanged();
    // The rows were laid out anew: another month, first weekday or set of board days.
    void gridChanged();
    // The month moved by `delta` through the arrows or the keys, not by a reset; for the slide.
    void monthShifted(int delta);

private:
    void connectStore();
    void close();
    void setFocusedDay(const QString &day);
    void rebuild();
    void refreshCells();
    void updateCanGoForward();
    [[nodiscard]] QDate today() const;

    QPointer<BoardStore> m_store;
    QPointer<NotchModel> m_model;
    QDate m_month;
    QSet<QString> m_boardDays;
    int m_firstWeekday;
    QString m_focusedDay;
    bool m_canGoForward = false;
    // Rows, kept so that a reset of the model and the grid always agree.
    QList<QDate> m_cells;
};
