#pragma once

#include <QDateTime>
#include <QObject>

// Tells when the local calendar day may have changed, without polling: one timer for the next
// local midnight that also fires when the clock is set, after resume, and when the system time
// zone changes. Re-armed after each firing.
class DayChangeTimer : public QObject {
    Q_OBJECT

public:
    explicit DayChangeTimer(QObject *parent = nullptr);
    // `zoneFile` names the system time zone (normally /etc/localtime); tests point it elsewhere,
    // or leave it empty to watch no zone file.
    explicit DayChangeTimer(const QString &zoneFile, QObject *parent = nullptr);
    ~DayChangeTimer() override;

    // The start of the local day after the one holding `now` (DST-safe).
    [[nodiscard]] static QDateTime nextMidnight(const QDateTime &now);

    // Arms the timer for an arbitrary moment instead of the next midnight; used by tests.
    void armAt(const QDateTime &moment);

    // The moment the timer will fire next; invalid when it could not be armed.
    [[nodiscard]] QDateTime armedFor() const;

signals:
    void dayMayHaveChanged();

private:
    struct Private;
    Private *d;
};
