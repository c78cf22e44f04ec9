#pragma once

#include "model/Board.h"
#include "store/Greeting.h"

#include <QObject>
#include <QString>
#include <QUuid>
#include <QVariant>

#include <memory>
#include <optional>

class Clock;
class DayChangeTimer;
class FolderWatcher;
class Preferences;
class VaultLocations;

// Today's board and its file. Every edit is written at once; a file changed from outside is read
// again; a new day gets a new board, with yesterday's unfinished cards when the preferences say
// so. Bytes the board does not hold are copied aside before they are written over.
class TodayBoard : public QObject {
    Q_OBJECT
    Q_PROPERTY(Board board READ board NOTIFY boardChanged)
    Q_PROPERTY(QString day READ day NOTIFY dayChanged)
    // Null while there is no pending greeting.
    Q_PROPERTY(QVariant greeting READ greetingValue WRITE setGreetingValue NOTIFY greetingChanged)
    // Empty while there is nothing to report.
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    // How `lastError` begins when the board could not be written.
    static constexpr QStringView saveErrorPrefix = u"Couldn't save board: ";

    // Loads or makes today's board and watches its folder. None of the three is owned.
    TodayBoard(const Preferences *preferences, const VaultLocations *locations, const Clock *clock,
               QObject *parent = nullptr);
    ~TodayBoard() override;

    [[nodiscard]] const Board &board() const { return m_board; }
    [[nodiscard]] const QString &day() const { return m_day; }
    [[nodiscard]] QString path() const;
    [[nodiscard]] const std::optional<Greeting> &greeting() const { return m_greeting; }
    void setGreeting(std::optional<Greeting> greeting);
    // The same as QML sees it: a Greeting, or null.
    [[nodiscard]] QVariant greetingValue() const;
    void setGreetingValue(const QVariant &value);
    [[nodiscard]] const QString &lastError() const { return m_lastError; }

    Q_INVOKABLE void loadToday();
    Q_INVOKABLE void reload();
    void createToday();
    [[nodiscard]] std::optional<QString> previousBoardPath() const;
    void save();
    // The boards folder is somewhere else now: today's board comes from there, and it is watched.
    void relocate();

    // Each does nothing when its preconditions fail.
    void add(const QString &text, LaneKind kind);
    void move(const QUuid &id, LaneKind kind, const std::optional<QUuid> &before);
    void toggle(const QUuid &id);
    void rename(const QUuid &id, const QString &text);
    void deleteCard(const QUuid &id);
    // Its text goes to the end of To do; its id and extra lines stay behind.
    void copyToToday(const Card &card);
    // The same for QML: lane kinds by raw value ("todo", "doing", "done"), ids as text.
    Q_INVOKABLE void add(const QString &text, const QString &kind);
    Q_INVOKABLE void move(const QString &id, const QString &kind, const QString &before);
    Q_INVOKABLE void toggle(const QString &id);
    Q_INVOKABLE void rename(const QString &id, const QString &text);
    Q_INVOKABLE void deleteCard(const QString &id);

    // Re-aims the watcher at the current boards folder.
    void watchBoards();
    // A new day loads its board; otherwise today's file is read again if someone changed it.
    Q_INVOKABLE void checkForChanges();

signals:
    void boardChanged();
    // Also when a load found the day it already had.
    void dayChanged();
    void greetingChanged();
    void lastErrorChanged();
    // After every read or write of the file: why it failed, or "" when it went well.
    void reported(const QString &error);
    // The folder was looked at again with the day unchanged: other days' files may have changed.
    void folderChecked();

private:
    struct FileStamp {
        qint64 modifiedNanos = 0;
        quint64 inode = 0;
        qint64 size = 0;
        friend bool operator==(const FileStamp &, const FileStamp &) = default;
    };

    [[nodiscard]] QDateTime now() const;
    [[nodiscard]] static std::optional<FileStamp> stamp(const QString &path);
    void publishBoard(Board board);
    void setDay(const QString &day);
    void setLastError(const QString &error);

    const Preferences *m_preferences;
    const VaultLocations *m_locations;
    const Clock *m_clock;

    Board m_board = Board::empty();
    QString m_day;
    std::optional<Greeting> m_greeting;
    QString m_lastError;

    // How the file looked when this last read or wrote it; a different stamp means someone else
    // changed it.
    std::optional<FileStamp> m_lastKnownStamp;
    // The file holds bytes the board does not: it could not be read, or the reader dropped part
    // of it. The next save keeps a copy of them first.
    bool m_holdsForeignBytes = false;

    std::unique_ptr<FolderWatcher> m_watcher;
    DayChangeTimer *m_dayTimer = nullptr;
};
