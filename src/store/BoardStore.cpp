#include "BoardStore.h"

#include "io/ReplacedCopies.h"
#include "io/TextFile.h"
#include "notes/QuickNoteFormat.h"
#include "platform/DayChangeTimer.h"
#include "platform/UrlLauncher.h"
#include "store/Clock.h"
#include "store/FolderWatcher.h"
#include "store/VaultLocator.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QSettings>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <string_view>
#include <sys/stat.h>

namespace {

// Calls `visit` with the base name of every "*.md" entry of a folder, straight from the
// directory: these folders hold a file a day, and the calendar lists them on every draw.
template <typename Visit> void forEachMarkdownName(const QString &folder, Visit visit)
{
    DIR *dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir)
        return;
    while (const dirent *entry = ::readdir(dir)) {
        const std::string_view name(entry->d_name);
        if (name.size() > 3 && name.ends_with(".md"))
            visit(name.substr(0, name.size() - 3));
    }
    ::closedir(dir);
}

std::optional<bool> storedBool(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    // The INI file keeps no types: a Boolean comes back as the text it was written as.
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == u"true")
            return true;
        if (text == u"false")
            return false;
    }
    return std::nullopt;
}

// As stored, in the order of BoardStore::NotchPosition.
constexpr QStringView notchPositionNames[] = {u"automatic", u"left", u"centre", u"right"};

// A name someone mistyped in the file means the desktop's choice, not an error.
BoardStore::NotchPosition notchPositionFrom(const QVariant &value)
{
    const QString name = value.toString().trimmed().toLower();
    for (int i = 0; i < int(std::size(notchPositionNames)); ++i) {
        if (name == notchPositionNames[i])
            return BoardStore::NotchPosition(i);
    }
    return BoardStore::NotchPosition::Automatic;
}

std::optional<QString> storedText(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString)
        return value.toString();
    return std::nullopt;
}

} // namespace

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
    m_noteTimer.setSingleShot(true);
    m_noteTimer.setInterval(noteSaveDelayMs);
    connect(&m_noteTimer, &QTimer::timeout, this, [this] {
        if (m_pendingNote) {
            const PendingNote pending = *m_pendingNote;
            writeQuickNote(pending.text, pending.path);
        }
    });
    initialise();
}

BoardStore::~BoardStore() = default;

QString BoardStore::settingsPath()
{
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || !QDir::isAbsolutePath(config))
        config = QDir::homePath() + u"/.config"_qs;
    return config + u"/Tallowfern/Tallowfern.conf"_qs;
}

void BoardStore::initialise()
{
    m_settings = std::make_unique<QSettings>(settingsPath(), QSettings::IniFormat);

    const std::optional<QString> storedVault = storedText(m_settings->value(Key::vault.toString()));
    m_isFirstRun = !storedVault.has_value();
    m_vaultPath = storedVault ? *storedVault : VaultLocator::detectVault();
    m_boardsFolder = storedText(m_settings->value(Key::boardsFolder.toString()))
                         .value_or(defaultBoardsFolder.toString());
    m_notesFolder = storedText(m_settings->value(Key::notesFolder.toString()))
                        .value_or(defaultNotesFolder.toString());
    m_swipeToSwitch = storedBool(m_settings->value(Key::swipeToSwitch.toString())).value_or(true);
    m_openShortcut = loadShortcut(Key::openShortcut).value_or(Shortcut::defaultOpen());
    m_switchTabShortcut =
        loadShortcut(Key::switchTabShortcut).value_or(Shortcut::defaultSwitchTab());
    m_notchPosition = notchPositionFrom(m_settings->value(Key::notchPosition.toString()));
    m_carryOver = storedBool(m_settings->value(Key::carryOver.toString())).value_or(true);
    m_morningBanner = storedBool(m_settings->value(Key::morningBanner.toString())).value_or(true);
    m_board = Board::empty();
    m_day = dayString(now());

    // Keep the discovered vault, so that later launches do not go looking again.
    if (m_isFirstRun)
        storeValue(Key::vault, m_vaultPath);

    loadToday();
    watchBoards();

    m_dayTimer = new DayChangeTimer(this);
    connect(m_dayTimer, &DayChangeTimer::dayMayHaveChanged, this, &BoardStore::checkForChanges);
}

