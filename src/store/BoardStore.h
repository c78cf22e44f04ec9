#pragma once

#include "model/Board.h"
#include "model/Shortcut.h"
#include "notes/NoteFile.h"
#include "store/Greeting.h"
#include "store/PastDays.h"
#include "store/Preferences.h"
#include "store/QuickNote.h"
#include "store/TodayBoard.h"
#include "store/VaultLocations.h"
#include "store/VaultNotes.h"

#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>
#include <QVariant>

#include <memory>
#include <optional>

class Clock;
class UrlLauncher;

// The one store behind every view: the settings, where the vault is, today's board and its file,
// the past day being looked at, and the quick note. Each of those is a part of its own; this
// forwards to them and publishes their changes as its own. Every board edit is written to today's
// file at once. Main thread only.
class BoardStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isFirstRun READ isFirstRun CONSTANT)
    Q_PROPERTY(QString vaultPath READ vaultPath WRITE setVaultPath NOTIFY vaultPathChanged)
    Q_PROPERTY(
        QString boardsFolder READ boardsFolder WRITE setBoardsFolder NOTIFY boardsFolderChanged)
    Q_PROPERTY(QString notesFolder READ notesFolder WRITE setNotesFolder NOTIFY notesFolderChanged)
    Q_PROPERTY(
        bool swipeToSwitch READ swipeToSwitch WRITE setSwipeToSwitch NOTIFY swipeToSwitchChanged)
    Q_PROPERTY(
        Shortcut openShortcut READ openShortcut WRITE setOpenShortcut NOTIFY openShortcutChanged)
    Q_PROPERTY(Shortcut switchTabShortcut READ switchTabShortcut WRITE setSwitchTabShortcut NOTIFY
                   switchTabShortcutChanged)
    Q_PROPERTY(Preferences::NotchPosition notchPosition READ notchPosition WRITE setNotchPosition
                   NOTIFY notchPositionChanged)
    Q_PROPERTY(bool carryOver READ carryOver WRITE setCarryOver NOTIFY carryOverChanged)
    Q_PROPERTY(
        bool morningBanner READ morningBanner WRITE setMorningBanner NOTIFY morningBannerChanged)
    Q_PROPERTY(Board board READ board NOTIFY boardChanged)
    Q_PROPERTY(QString day READ day NOTIFY dayChanged)
    // Null while there is no pending greeting.
    Q_PROPERTY(QVariant greeting READ greetingValue WRITE setGreetingValue NOTIFY greetingChanged)
    // Empty while there is nothing to report.
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    // A copy of replaced text made with `lastError`, to be shown; empty when there is none.
    Q_PROPERTY(QString lastCopy READ lastCopy NOTIFY lastErrorChanged)
    // Why today's board file cannot be read; empty when it can. Edits wait meanwhile.
    Q_PROPERTY(QString boardUnreadable READ boardUnreadable NOTIFY unreadableChanged)
    // Taking back edits of today's board, and the moment's offer to bring back a deleted card.
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY undoChanged)
    Q_PROPERTY(bool canRedo READ canRedo NOTIFY undoChanged)
    Q_PROPERTY(QString undoOffer READ undoOffer NOTIFY undoOfferChanged)
    // Empty while today is shown.
    Q_PROPERTY(QString viewedDay READ viewedDayText NOTIFY viewedDayChanged)
    Q_PROPERTY(bool isViewingPast READ isViewingPast NOTIFY viewedDayChanged)
    Q_PROPERTY(QString shownDay READ shownDay NOTIFY shownDayChanged)
    Q_PROPERTY(Board shownBoard READ shownBoard NOTIFY shownBoardChanged)
    Q_PROPERTY(QDateTime noteSavedAt READ noteSavedAt NOTIFY noteSavedAtChanged)
    Q_PROPERTY(QString noteSavedLabel READ noteSavedLabel NOTIFY noteSavedAtChanged)
    Q_PROPERTY(QString vaultName READ vaultName NOTIFY locationChanged)

