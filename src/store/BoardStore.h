#pragma once

#include "model/Board.h"
#include "model/Shortcut.h"
#include "notes/NoteFile.h"
#include "notes/NotesIndex.h"
#include "store/Greeting.h"

#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>
#include <QUuid>
#include <QVariant>

#include <memory>
#include <optional>

class Clock;
class DayChangeTimer;
class FolderWatcher;
class QSettings;
class UrlLauncher;

// The one store behind every view: the settings, where the vault is, today's board and its file,
// the past day being looked at, and the quick note. Every change is published through a property
// and every board edit is written to today's file at once. Main thread only.
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
    Q_PROPERTY(NotchPosition notchPosition READ notchPosition WRITE setNotchPosition NOTIFY
                   notchPositionChanged)
    Q_PROPERTY(bool carryOver READ carryOver WRITE setCarryOver NOTIFY carryOverChanged)
    Q_PROPERTY(
        bool morningBanner READ morningBanner WRITE setMorningBanner NOTIFY morningBannerChanged)
    Q_PROPERTY(Board board READ board NOTIFY boardChanged)
    Q_PROPERTY(QString day READ day NOTIFY dayChanged)
    // Null while there is no pending greeting.
    Q_PROPERTY(QVariant greeting READ greetingValue WRITE setGreetingValue NOTIFY greetingChanged)
    // Empty while there is nothing to report.
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    // Empty while today is shown.
    Q_PROPERTY(QString viewedDay READ viewedDayText NOTIFY viewedDayChanged)
    Q_PROPERTY(bool isViewingPast READ isViewingPast NOTIFY viewedDayChanged)
    Q_PROPERTY(QString shownDay READ shownDay NOTIFY shownDayChanged)
    Q_PROPERTY(Board shownBoard READ shownBoard NOTIFY shownBoardChanged)
    Q_PROPERTY(QDateTime noteSavedAt READ noteSavedAt NOTIFY noteSavedAtChanged)
    Q_PROPERTY(QString noteSavedLabel READ noteSavedLabel NOTIFY noteSavedAtChanged)
    Q_PROPERTY(QString vaultName READ vaultName NOTIFY locationChanged)