QDateTime BoardStore::now() const
{
    return m_clock->now();
}

// ---- settings

std::optional<Shortcut> BoardStore::loadShortcut(QStringView key) const
{
    const QVariant value = m_settings->value(key.toString());
    if (value.typeId() == QMetaType::QByteArray)
        return Shortcut::fromJson(value.toByteArray());
    if (value.typeId() == QMetaType::QString)
        return Shortcut::fromJson(value.toString().toUtf8());
    return std::nullopt;
}

void BoardStore::saveShortcut(Shortcut shortcut, QStringView key)
{
    storeValue(key, shortcut.toJson());
}

void BoardStore::storeValue(QStringView key, const QVariant &value)
{
    m_settings->setValue(key.toString(), value);
    m_settings->sync();
}

void BoardStore::setVaultPath(const QString &path)
{
    if (m_vaultPath == path)
        return;
    m_vaultPath = path;
    emit vaultPathChanged();
    storeValue(Key::vault, path);
    afterLocationChange();
}

void BoardStore::setBoardsFolder(const QString &folder)
{
    if (m_boardsFolder == folder)
        return;
    m_boardsFolder = folder;
    emit boardsFolderChanged();
    storeValue(Key::boardsFolder, folder);
    afterLocationChange();
}

void BoardStore::afterLocationChange()
{
    setViewed(std::nullopt, std::nullopt);
    loadToday();
    watchBoards();
    emit locationChanged();
}

void BoardStore::setNotesFolder(const QString &folder)
{
    if (m_notesFolder == folder)
        return;
    m_notesFolder = folder;
    emit notesFolderChanged();
    storeValue(Key::notesFolder, folder);
}

void BoardStore::setSwipeToSwitch(bool on)
{
    if (m_swipeToSwitch == on)
        return;
    m_swipeToSwitch = on;
    emit swipeToSwitchChanged();
    storeValue(Key::swipeToSwitch, on);
}

void BoardStore::setNotchPosition(NotchPosition position)
{
    if (m_notchPosition == position)
        return;
    m_notchPosition = position;
    emit notchPositionChanged();
    storeValue(Key::notchPosition, notchPositionNames[int(position)].toString());
}

void BoardStore::setOpenShortcut(Shortcut shortcut)
{
    if (m_openShortcut == shortcut)
        return;
    m_openShortcut = shortcut;
    emit openShortcutChanged();
    saveShortcut(shortcut, Key::openShortcut);
}

void BoardStore::setSwitchTabShortcut(Shortcut shortcut)
{
    if (m_switchTabShortcut == shortcut)
        return;
    m_switchTabShortcut = shortcut;
    emit switchTabShortcutChanged();
    saveShortcut(shortcut, Key::switchTabShortcut);
}

void BoardStore::setCarryOver(bool on)
{
    if (m_carryOver == on)
        return;
    m_carryOver = on;
    emit carryOverChanged();
    storeValue(Key::carryOver, on);
}

void BoardStore::setMorningBanner(bool on)
{
    if (m_morningBanner == on)
        return;
    m_morningBanner = on;
    emit morningBannerChanged();
    storeValue(Key::morningBanner, on);
}

// ---- published state

void BoardStore::setGreeting(std::optional<Greeting> greeting)
{
    if (m_greeting == greeting)
        return;
    m_greeting = std::move(greeting);
    emit greetingChanged();
}

QVariant BoardStore::greetingValue() const
{
    return m_greeting ? QVariant::fromValue(*m_greeting) : QVariant();
}

void BoardStore::setGreetingValue(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<Greeting>())
        setGreeting(value.value<Greeting>());
    else
        setGreeting(std::nullopt);
}

void BoardStore::publishBoard(Board board)
{
    m_board = std::move(board);
    emit boardChanged();
    if (!m_viewedBoard)
        emit shownBoardChanged();
}

