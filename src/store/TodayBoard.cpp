#include "TodayBoard.h"

#include "io/ReplacedCopies.h"
#include "io/TextFile.h"
#include "platform/DayChangeTimer.h"
#include "store/Clock.h"
#include "store/DayFiles.h"
#include "store/FolderWatcher.h"
#include "store/Preferences.h"
#include "store/VaultLocations.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <sys/stat.h>

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

TodayBoard::TodayBoard(const Preferences *preferences, const VaultLocations *locations,
                       const Clock *clock, QObject *parent)
    : QObject(parent), m_preferences(preferences), m_locations(locations), m_clock(clock)
{
    m_day = DayFiles::keyOf(now());
    loadToday();
    watchBoards();
    m_dayTimer = new DayChangeTimer(this);
    connect(m_dayTimer, &DayChangeTimer::dayMayHaveChanged, this, &TodayBoard::checkForChanges);
}

TodayBoard::~TodayBoard() = default;

QDateTime TodayBoard::now() const
{
    return m_clock->now();
}

QString TodayBoard::path() const
{
    return m_locations->boardPath(m_day);
}

// ---- published state

void TodayBoard::setGreeting(std::optional<Greeting> greeting)
{
    if (m_greeting == greeting)
        return;
    m_greeting = std::move(greeting);
    emit greetingChanged();
}

QVariant TodayBoard::greetingValue() const
{
    return m_greeting ? QVariant::fromValue(*m_greeting) : QVariant();
}

void TodayBoard::setGreetingValue(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<Greeting>())
        setGreeting(value.value<Greeting>());
    else
        setGreeting(std::nullopt);
}

void TodayBoard::publishBoard(Board board)
{
    m_board = std::move(board);
    emit boardChanged();
}

void TodayBoard::setDay(const QString &day)
{
    m_day = day;
    emit dayChanged();
}

void TodayBoard::setLastError(const QString &error)
{
    emit reported(error);
    if (m_lastError == error)
        return;
    m_lastError = error;
    emit lastErrorChanged();
}

// ---- the file

std::optional<TodayBoard::FileStamp> TodayBoard::stamp(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return FileStamp{qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec,
                     quint64(info.st_ino), qint64(info.st_size)};
}

void TodayBoard::loadToday()
{
    setDay(DayFiles::keyOf(now()));
    if (QFileInfo::exists(path()))
        reload();
    else
        createToday();
}

void TodayBoard::reload()
{
    const QString file = path();
    // Stamp first: a change between the two reads then shows up as a difference next time.
    const std::optional<FileStamp> before = stamp(file);
    const TextFile::Read read = TextFile::readUtf8(file);
    if (!read.text) {
        m_holdsForeignBytes = true;
        setLastError(u"Couldn't read "_qs + QFileInfo(file).fileName() + u": "_qs + read.error);
        return;
    }
    Board parsed = Board::parse(*read.text);
    m_holdsForeignBytes = parsed.markdown().toUtf8() != read.bytes;
    m_lastKnownStamp = before;
    publishBoard(std::move(parsed));
    setLastError({});
}

std::optional<QString> TodayBoard::previousBoardPath() const
{
    return DayFiles::latestBefore(m_locations->boardsDir(), m_day);
}

void TodayBoard::createToday()
{
    Board board = Board::empty();
    int carried = 0;
    std::optional<QString> fromDay;
    if (const auto source = previousBoardPath()) {
        const TextFile::Read read = TextFile::readUtf8(*source);
        if (read.text) {
            const Board previous = Board::parse(*read.text);
            fromDay = QFileInfo(*source).fileName().chopped(3);
            if (m_preferences->carryOver()) {
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
    m_holdsForeignBytes = false;
    publishBoard(std::move(board));
    save();
    if (m_preferences->morningBanner())
        setGreeting(Greeting(carried, fromDay));
}

void TodayBoard::save()
{
    if (const auto error = TextFile::makeFolders(m_locations->boardsDir())) {
        setLastError(saveErrorPrefix.toString() + *error);
        return;
    }
    const QString file = path();
    if (const auto current = stamp(file)) {
        // About to replace bytes the board does not hold: keep them first, or do not write.
        if (m_holdsForeignBytes || !m_lastKnownStamp || *current != *m_lastKnownStamp) {
            if (!ReplacedCopies::keep(file, now())) {
                setLastError(saveErrorPrefix.toString() +
                             u"could not keep a copy of the file it replaces in "_qs +
                             ReplacedCopies::folder());
                return;
            }
        }
    }
    if (const auto error = TextFile::writeAtomically(file, m_board.markdown().toUtf8())) {
        setLastError(saveErrorPrefix.toString() + *error);
        return;
    }
    m_lastKnownStamp = stamp(file);
    m_holdsForeignBytes = false;
    setLastError({});
}

void TodayBoard::relocate()
{
    loadToday();
    watchBoards();
}

// ---- editing

void TodayBoard::add(const QString &text, LaneKind kind)
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

void TodayBoard::move(const QUuid &id, LaneKind kind, const std::optional<QUuid> &before)
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

void TodayBoard::toggle(const QUuid &id)
{
    const auto kind = m_board.kind(id);
    if (!kind)
        return;
    move(id, *kind == LaneKind::Done ? LaneKind::Todo : LaneKind::Done, std::nullopt);
}

void TodayBoard::rename(const QUuid &id, const QString &text)
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

void TodayBoard::deleteCard(const QUuid &id)
{
    const auto at = m_board.locate(id);
    if (!at)
        return;
    Board board = m_board;
    board.lanes()[at->lane].cards().removeAt(at->index);
    publishBoard(std::move(board));
    save();
}

void TodayBoard::copyToToday(const Card &card)
{
    add(card.text(), LaneKind::Todo);
}

void TodayBoard::add(const QString &text, const QString &kind)
{
    if (const auto lane = LaneKind::fromRawValue(kind))
        add(text, *lane);
}

void TodayBoard::move(const QString &id, const QString &kind, const QString &before)
{
    const auto lane = LaneKind::fromRawValue(kind);
    const QUuid card(id);
    if (!lane || card.isNull())
        return;
    const QUuid beforeId(before);
    move(card, *lane, beforeId.isNull() ? std::nullopt : std::optional<QUuid>(beforeId));
}

void TodayBoard::toggle(const QString &id)
{
    toggle(QUuid(id));
}

void TodayBoard::rename(const QString &id, const QString &text)
{
    rename(QUuid(id), text);
}

void TodayBoard::deleteCard(const QString &id)
{
    deleteCard(QUuid(id));
}

// ---- watching

void TodayBoard::watchBoards()
{
    // A folder that cannot be made leaves the watcher inert; saving reports the reason.
    (void)TextFile::makeFolders(m_locations->boardsDir());
    QPointer<TodayBoard> self(this);
    m_watcher = std::make_unique<FolderWatcher>(m_locations->boardsDir(), [self] {
        if (self)
            self->checkForChanges();
    });
}

void TodayBoard::checkForChanges()
{
    const QString today = DayFiles::keyOf(now());
    if (today != m_day) {
        setDay(today);
        loadToday();
        return;
    }
    if (const auto current = stamp(path())) {
        if (!m_lastKnownStamp || *current != *m_lastKnownStamp)
            reload();
    }
    emit folderChecked();
}
