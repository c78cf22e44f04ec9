#pragma once

#include "notch/NotchModel.h"
#include "store/BoardStore.h"

#include <QDate>
#include <QObject>
#include <QPointer>
#include <QSizeF>
#include <QString>
#include <QtQml/qqml.h>

// What the panel's header, wings and banners show, worked out from the store and the panel's
// state so that the views only bind to it.
class PanelSummary : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(NotchModel *model READ model WRITE setModel NOTIFY modelChanged)

    // Today's board, whatever day is shown.
    Q_PROPERTY(int remaining READ remaining NOTIFY todayChanged)
    Q_PROPERTY(bool doing READ doing NOTIFY todayChanged)
    Q_PROPERTY(bool hasWings READ hasWings NOTIFY todayChanged)
    Q_PROPERTY(QString wingsLabel READ wingsLabel NOTIFY todayChanged)
    Q_PROPERTY(QSizeF closedSize READ closedSize NOTIFY closedSizeChanged)

    // The shown board and day.
    Q_PROPERTY(qreal progress READ progress NOTIFY shownChanged)
    Q_PROPERTY(int donePercent READ donePercent NOTIFY shownChanged)
    Q_PROPERTY(QString progressToolTip READ progressToolTip NOTIFY shownChanged)
    Q_PROPERTY(QString dayLabel READ dayLabel NOTIFY shownChanged)
    Q_PROPERTY(bool isViewingPast READ isViewingPast NOTIFY shownChanged)
    Q_PROPERTY(bool canStepBack READ canStepBack NOTIFY stepsChanged)
    Q_PROPERTY(bool canStepForward READ canStepForward NOTIFY stepsChanged)

    // The greeting banner.
    Q_PROPERTY(bool showsGreeting READ showsGreeting NOTIFY greetingChanged)
    Q_PROPERTY(QString greetingTitle READ greetingTitle CONSTANT)
    Q_PROPERTY(QString greetingMessage READ greetingMessage NOTIFY greetingChanged)

public:
    explicit PanelSummary(QObject *parent = nullptr);
    PanelSummary(BoardStore *store, NotchModel *model, QObject *parent = nullptr);

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);
    [[nodiscard]] NotchModel *model() const { return m_model; }
    void setModel(NotchModel *model);

    [[nodiscard]] int remaining() const { return m_remaining; }
    [[nodiscard]] bool doing() const { return m_doing; }
    [[nodiscard]] bool hasWings() const { return m_remaining > 0; }
    [[nodiscard]] QString wingsLabel() const { return wingsLabel(m_remaining); }
    [[nodiscard]] QSizeF closedSize() const { return m_closedSize; }

    [[nodiscard]] qreal progress() const;
    [[nodiscard]] int donePercent() const;
    [[nodiscard]] QString progressToolTip() const { return progressToolTip(donePercent()); }
    [[nodiscard]] QString dayLabel() const { return m_dayLabel; }
    [[nodiscard]] bool isViewingPast() const { return m_isViewingPast; }
    [[nodiscard]] bool canStepBack() const { return m_canStepBack; }
    [[nodiscard]] bool canStepForward() const { return m_canStepForward; }

    [[nodiscard]] bool showsGreeting() const { return m_showsGreeting; }
    [[nodiscard]] static QString greetingTitle();
    [[nodiscard]] QString greetingMessage() const { return greetingMessage(m_carried); }

    [[nodiscard]] static QString wingsLabel(int remaining);
    [[nodiscard]] static QString progressToolTip(int percent);
    [[nodiscard]] static QString dayLabel(const QDate &date);
    [[nodiscard]] static QString greetingMessage(int carried);

    // The greeting banner's button: the greeting is done with.
    Q_INVOKABLE void dismissGreeting();
    // Asks the store again which days can be stepped to: board files may have come or gone.
    Q_INVOKABLE void refreshSteps();

signals:
    void storeChanged();
    void modelChanged();
    void todayChanged();
    void closedSizeChanged();
    void shownChanged();
    void stepsChanged();
    void greetingChanged();

private:
    void connectStore();
    void updateToday();
    void updateClosedSize();
    void updateShown();
    void updateGreeting();

    QPointer<BoardStore> m_store;
    QPointer<NotchModel> m_model;

    int m_remaining = 0;
    bool m_doing = false;
    QSizeF m_closedSize;
    int m_done = 0;
    int m_total = 0;
    QString m_dayLabel;
    bool m_isViewingPast = false;
    bool m_canStepBack = false;
    bool m_canStepForward = false;
    bool m_showsGreeting = false;
    int m_carried = 0;
};