public:
    static constexpr QStringView defaultBoardsFolder = Preferences::defaultBoardsFolder;
    static constexpr QStringView defaultNotesFolder = Preferences::defaultNotesFolder;
    static constexpr int noteSaveDelayMs = QuickNote::saveDelayMs;
    // How `lastError` begins when today's board could not be written.
    static constexpr QStringView saveErrorPrefix = TodayBoard::saveErrorPrefix;

    using NotchPosition = Preferences::NotchPosition;
    // Preference keys.
    using Key = Preferences::Key;
    using NoteFile = ::NoteFile;

    explicit BoardStore(QObject *parent = nullptr);
    // With the time and the URL handler supplied, for tests. Neither is owned.
    BoardStore(const Clock *clock, UrlLauncher *launcher, QObject *parent = nullptr);
    ~BoardStore() override;

    // The parts, for views that need only one of them. They live as long as the store.
    [[nodiscard]] Preferences *preferences() const { return m_preferences.get(); }
    [[nodiscard]] VaultLocations *locations() const { return m_locations.get(); }
    [[nodiscard]] TodayBoard *today() const { return m_today.get(); }
    [[nodiscard]] PastDays *pastDays() const { return m_pastDays.get(); }
    [[nodiscard]] QuickNote *quickNote() const { return m_quickNote.get(); }
    [[nodiscard]] VaultNotes *vaultNotes() const { return m_vaultNotes.get(); }

    // Where the preferences live: $XDG_CONFIG_HOME/Tallowfern/Tallowfern.conf.
    [[nodiscard]] static QString settingsPath() { return Preferences::settingsPath(); }

    [[nodiscard]] bool isFirstRun() const { return m_preferences->isFirstRun(); }
    [[nodiscard]] const QString &vaultPath() const { return m_preferences->vaultPath(); }
    void setVaultPath(const QString &path) { m_preferences->setVaultPath(path); }
    [[nodiscard]] const QString &boardsFolder() const { return m_preferences->boardsFolder(); }
    void setBoardsFolder(const QString &folder) { m_preferences->setBoardsFolder(folder); }
    [[nodiscard]] const QString &notesFolder() const { return m_preferences->notesFolder(); }
    void setNotesFolder(const QString &folder) { m_preferences->setNotesFolder(folder); }
    [[nodiscard]] bool swipeToSwitch() const { return m_preferences->swipeToSwitch(); }
    void setSwipeToSwitch(bool on) { m_preferences->setSwipeToSwitch(on); }
    [[nodiscard]] Shortcut openShortcut() const { return m_preferences->openShortcut(); }
    void setOpenShortcut(Shortcut shortcut) { m_preferences->setOpenShortcut(shortcut); }
    [[nodiscard]] Shortcut switchTabShortcut() const { return m_preferences->switchTabShortcut(); }
    void setSwitchTabShortcut(Shortcut shortcut) { m_preferences->setSwitchTabShortcut(shortcut); }
    [[nodiscard]] NotchPosition notchPosition() const { return m_preferences->notchPosition(); }
    void setNotchPosition(NotchPosition position) { m_preferences->setNotchPosition(position); }
    [[nodiscard]] bool carryOver() const { return m_preferences->carryOver(); }
    void setCarryOver(bool on) { m_preferences->setCarryOver(on); }
    [[nodiscard]] bool morningBanner() const { return m_preferences->morningBanner(); }
    void setMorningBanner(bool on) { m_preferences->setMorningBanner(on); }

    [[nodiscard]] const Board &board() const { return m_today->board(); }
    [[nodiscard]] const QString &day() const { return m_today->day(); }
    [[nodiscard]] const std::optional<Greeting> &greeting() const { return m_today->greeting(); }
    void setGreeting(std::optional<Greeting> greeting)
    {
        m_today->setGreeting(std::move(greeting));
    }
    // The latest error of the board or the note, whichever reported last.
    [[nodiscard]] const QString &lastError() const { return m_lastError; }
    [[nodiscard]] const QString &lastCopy() const { return m_lastCopy; }
    [[nodiscard]] const QString &boardUnreadable() const { return m_today->unreadable(); }
    // The user has read the message.
    Q_INVOKABLE void dismissError();
    // Today's file cannot be read: move it aside and start a new board.
    Q_INVOKABLE void startFreshBoard();
    [[nodiscard]] const std::optional<QString> &viewedDay() const
    {
        return m_pastDays->viewedDay();
    }
    [[nodiscard]] const std::optional<Board> &viewedBoard() const
    {
        return m_pastDays->viewedBoard();
    }
    [[nodiscard]] bool isViewingPast() const { return m_pastDays->isViewingPast(); }
    [[nodiscard]] QString shownDay() const { return m_pastDays->shownDay(); }
    [[nodiscard]] const Board &shownBoard() const { return m_pastDays->shownBoard(); }
    [[nodiscard]] const QDateTime &noteSavedAt() const { return m_quickNote->savedAt(); }
    // "Saves as you type" until the first save, then "Saved HH:mm".
    [[nodiscard]] QString noteSavedLabel() const { return m_quickNote->savedLabel(); }

    // Locations, computed from the settings and TALLOWFERN_VAULT on every call.
    [[nodiscard]] QString vaultDir() const { return m_locations->vaultDir(); }
    [[nodiscard]] QString vaultName() const { return m_locations->vaultName(); }
    [[nodiscard]] QString boardsDir() const { return m_locations->boardsDir(); }
    [[nodiscard]] QString notesDir() const { return m_locations->notesDir(); }
    [[nodiscard]] QString todayPath() const { return m_today->path(); }
    [[nodiscard]] QString todayNotePath() const { return m_locations->notePath(day()); }
    [[nodiscard]] QString boardPath(const QString &day) const
    {
        return m_locations->boardPath(day);
    }

    Q_INVOKABLE void setVault(const QString &path);
    // The path of `path` inside the vault ("" for the vault itself); null when outside.
    Q_INVOKABLE QVariant vaultRelativePath(const QString &path) const;
    Q_INVOKABLE void openInObsidian(const QString &path) const;
    // The same for a path as the bytes of its names on disk, which need not be UTF-8.
    void openInObsidian(const QByteArray &pathBytes) const;
    Q_INVOKABLE void openTodayInObsidian() const;
    // A web or mail address, or an obsidian:// link, that the caller has found safe to open.
    void openAddress(const QByteArray &encodedUrl) const;

    [[nodiscard]] QString dayString(const QDateTime &moment) const;
    // The name a day's board and quick note go by: "yyyy-MM-dd".
    [[nodiscard]] static QString dayKey(const QDate &day);
    [[nodiscard]] static std::optional<QDate> date(const QString &dayKey);

    Q_INVOKABLE void loadToday();
    Q_INVOKABLE void reload();
    void createToday() { m_today->createToday(); }
    [[nodiscard]] std::optional<QString> previousBoardPath() const
    {
        return m_today->previousBoardPath();
    }
    void save() { m_today->save(); }

    // Editing today's board. Each does nothing when its preconditions fail.
    void add(const QString &text, LaneKind kind) { m_today->add(text, kind); }
    void move(const QUuid &id, LaneKind kind, const std::optional<QUuid> &before)
    {
        m_today->move(id, kind, before);
    }
    void toggle(const QUuid &id) { m_today->toggle(id); }
    void rename(const QUuid &id, const QString &text) { m_today->rename(id, text); }
    void deleteCard(const QUuid &id) { m_today->deleteCard(id); }
    void copyToToday(const Card &card) { m_today->copyToToday(card); }
    // The same for QML: lane kinds by raw value ("todo", "doing", "done"), ids as text.
    Q_INVOKABLE void add(const QString &text, const QString &kind);
    Q_INVOKABLE void move(const QString &id, const QString &kind, const QString &before);
    Q_INVOKABLE void toggle(const QString &id);
    Q_INVOKABLE void rename(const QString &id, const QString &text);
    Q_INVOKABLE void deleteCard(const QString &id);
    [[nodiscard]] bool canUndo() const { return m_today->canUndo(); }
    [[nodiscard]] bool canRedo() const { return m_today->canRedo(); }
    [[nodiscard]] const QString &undoOffer() const { return m_today->undoOffer(); }
    Q_INVOKABLE void undo() { m_today->undo(); }
    Q_INVOKABLE void redo() { m_today->redo(); }
    Q_INVOKABLE void dismissUndoOffer() { m_today->dismissUndoOffer(); }
    // Copies a card of the viewed past day to today's To do.
    Q_INVOKABLE void copyToToday(const QString &id);

    // Re-aims the watcher at the current boards folder.
    void watchBoards() { m_today->watchBoards(); }
    Q_INVOKABLE void checkForChanges();
    [[nodiscard]] static std::optional<QDateTime> modDate(const QString &path);

    void view(const std::optional<QString> &day) { m_pastDays->view(day); }
    Q_INVOKABLE void view(const QString &day);
    [[nodiscard]] QSet<QString> boardDays() const { return m_pastDays->boardDays(); }
    Q_INVOKABLE QStringList boardDayList() const;
    Q_INVOKABLE bool canStep(int delta) const;
    Q_INVOKABLE void step(int delta);

    // Today's note for the editor, watched for outside changes until closeQuickNote().
    Q_INVOKABLE QString loadQuickNote();
    // The editor is gone: what is pending is written, and the note no longer watched.
    Q_INVOKABLE void closeQuickNote();
    Q_INVOKABLE void saveQuickNote(const QString &text);
    Q_INVOKABLE void flushQuickNote();