void BoardStore::setDay(const QString &day)
{
    const bool changed = m_day != day;
    m_day = day;
    emit dayChanged();
    if (changed && !m_viewedDay)
        emit shownDayChanged();
}

void BoardStore::setLastError(const QString &error)
{
    if (m_lastError == error)
        return;
    m_lastError = error;
    emit lastErrorChanged();
}

void BoardStore::setViewed(std::optional<QString> day, std::optional<Board> board)
{
    const bool dayChanged = m_viewedDay != day;
    const bool wasViewing = m_viewedBoard.has_value();
    m_viewedDay = std::move(day);
    m_viewedBoard = std::move(board);
    if (dayChanged) {
        emit viewedDayChanged();
        emit shownDayChanged();
    }
    if (wasViewing || m_viewedBoard)
        emit shownBoardChanged();
}

QString BoardStore::noteSavedLabel() const
{
    if (!m_noteSavedAt.isValid())
        return QStringLiteral("Saves as you type");
    return u"Saved "_qs + m_noteSavedAt.toString(u"HH:mm");
}

// ---- locations

QString BoardStore::vaultDir() const
{
    const QString overridden = qEnvironmentVariable("TALLOWFERN_VAULT");
    return overridden.isEmpty() ? m_vaultPath : overridden;
}

QString BoardStore::vaultName() const
{
    return QFileInfo(QDir::cleanPath(vaultDir())).fileName();
}

QString BoardStore::boardsDir() const
{
    return vaultDir() + u'/' + m_boardsFolder;
}

QString BoardStore::notesDir() const
{
    return vaultDir() + u'/' + m_notesFolder;
}

QString BoardStore::boardPath(const QString &day) const
{
    return boardsDir() + u'/' + day + u".md"_qs;
}

QString BoardStore::todayPath() const
{
    return boardPath(m_day);
}

QString BoardStore::todayNotePath() const
{
    return notesDir() + u'/' + m_day + u".md"_qs;
}

void BoardStore::setVault(const QString &path)
{
    setVaultPath(path);
}

QVariant BoardStore::vaultRelativePath(const QString &path) const
{
    const auto relative = VaultLocator::relativePath(vaultDir(), path);
    return relative ? QVariant(*relative) : QVariant();
}

void BoardStore::openInObsidian(const QString &path) const
{
    m_launcher->open(VaultLocator::obsidianUrl(vaultName(), path));
}

void BoardStore::openTodayInObsidian() const
{
    openInObsidian(m_boardsFolder + u'/' + m_day);
}

// ---- days

QString BoardStore::dayString(const QDateTime &moment) const
{
    return dayKey(moment.toLocalTime().date());
}

QString BoardStore::dayKey(const QDate &day)
{
    return day.toString(u"yyyy-MM-dd");
}

namespace {

char16_t unit(QChar c)
{
    return c.unicode();
}

char16_t unit(char c)
{
    return static_cast<unsigned char>(c);
}

// Parsed by hand: the calendar asks for every file of the folder on each draw, and a
// format-driven parse costs microseconds a name.
template <typename Text> std::optional<QDate> parseDayKey(const Text &key)
{
    if (key.size() != 10 || unit(key[4]) != u'-' || unit(key[7]) != u'-')
        return std::nullopt;
    const auto number = [&](int from, int count) {
        int value = 0;
        for (int i = from; i < from + count; ++i) {
            const char16_t c = unit(key[i]);
            if (c < u'0' || c > u'9')
                return -1;
            value = value * 10 + (c - u'0');
        }
        return value;
    };
    const int year = number(0, 4), month = number(5, 2), day = number(8, 2);
    if (year < 0 || month < 0 || day < 0)
        return std::nullopt;
    const QDate parsed(year, month, day);
    if (!parsed.isValid())
        return std::nullopt;
    return parsed;
}

} // namespace

std::optional<QDate> BoardStore::date(const QString &dayKey)
{
    return parseDayKey(QStringView(dayKey));
}

std::optional<BoardStore::FileStamp> BoardStore::stamp(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return FileStamp{qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec,
                     quint64(info.st_ino), qint64(info.st_size)};
}

std::optional<QDateTime> BoardStore::modDate(const QString &path)
{
    return TextFile::modificationTime(path);
}