public:
    static constexpr QStringView defaultBoardsFolder = u"01 Journal/Boards";
    static constexpr QStringView defaultNotesFolder = u"01 Journal/Quick Notes";
    static constexpr int noteSaveDelayMs = 500;
    // How `lastError` begins when today's board could not be written.
    static constexpr QStringView saveErrorPrefix = u"Couldn't save board: ";

    // Where along the top edge the closed notch sits; Automatic leaves it to the desktop.
    enum class NotchPosition { Automatic, Left, Centre, Right };
    Q_ENUM(NotchPosition)

    // Preference keys.
    struct Key {
        static constexpr QStringView vault = u"vaultPath";
        static constexpr QStringView boardsFolder = u"boardsFolder";
        static constexpr QStringView notesFolder = u"notesFolder";
        static constexpr QStringView swipeToSwitch = u"swipeToSwitch";
        static constexpr QStringView openShortcut = u"openShortcut";
        static constexpr QStringView switchTabShortcut = u"switchTabShortcut";
        static constexpr QStringView carryOver = u"carryOver";
        static constexpr QStringView morningBanner = u"morningBanner";
        static constexpr QStringView notchPosition = u"notchPosition";
    };

    using NoteFile = ::NoteFile;

    explicit BoardStore(QObject *parent = nullptr);
    // With the time and the URL handler supplied, for tests. Neither is owned.
    BoardStore(const Clock *clock, UrlLauncher *launcher, QObject *parent = nullptr);
    ~BoardStore() override;

    // Where the preferences live: $XDG_CONFIG_HOME/Tallowfern/Tallowfern.conf.
    [[nodiscard]] static QString settingsPath();

    [[nodiscard]] bool isFirstRun() const { return m_isFirstRun; }
    [[nodiscard]] const QString &vaultPath() const { return m_vaultPath; }
    void setVaultPath(const QString &path);
    [[nodiscard]] const QString &boardsFolder() const { return m_boardsFolder; }
    void setBoardsFolder(const QString &folder);
    [[nodiscard]] const QString &notesFolder() const { return m_notesFolder; }
    void setNotesFolder(const QString &folder);
    [[nodiscard]] bool swipeToSwitch() const { return m_swipeToSwitch; }
    void setSwipeToSwitch(bool on);
    [[nodiscard]] Shortcut openShortcut() const { return m_openShortcut; }
    void setOpenShortcut(Shortcut shortcut);
    [[nodiscard]] Shortcut switchTabShortcut() const { return m_switchTabShortcut; }
    void setSwitchTabShortcut(Shortcut shortcut);
    [[nodiscard]] NotchPosition notchPosition() const { return m_notchPosition; }
    void setNotchPosition(NotchPosition position);
    [[nodiscard]] bool carryOver() const { return m_carryOver; }
    void setCarryOver(bool on);
    [[nodiscard]] bool morningBanner() const { return m_morningBanner; }
    void setMorningBanner(bool on);

    [[nodiscard]] const Board &board() const { return m_board; }
    [[nodiscard]] const QString &day() const { return m_day; }
    [[nodiscard]] const std::optional<Greeting> &greeting() const { return m_greeting; }
    void setGreeting(std::optional<Greeting> greeting);
    [[nodiscard]] const QString &lastError() const { return m_lastError; }
    [[nodiscard]] const std::optional<QString> &viewedDay() const { return m_viewedDay; }
    [[nodiscard]] const std::optional<Board> &viewedBoard() const { return m_viewedBoard; }
    [[nodiscard]] bool isViewingPast() const { return m_viewedDay.has_value(); }
    [[nodiscard]] QString shownDay() const { return m_viewedDay.value_or(m_day); }
    [[nodiscard]] const Board &shownBoard() const
    {
        return m_viewedBoard ? *m_viewedBoard : m_board;
    }
    [[nodiscard]] const QDateTime &noteSavedAt() const { return m_noteSavedAt; }
    // "Saves as you type" until the first save, then "Saved HH:mm".
    [[nodiscard]] QString noteSavedLabel() const;

    // Locations, computed from the settings and TALLOWFERN_VAULT on every call.
    [[nodiscard]] QString vaultDir() const;
    [[nodiscard]] QString vaultName() const;
    [[nodiscard]] QString boardsDir() const;
    [[nodiscard]] QString notesDir() const;
    [[nodiscard]] QString todayPath() const;
    [[nodiscard]] QString todayNotePath() const;
    [[nodiscard]] QString boardPath(const QString &day) const;

    Q_INVOKABLE void setVault(const QString &path);
    // The path of `path` inside the vault ("" for the vault itself); null when outside.
    Q_INVOKABLE QVariant vaultRelativePath(const QString &path) const;
    Q_INVOKABLE void openInObsidian(const QString &path) const;
    Q_INVOKABLE void openTodayInObsidian() const;

    [[nodiscard]] QString dayString(const QDateTime &moment) const;
    // The name a day's board and quick note go by: "yyyy-MM-dd".
    [[nodiscard]] static QString dayKey(const QDate &day);
    [[nodiscard]] static std::optional<QDate> date(const QString &dayKey);

    Q_INVOKABLE void loadToday();
    Q_INVOKABLE void reload();
    void createToday();
    [[nodiscard]] std::optional<QString> previousBoardPath() const;
    void save();

    // Editing today's board. Each does nothing when its preconditions fail.
    void add(const QString &text, LaneKind kind);
    void move(const QUuid &id, LaneKind kind, const std::optional<QUuid> &before);
    void toggle(const QUuid &id);
    void rename(const QUuid &id, const QString &text);
    void deleteCard(const QUuid &id);
    void copyToToday(const Card &card);
    // The same for QML: lane kinds by raw value ("todo", "doing", "done"), ids as text.
    Q_INVOKABLE void add(const QString &text, const QString &kind);
    Q_INVOKABLE void move(const QString &id, const QString &kind, const QString &before);
    Q_INVOKABLE void toggle(const QString &id);
    Q_INVOKABLE void rename(const QString &id, const QString &text);
    Q_INVOKABLE void deleteCard(const QString &id);
    // Copies a card of the viewed past day to today's To do.
    Q_INVOKABLE void copyToToday(const QString &id);

    // Re-aims the watcher at the current boards folder.
    void watchBoards();
    Q_INVOKABLE void checkForChanges();
    [[nodiscard]] static std::optional<QDateTime> modDate(const QString &path);

    void view(const std::optional<QString> &day);
    Q_INVOKABLE void view(const QString &day);
    [[nodiscard]] QSet<QString> boardDays() const;
    Q_INVOKABLE QStringList boardDayList() const;
    Q_INVOKABLE bool canStep(int delta) const;
    Q_INVOKABLE void step(int delta);

    Q_INVOKABLE QString loadQuickNote() const;
    Q_INVOKABLE void saveQuickNote(const QString &text);
    Q_INVOKABLE void flushQuickNote();

    // The vault's notes, newest first, for the Notes tab.
    [[nodiscard]] NotesIndex notes() const;

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
    void viewedDayChanged();
    void shownDayChanged();
    void shownBoardChanged();
    void noteSavedAtChanged();
    void locationChanged();