signals:
    void vaultPathChanged();
    void boardsFolderChanged();
    void notesFolderChanged();
    void swipeToSwitchChanged();
    void notchPositionChanged();
    void openShortcutChanged();
    void switchTabShortcutChanged();
    void carryOverChanged();
    void morningBannerChanged();
    void boardChanged();
    void dayChanged();
    void greetingChanged();
    void lastErrorChanged();
    void unreadableChanged();
    void undoChanged();
    void undoOfferChanged();
    // Another program changed the note the editor shows, which had nothing unsaved.
    void quickNoteChangedOutside(const QString &text);
    // The editor is to show another note: a new day has begun while it showed the old day's.
    void quickNoteReplaced(const QString &text);
    void viewedDayChanged();
    void shownDayChanged();
    void shownBoardChanged();
    void noteSavedAtChanged();
    void locationChanged();

private:
    void afterBoardsMoved();
    void setLastError(const QString &error, const QString &copy);
    [[nodiscard]] QVariant greetingValue() const;
    void setGreetingValue(const QVariant &value);
    [[nodiscard]] QString viewedDayText() const { return viewedDay().value_or(QString()); }

    const Clock *m_clock;
    UrlLauncher *m_launcher;
    std::unique_ptr<Clock> m_ownClock;
    std::unique_ptr<UrlLauncher> m_ownLauncher;

    // In the order they depend on each other.
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<VaultLocations> m_locations;
    std::unique_ptr<TodayBoard> m_today;
    std::unique_ptr<PastDays> m_pastDays;
    std::unique_ptr<QuickNote> m_quickNote;
    std::unique_ptr<VaultNotes> m_vaultNotes;

    QString m_lastError;
    QString m_lastCopy;
};
