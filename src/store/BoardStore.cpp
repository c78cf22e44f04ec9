#include "BoardStore.h"

#include "io/TextFile.h"
#include "platform/UrlLauncher.h"
#include "store/Clock.h"
#include "store/DayFiles.h"

BoardStore::BoardStore(QObject *parent) : BoardStore(nullptr, nullptr, parent) {}

BoardStore::BoardStore(const Clock *clock, UrlLauncher *launcher, QObject *parent)
    : QObject(parent), m_clock(clock), m_launcher(launcher)
{
    if (!m_clock) {
        m_ownClock = std::make_unique<SystemClock>();
        m_clock = m_ownClock.get();
    }
    if (!m_launcher) {
        m_ownLauncher = std::make_unique<DesktopUrlLauncher>();
        m_launcher = m_ownLauncher.get();
    }

    m_preferences = std::make_unique<Preferences>();
    Preferences *preferences = m_preferences.get();
    connect(preferences, &Preferences::vaultPathChanged, this, &BoardStore::vaultPathChanged);
    connect(preferences, &Preferences::boardsFolderChanged, this, &BoardStore::boardsFolderChanged);
    connect(preferences, &Preferences::notesFolderChanged, this, &BoardStore::notesFolderChanged);
    connect(preferences, &Preferences::swipeToSwitchChanged, this,
            &BoardStore::swipeToSwitchChanged);
    connect(preferences, &Preferences::notchPositionChanged, this,
            &BoardStore::notchPositionChanged);
    connect(preferences, &Preferences::openShortcutChanged, this, &BoardStore::openShortcutChanged);
    connect(preferences, &Preferences::switchTabShortcutChanged, this,
            &BoardStore::switchTabShortcutChanged);
    connect(preferences, &Preferences::carryOverChanged, this, &BoardStore::carryOverChanged);
    connect(preferences, &Preferences::morningBannerChanged, this,
            &BoardStore::morningBannerChanged);
    connect(preferences, &Preferences::boardsMoved, this, &BoardStore::afterBoardsMoved);

    m_locations = std::make_unique<VaultLocations>(preferences);

    m_today = std::make_unique<TodayBoard>(preferences, m_locations.get(), m_clock);
    TodayBoard *today = m_today.get();
    // Made before the past days listen, so that a new board is announced before the shown one.
    connect(today, &TodayBoard::boardChanged, this, &BoardStore::boardChanged);
    connect(today, &TodayBoard::dayChanged, this, &BoardStore::dayChanged);
    connect(today, &TodayBoard::greetingChanged, this, &BoardStore::greetingChanged);
    connect(today, &TodayBoard::reported, this, &BoardStore::setLastError);
    connect(today, &TodayBoard::unreadableChanged, this, &BoardStore::unreadableChanged);
    connect(today, &TodayBoard::undoChanged, this, &BoardStore::undoChanged);
    connect(today, &TodayBoard::undoOfferChanged, this, &BoardStore::undoOfferChanged);
    m_lastError = today->lastError();

    m_pastDays = std::make_unique<PastDays>(today, m_locations.get());
    connect(m_pastDays.get(), &PastDays::viewedDayChanged, this, &BoardStore::viewedDayChanged);
    connect(m_pastDays.get(), &PastDays::shownDayChanged, this, &BoardStore::shownDayChanged);
    connect(m_pastDays.get(), &PastDays::shownBoardChanged, this, &BoardStore::shownBoardChanged);

    m_quickNote = std::make_unique<QuickNote>(m_clock);
    connect(m_quickNote.get(), &QuickNote::savedAtChanged, this, &BoardStore::noteSavedAtChanged);
    connect(m_quickNote.get(), &QuickNote::reported, this, &BoardStore::setLastError);
    connect(m_quickNote.get(), &QuickNote::changedOutside, this,
            &BoardStore::quickNoteChangedOutside);
    // At midnight the editor leaves yesterday's note, with what was typed into it, for today's.
    connect(today, &TodayBoard::dayChanged, this, [this] {
        if (const auto text = m_quickNote->reopen(todayNotePath()))
            emit quickNoteReplaced(*text);
    });

    m_vaultNotes = std::make_unique<VaultNotes>(preferences, m_locations.get());
}

