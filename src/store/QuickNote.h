#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QTimer>

#include <optional>

class Clock;

// The quick note's file: read as display text, written a moment after the typing stops.
class QuickNote : public QObject {
    Q_OBJECT
    Q_PROPERTY(QDateTime savedAt READ savedAt NOTIFY savedAtChanged)
    Q_PROPERTY(QString savedLabel READ savedLabel NOTIFY savedAtChanged)
    // Empty while there is nothing to report.
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    static constexpr int saveDelayMs = 500;

    // `clock` is not owned.
    explicit QuickNote(const Clock *clock, QObject *parent = nullptr);

    // The note at `path` as the editor shows it; empty when it is missing or unreadable.
    [[nodiscard]] static QString load(const QString &path);
    // Writes `text` to `path` once saveDelayMs pass without another call; a later call replaces
    // what is pending, path and all.
    void save(const QString &text, const QString &path);
    // Writes what is pending now.
    void flush();

    [[nodiscard]] const QDateTime &savedAt() const { return m_savedAt; }
    // "Saves as you type" until the first save, then "Saved HH:mm".
    [[nodiscard]] QString savedLabel() const;
    [[nodiscard]] const QString &lastError() const { return m_lastError; }

signals:
    void savedAtChanged();
    void lastErrorChanged();
    // After every write: why it failed, or "" when it went well.
    void reported(const QString &error);

private:
    struct Pending {
        QString text;
        QString path;
    };

    void write(const QString &text, const QString &path);
    void writePending();
    void setLastError(const QString &error);

    const Clock *m_clock;
    QTimer m_timer;
    std::optional<Pending> m_pending;
    QDateTime m_savedAt;
    QString m_lastError;
};