private:
    struct FileStamp {
        qint64 modifiedNanos = 0;
        quint64 inode = 0;
        qint64 size = 0;
        friend bool operator==(const FileStamp &, const FileStamp &) = default;
    };
    struct PendingNote {
        QString text;
        QString path;
    };

    void initialise();
    [[nodiscard]] QDateTime now() const;
    [[nodiscard]] static std::optional<FileStamp> stamp(const QString &path);
    [[nodiscard]] std::optional<Shortcut> loadShortcut(QStringView key) const;
    void saveShortcut(Shortcut shortcut, QStringView key);
    void storeValue(QStringView key, const QVariant &value);
    void afterLocationChange();
    void publishBoard(Board board);
    void setDay(const QString &day);
    void setLastError(const QString &error);
    void setViewed(std::optional<QString> day, std::optional<Board> board);
    void writeQuickNote(const QString &text, const QString &path);
    [[nodiscard]] QVariant greetingValue() const;
    void setGreetingValue(const QVariant &value);
    [[nodiscard]] QString viewedDayText() const { return m_viewedDay.value_or(QString()); }

    const Clock *m_clock;
    UrlLauncher *m_launcher;
    std::unique_ptr<Clock> m_ownClock;
    std::unique_ptr<UrlLauncher> m_ownLauncher;
    std::unique_ptr<QSettings> m_settings;

    bool m_isFirstRun = false;
    QString m_vaultPath;
    QString m_boardsFolder;
    QString m_notesFolder;
    bool m_swipeToSwitch = true;
    NotchPosition m_notchPosition = NotchPosition::Automatic;
    Shortcut m_openShortcut = Shortcut::defaultOpen();
    Shortcut m_switchTabShortcut = Shortcut::defaultSwitchTab();
    bool m_carryOver = true;
    bool m_morningBanner = true;

    Board m_board = Board::empty();
    QString m_day;
    std::optional<Greeting> m_greeting;
    QString m_lastError;
    std::optional<QString> m_viewedDay;
    std::optional<Board> m_viewedBoard;

    // How today's file looked when the store last read or wrote it; a different stamp means
    // someone else changed it.
    std::optional<FileStamp> m_lastKnownStamp;
    // Today's file holds bytes the board does not: it could not be read, or the reader dropped
    // part of it. The next save keeps a copy of them first.
    bool m_todayHoldsForeignBytes = false;

    std::unique_ptr<FolderWatcher> m_watcher;
    DayChangeTimer *m_dayTimer = nullptr;

    QTimer m_noteTimer;
    std::optional<PendingNote> m_pendingNote;
    QDateTime m_noteSavedAt;
};
