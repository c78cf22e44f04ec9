#pragma once

#include "io/FileStamp.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>
#include <QString>
#include <QTimer>

#include <optional>

class Clock;

// The quick note's file: read as display text, written a moment after the typing stops. While it
// is shown, a change by another program is loaded; one that met unsaved typing is kept as a
// replaced copy, and so is any version this did not read that a save would replace.
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
    // load() for the editor, which shows the note until close(): changes from outside are
    // announced with changedOutside().
    QString open(const QString &path);
    void close();
    // The editor is to show the note at `path` from now on (a new day has begun): what is pending
    // is written to the note it was typed into, then the new note is opened. Its text; nothing
    // when the editor shows that note already, or none at all.
    std::optional<QString> reopen(const QString &path);

    [[nodiscard]] const QDateTime &savedAt() const { return m_savedAt; }
    // "Saves as you type" until the first save, then "Saved HH:mm".
    [[nodiscard]] QString savedLabel() const;
    [[nodiscard]] const QString &lastError() const { return m_lastError; }

signals:
    void savedAtChanged();
    void lastErrorChanged();
    // After every write: why it failed, or "" when it went well, and a copy of replaced text
    // that was made.
    void reported(const QString &error, const QString &copy);
    // Another program changed the shown note, and nothing typed was waiting: its new text.
    void changedOutside(const QString &text);

private:
    struct Pending {
        QString text;
        QString path;
    };

    void write(const QString &text, const QString &path);
    void writePending();
    void setLastError(const QString &error, const QString &copy = {});
    // Keeps what was read from or written to `path`, for the line breaks of the next save.
    void remember(const QString &path, const QString &text, bool byteOrderMark);
    void checkShown();
    void watchShown();

    const Clock *m_clock;
    QTimer m_timer;
    std::optional<Pending> m_pending;
    QDateTime m_savedAt;
    QString m_lastError;

    // The note the editor shows; empty while none is.
    QString m_shownPath;
    // Each note's version as this last read or wrote it.
    QHash<QString, std::optional<FileStamp>> m_known;
    // Each note's text as this last read or wrote it, with U+FEFF in front when the file began
    // with a byte-order mark: the editor knows only "\n" and no mark, and a save puts back what
    // the note had.
    QHash<QString, QString> m_written;
    QFileSystemWatcher m_watcher;
    QTimer m_recheck;
    QElapsedTimer m_waitingSince;
    // The copy of another program's text that met unsaved typing, until the typing is written.
    QString m_concurrentCopy;
};