void BoardStore::loadToday()
{
    setDay(dayString(now()));
    if (QFileInfo::exists(todayPath()))
        reload();
    else
        createToday();
}

void BoardStore::reload()
{
    const QString path = todayPath();
    // Stamp first: a change between the two reads then shows up as a difference next time.
    const std::optional<FileStamp> before = stamp(path);
    const TextFile::Read read = TextFile::readUtf8(path);
    if (!read.text) {
        m_todayHoldsForeignBytes = true;
        setLastError(u"Couldn't read "_qs + QFileInfo(path).fileName() + u": "_qs + read.error);
        return;
    }
    Board parsed = Board::parse(*read.text);
    m_todayHoldsForeignBytes = parsed.markdown().toUtf8() != read.bytes;
    m_lastKnownStamp = before;
    publishBoard(std::move(parsed));
    setLastError({});
}

std::optional<QString> BoardStore::previousBoardPath() const
{
    const QString folder = boardsDir();
    const QByteArray today = m_day.toUtf8();
    QString best;
    QByteArray bestBytes;
    forEachMarkdownName(folder, [&](std::string_view base) {
        // Ten characters take at most 40 bytes; anything longer cannot qualify.
        if (base.size() < 10 || base.size() > 40)
            return;
        const QByteArrayView bytes(base.data(), qsizetype(base.size()));
        const bool ascii = std::all_of(base.begin(), base.end(),
                                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (ascii) {
            // Plain ASCII compares the same as text, without decoding a name a day.
            if (base.size() == 10 && bytes < QByteArrayView(today) &&
                (best.isEmpty() || bytes > QByteArrayView(bestBytes))) {
                bestBytes = bytes.toByteArray();
                best = QString::fromLatin1(bestBytes);
            }
            return;
        }
        const QString name = QFile::decodeName(bytes.toByteArray());
        if (name.size() == 10 && name < m_day && (best.isEmpty() || name > best)) {
            best = name;
            bestBytes = name.toUtf8();
        }
    });
    if (best.isEmpty())
        return std::nullopt;
    return folder + u'/' + best + u".md"_qs;
}

void BoardStore::createToday()
{
    Board board = Board::empty();
    int carried = 0;
    std::optional<QString> fromDay;
    if (const auto source = previousBoardPath()) {
        const TextFile::Read read = TextFile::readUtf8(*source);
        if (read.text) {
            const Board previous = Board::parse(*read.text);
            fromDay = QFileInfo(*source).fileName().chopped(3);
            if (m_carryOver) {
                for (LaneKind kind : {LaneKind::Todo, LaneKind::Doing}) {
                    QList<Card> copies;
                    for (const Card &card : previous.cards(kind))
                        copies.append(Card(card.text(), card.extraLines()));
                    if (const auto index = board.laneIndex(kind))
                        board.lanes()[*index].cards() = copies;
                    carried += int(copies.size());
                }
            }
        }
    }
    m_todayHoldsForeignBytes = false;
    publishBoard(std::move(board));
    save();
    if (m_morningBanner)
        setGreeting(Greeting(carried, fromDay));
}

void BoardStore::save()
{
    if (const auto error = TextFile::makeFolders(boardsDir())) {
        setLastError(saveErrorPrefix.toString() + *error);
        return;
    }
    const QString path = todayPath();
    if (const auto current = stamp(path)) {
        // About to replace bytes the board does not hold: keep them first, or do not write.
        if (m_todayHoldsForeignBytes || !m_lastKnownStamp || *current != *m_lastKnownStamp) {
            if (!ReplacedCopies::keep(path, now())) {
                setLastError(saveErrorPrefix.toString() +
                             u"could not keep a copy of the file it replaces in "_qs +
                             ReplacedCopies::folder());
                return;
            }
        }
    }
    if (const auto error = TextFile::writeAtomically(path, m_board.markdown().toUtf8())) {
        setLastError(saveErrorPrefix.toString() + *error);
        return;
    }
    m_lastKnownStamp = stamp(path);
    m_todayHoldsForeignBytes = false;
    setLastError({});
}

// ---- editing

namespace {

// A card is one line of the file: pasted line breaks become spaces.
QString oneLine(const QString &text)
{
    QString line = text;
    line.replace(u"\r\n"_qs, u" "_qs);
    for (const QChar breakChar : {QChar(u'\n'), QChar(u'\r'), QChar(0x2028), QChar(0x2029)})
        line.replace(breakChar, u' ');
    return line.trimmed();
}

} // namespace

void BoardStore::add(const QString &text, LaneKind kind)
{
    const QString trimmed = oneLine(text);
    if (trimmed.isEmpty())
        return;
    const auto lane = m_board.laneIndex(kind);
    if (!lane)
        return;
    Board board = m_board;
    board.lanes()[*lane].cards().append(Card(trimmed));
    publishBoard(std::move(board));
    save();
}

void BoardStore::move(const QUuid &id, LaneKind kind, const std::optional<QUuid> &before)
{
    if (before && *before == id)
        return;
    const auto from = m_board.locate(id);
    if (!from)
        return;
    const auto target = m_board.laneIndex(kind);
    if (!target)
        return;
    Board board = m_board;
    const Card card = board.lanes()[from->lane].cards().takeAt(from->index);
    QList<Card> &cards = board.lanes()[*target].cards();
    qsizetype at = cards.size();
    if (before) {
        const auto found = std::find_if(cards.begin(), cards.end(),
                                        [&](const Card &c) { return c.id() == *before; });
        if (found != cards.end())
            at = found - cards.begin();
    }
    cards.insert(at, card);
    publishBoard(std::move(board));
    save();
}

void BoardStore::toggle(const QUuid &id)
{
    const auto kind = m_board.kind(id);
    if (!kind)
        return;
    move(id, *kind == LaneKind::Done ? LaneKind::Todo : LaneKind::Done, std::nullopt);
}

void BoardStore::rename(const QUuid &id, const QString &text)
{
    const QString trimmed = oneLine(text);
    const auto at = m_board.locate(id);
    if (!at)
        return;
    Board board = m_board;
    QList<Card> &cards = board.lanes()[at->lane].cards();
    if (trimmed.isEmpty())
        cards.removeAt(at->index);
    else
        cards[at->index].setText(trimmed);
    publishBoard(std::move(board));
    save();
}

void BoardStore::deleteCard(const QUuid &id)
{
    const auto at = m_board.locate(id);
    if (!at)
        return;
    Board board = m_board;
    board.lanes()[at->lane].cards().removeAt(at->index);
    publishBoard(std::move(board));
    save();
}

void BoardStore::copyToToday(const Card &card)
{
    add(card.text(), LaneKind::Todo);
}

void BoardStore::add(const QString &text, const QString &kind)
{
    if (const auto lane = LaneKind::fromRawValue(kind))
        add(text, *lane);
}

void BoardStore::move(const QString &id, const QString &kind, const QString &before)
{
    const auto lane = LaneKind::fromRawValue(kind);
    const QUuid card(id);
    if (!lane || card.isNull())
        return;
    const QUuid beforeId(before);
    move(card, *lane, beforeId.isNull() ? std::nullopt : std::optional<QUuid>(beforeId));
}

void BoardStore::toggle(const QString &id)
{
    toggle(QUuid(id));
}

void BoardStore::rename(const QString &id, const QString &text)
{
    rename(QUuid(id), text);
}

void BoardStore::deleteCard(const QString &id)
{
    deleteCard(QUuid(id));
}

void BoardStore::copyToToday(const QString &id)
{
    if (!m_viewedBoard)
        return;
    if (const auto at = m_viewedBoard->locate(QUuid(id)))
        copyToToday(m_viewedBoard->lanes()[at->lane].cards()[at->index]);
}

// ---- watching

void BoardStore::watchBoards()
{
    // A folder that cannot be made leaves the watcher inert; saving reports the reason.
    (void)TextFile::makeFolders(boardsDir());
    QPointer<BoardStore> self(this);
    m_watcher = std::make_unique<FolderWatcher>(boardsDir(), [self] {
        if (self)
            self->checkForChanges();
    });
}

void BoardStore::checkForChanges()
{
    const QString today = dayString(now());
    if (today != m_day) {
        setDay(today);
        loadToday();
        return;
    }
    if (const auto current = stamp(todayPath())) {
        if (!m_lastKnownStamp || *current != *m_lastKnownStamp)
            reload();
    }
    if (m_viewedDay)
        view(m_viewedDay);
}

// ---- past days

void BoardStore::view(const std::optional<QString> &day)
{
    if (!day || *day == m_day || *day > m_day) {
        setViewed(std::nullopt, std::nullopt);
        return;
    }
    const TextFile::Read read = TextFile::readUtf8(boardPath(*day));
    setViewed(*day, read.text ? Board::parse(*read.text) : Board::empty());
}

void BoardStore::view(const QString &day)
{
    view(day.isEmpty() ? std::nullopt : std::optional<QString>(day));
}

QSet<QString> BoardStore::boardDays() const
{
    QSet<QString> days;
    days.reserve(512);
    forEachMarkdownName(boardsDir(), [&](std::string_view base) {
        if (parseDayKey(base))
            days.insert(QString::fromLatin1(base.data(), 10));
    });
    return days;
}

QStringList BoardStore::boardDayList() const
{
    QStringList days = boardDays().values();
    days.sort();
    return days;
}

bool BoardStore::canStep(int delta) const
{
    if (delta >= 1)
        return m_viewedDay.has_value();
    const QString shown = shownDay();
    const QSet<QString> days = boardDays();
    return std::any_of(days.begin(), days.end(), [&](const QString &d) { return d < shown; });
}

void BoardStore::step(int delta)
{
    QStringList days;
    for (const QString &d : boardDays()) {
        if (d < m_day)
            days.append(d);
    }
    days.sort();
    const QString current = shownDay();
    if (delta < 0) {
        for (auto it = days.crbegin(); it != days.crend(); ++it) {
            if (*it < current) {
                view(*it);
                return;
            }
        }
        return;
    }
    for (const QString &d : days) {
        if (d > current) {
            view(d);
            return;
        }
    }
    view(std::nullopt);
}

// ---- quick note

QString BoardStore::loadQuickNote() const
{
    const TextFile::Read read = TextFile::readUtf8(todayNotePath());
    return QuickNoteFormat::toDisplay(read.text.value_or(QString()));
}

void BoardStore::saveQuickNote(const QString &text)
{
    // Bound to the file of the day the text was typed on, even if it is written after midnight.
    m_pendingNote = PendingNote{text, todayNotePath()};
    m_noteTimer.start();
}

void BoardStore::flushQuickNote()
{
    if (!m_pendingNote)
        return;
    const PendingNote pending = *m_pendingNote;
    writeQuickNote(pending.text, pending.path);
}

void BoardStore::writeQuickNote(const QString &text, const QString &path)
{
    m_pendingNote.reset();
    m_noteTimer.stop();
    const QString markdown = QuickNoteFormat::toMarkdown(text);
    const bool exists = QFileInfo::exists(path);
    if (!exists && markdown.trimmed().isEmpty())
        return;
    if (const auto error = TextFile::makeFolders(QFileInfo(path).path())) {
        setLastError(u"Couldn't save note: "_qs + *error);
        return;
    }
    if (exists) {
        // A note that is not valid UTF-8 showed as empty: keep its bytes before replacing them.
        const TextFile::Read current = TextFile::readUtf8(path);
        if (!current.text && !current.bytes.isEmpty() && !ReplacedCopies::keep(path, now())) {
            setLastError(
                u"Couldn't save note: could not keep a copy of the file it replaces in "_qs +
                ReplacedCopies::folder());
            return;
        }
    }
    if (const auto error = TextFile::writeAtomically(path, markdown.toUtf8())) {
        setLastError(u"Couldn't save note: "_qs + *error);
        return;
    }
    m_noteSavedAt = now();
    emit noteSavedAtChanged();
    setLastError({});
}

NotesIndex BoardStore::notes() const
{
    return NotesIndex::scan(vaultDir(), m_boardsFolder);
}