BoardStore::~BoardStore() = default;

void BoardStore::afterBoardsMoved()
{
    // The past day goes first, so that the reloaded board is shown as it arrives.
    m_pastDays->view(std::nullopt);
    m_today->relocate();
    emit locationChanged();
}

void BoardStore::setLastError(const QString &error, const QString &copy)
{
    if (m_lastError == error && m_lastCopy == copy)
        return;
    m_lastError = error;
    m_lastCopy = copy;
    emit lastErrorChanged();
}

void BoardStore::dismissError()
{
    setLastError({}, {});
}

void BoardStore::startFreshBoard()
{
    m_today->startFreshBoard();
}

QVariant BoardStore::greetingValue() const
{
    return m_today->greetingValue();
}

void BoardStore::setGreetingValue(const QVariant &value)
{
    m_today->setGreetingValue(value);
}

// ---- locations

void BoardStore::setVault(const QString &path)
{
    setVaultPath(path);
}

QVariant BoardStore::vaultRelativePath(const QString &path) const
{
    return m_locations->vaultRelativePath(path);
}

void BoardStore::openInObsidian(const QString &path) const
{
    openInObsidian(path.toUtf8());
}

void BoardStore::openInObsidian(const QByteArray &pathBytes) const
{
    m_launcher->open(m_locations->obsidianUrl(pathBytes));
}

void BoardStore::openAddress(const QByteArray &encodedUrl) const
{
    m_launcher->open(encodedUrl);
}

void BoardStore::openTodayInObsidian() const
{
    openInObsidian(boardsFolder() + u'/' + day());
}

// ---- days

QString BoardStore::dayString(const QDateTime &moment) const
{
    return DayFiles::keyOf(moment);
}

QString BoardStore::dayKey(const QDate &day)
{
    return DayFiles::key(day);
}

std::optional<QDate> BoardStore::date(const QString &dayKey)
{
    return DayFiles::date(dayKey);
}

std::optional<QDateTime> BoardStore::modDate(const QString &path)
{
    return TextFile::modificationTime(path);
}

// ---- today's board

void BoardStore::loadToday()
{
    m_today->loadToday();
}

void BoardStore::reload()
{
    m_today->reload();
}

void BoardStore::add(const QString &text, const QString &kind)
{
    m_today->add(text, kind);
}

void BoardStore::move(const QString &id, const QString &kind, const QString &before)
{
    m_today->move(id, kind, before);
}

void BoardStore::toggle(const QString &id)
{
    m_today->toggle(id);
}

void BoardStore::rename(const QString &id, const QString &text)
{
    m_today->rename(id, text);
}

void BoardStore::deleteCard(const QString &id)
{
    m_today->deleteCard(id);
}

void BoardStore::copyToToday(const QString &id)
{
    if (const auto card = m_pastDays->viewedCard(QUuid(id)))
        m_today->copyToToday(*card);
}

void BoardStore::checkForChanges()
{
    m_today->checkForChanges();
}

// ---- past days

void BoardStore::view(const QString &day)
{
    m_pastDays->view(day);
}

QStringList BoardStore::boardDayList() const
{
    return m_pastDays->boardDayList();
}

bool BoardStore::canStep(int delta) const
{
    return m_pastDays->canStep(delta);
}

void BoardStore::step(int delta)
{
    m_pastDays->step(delta);
}

// ---- quick note

QString BoardStore::loadQuickNote()
{
    return m_quickNote->open(todayNotePath());
}

void BoardStore::closeQuickNote()
{
    m_quickNote->flush();
    m_quickNote->close();
}

void BoardStore::saveQuickNote(const QString &text)
{
    // Bound to the file of the day the text was typed on, even if it is written after midnight.
    m_quickNote->save(text, todayNotePath());
}

void BoardStore::flushQuickNote()
{
    m_quickNote->flush();
}
