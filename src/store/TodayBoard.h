#pragma once

#include "io/FileStamp.h"
#include "model/Board.h"
#include "model/BoardEdit.h"
#include "store/Greeting.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUuid>
#include <QVariant>

#include <memory>
#include <optional>

class Clock;
class DayChangeTimer;
class FolderWatcher;
class Preferences;
class VaultLocations;

// Today's board and its file. Every edit is written at once, made on the newest version of the
// file: when another program saved in the meantime, its version is read, the edit is made again
// there, and both survive; an edit of a card that the other program changed itself is dropped,
// and said so. A file changed from outside is read again once its writer is done; a new day gets
// a new board, with yesterday's unfinished cards when the preferences say so. An unreadable file
// is never written over: edits wait until it can be read or the user starts a fresh board.
class TodayBoard : public QObject {
    Q_OBJECT
    Q_PROPERTY(Board board READ board NOTIFY boardChanged)
    Q_PROPERTY(QString day READ day NOTIFY dayChanged)
    // Null while there is no pending greeting.
    Q_PROPERTY(QVariant greeting READ greetingValue WRITE setGreetingValue NOTIFY greetingChanged)
    // Empty while there is nothing to report.
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    // A copy of replaced bytes made with the current `lastError`; empty when none was made.
    Q_PROPERTY(QString lastCopy READ lastCopy NOTIFY lastErrorChanged)
    // Why today's file cannot be read; empty when it can.
    Q_PROPERTY(QString unreadable READ unreadable NOTIFY unreadableChanged)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY undoChanged)
    Q_PROPERTY(bool canRedo READ canRedo NOTIFY undoChanged)
    // Says what the last edit took off the board, for a moment, while undoing it brings it back;
    // empty otherwise.
    Q_PROPERTY(QString undoOffer READ undoOffer NOTIFY undoOfferChanged)

public:
    // How `lastError` begins when the board could not be written.
    static constexpr QStringView saveErrorPrefix = u"Couldn't save board: ";
    static constexpr int writerPollMs = 40;
    // How many edits can be taken back.
    static constexpr qsizetype undoDepth = 100;
    // How long the offer to bring back a deleted card stays.
    static constexpr int undoOfferMs = 8000;

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
    [[nodiscard]] const QString &lastCopy() const { return m_lastCopy; }
    [[nodiscard]] const QString &unreadable() const { return m_unreadable; }
    // Edits made but not yet in the file (it could not be written or read).
    [[nodiscard]] qsizetype pendingEdits() const { return m_edits.size(); }
    [[nodiscard]] bool canUndo() const { return !m_undo.isEmpty(); }
    [[nodiscard]] bool canRedo() const { return !m_redo.isEmpty(); }
    [[nodiscard]] const QString &undoOffer() const { return m_undoOffer; }
    // Tests shorten the offer's life.
    void setUndoOfferMs(int ms) { m_undoOfferTimer.setInterval(ms); }

    Q_INVOKABLE void loadToday();
    Q_INVOKABLE void reload();
    void createToday();
    [[nodiscard]] std::optional<QString> previousBoardPath() const;
    // Writes the board, with what another program saved meanwhile.
    void save();
    // Moves an unreadable today's file aside, as "<day> (unreadable).md", and starts a new board
    // in its place with the edits that waited.
    Q_INVOKABLE void startFreshBoard();
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
    // Takes back the last edit made here (or the last undo), written like any edit. An edit whose
    // card another program has changed since is not taken back: that is said, and it is
    // forgotten.
    Q_INVOKABLE void undo();
    Q_INVOKABLE void redo();
    Q_INVOKABLE void dismissUndoOffer();
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
    void unreadableChanged();
    void undoChanged();
    void undoOfferChanged();
    // After every read or write of the file: why it failed, or "" when it went well, and a copy
    // of replaced bytes that was made.
    void reported(const QString &error, const QString &copy);
    // The folder was looked at again with the day unchanged: other days' files may have changed.
    void folderChecked();

private:
    [[nodiscard]] QDateTime now() const;
    void publishBoard(Board board);
    void setDay(const QString &day);
    void setLastError(const QString &error, const QString &copy = {});
    void setUnreadable(const QString &reason);

    // Another file is today's now: what was pending for the old one goes.
    void forgetFile();
    enum class History { New, Undo, Redo };
    // Makes `edit` on the board shown and writes it; what takes it back goes on the undo stack,
    // or on the redo stack when it is an undo. False when it cannot be made.
    bool perform(const BoardEdit &edit, History history = History::New);
    // Takes the top of one stack back; its inverse goes on the other.
    void takeBack(QList<BoardEdit> &stack, History history);
    void forgetHistory();
    void setUndoOffer(const QString &offer);
    // Writes the board, or leaves it to a retry while another program writes the file.
    void writePending();
    // Reads the file as it is now into the board; false when that has to wait or failed.
    bool readNewest();
    // `newest` is the file's board: the edits not yet written are made again on it.
    void rebase(Board newest);
    // Checks again shortly, as long as the other writer may take.
    [[nodiscard]] bool waitForWriter();
    void reportOutcome(const QString &copy);
    [[nodiscard]] Board freshBoard(int *carried, std::optional<QString> *fromDay) const;
    void showWatchFailure();

    const Preferences *m_preferences;
    const VaultLocations *m_locations;
    const Clock *m_clock;

    // The board as the file last held it, and the edits made on it since: together `m_board`.
    Board m_base = Board::empty();
    QList<BoardEdit> m_edits;
    // A board that is not in the file yet (a new day's) has to be written even without edits.
    bool m_needsWrite = false;
    Board m_board = Board::empty();
    QString m_day;
    std::optional<Greeting> m_greeting;
    QString m_lastError;
    QString m_lastCopy;
    QString m_unreadable;
    // Texts of the cards whose edits were dropped since the last report.
    QStringList m_dropped;

    // How the file looked when this last read or wrote it; a different stamp means someone else
    // changed it. None while there is no file (or none has been seen).
    std::optional<FileStamp> m_lastKnownStamp;
    // The file holds bytes the board does not: the reader dropped part of it. The next save keeps
    // a copy of them first.
    bool m_holdsForeignBytes = false;

    // The inverses of the edits made here, last on top.
    QList<BoardEdit> m_undo;
    QList<BoardEdit> m_redo;
    QString m_undoOffer;
    QTimer m_undoOfferTimer;

    QTimer m_retry;
    QElapsedTimer m_waitingSince;

    std::unique_ptr<FolderWatcher> m_watcher;
    // The watcher's failure that was last shown.
    QString m_watchFailure;
    DayChangeTimer *m_dayTimer = nullptr;
};
