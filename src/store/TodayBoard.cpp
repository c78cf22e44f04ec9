#include "TodayBoard.h"

#include "io/OpenWriters.h"
#include "io/ReplacedCopies.h"
#include "io/TextFile.h"
#include "platform/DayChangeTimer.h"
#include "store/Clock.h"
#include "store/DayFiles.h"
#include "store/FolderWatcher.h"
#include "store/Preferences.h"
#include "store/StoreLog.h"
#include "store/VaultLocations.h"

#include <QFileInfo>
#include <QPointer>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <utility>

namespace {

// Another program that saves this often while a save is made wins this many rounds; the save
// then waits for the next quiet moment.
constexpr int maxSaveAttempts = 8;

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
    m_retry.setSingleShot(true);
    m_retry.setInterval(writerPollMs);
    connect(&m_retry, &QTimer::timeout, this, [this] {
        if (m_needsWrite || !m_edits.isEmpty())
            writePending();
        else
            checkForChanges();
    });
    m_undoOfferTimer.setSingleShot(true);
    m_undoOfferTimer.setInterval(undoOfferMs);
    connect(&m_undoOfferTimer, &QTimer::timeout, this, &TodayBoard::dismissUndoOffer);
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

void TodayBoard::setLastError(const QString &error, const QString &copy)
{
    emit reported(error, copy);
    if (m_lastError == error && m_lastCopy == copy)
        return;
    m_lastError = error;
    m_lastCopy = copy;
    emit lastErrorChanged();
}

void TodayBoard::setUnreadable(const QString &reason)
{
    if (m_unreadable == reason)
        return;
    m_unreadable = reason;
    emit unreadableChanged();
}

// ---- the file

void TodayBoard::loadToday()
{
    const QString day = DayFiles::keyOf(now());
    if (day != m_day)
        // Edits that never reached yesterday's file cannot go into today's.
        forgetFile();
    setDay(day);
    if (QFileInfo::exists(path()))
        reload();
    else
        createToday();
}

void TodayBoard::forgetFile()
{
    if (!m_edits.isEmpty())
        qCWarning(lcStore, "%lld edits of %s could not be saved and are dropped",
                  qlonglong(m_edits.size()), qPrintable(path()));
    m_edits.clear();
    m_needsWrite = false;
    m_lastKnownStamp.reset();
    m_retry.stop();
    m_waitingSince.invalidate();
    setUnreadable({});
    // What was done to another file cannot be taken back in this one.
    forgetHistory();
}

void TodayBoard::forgetHistory()
{
    setUndoOffer({});
    if (m_undo.isEmpty() && m_redo.isEmpty())
        return;
    m_undo.clear();
    m_redo.clear();
    emit undoChanged();
}

void TodayBoard::setUndoOffer(const QString &offer)
{
    if (offer.isEmpty())
        m_undoOfferTimer.stop();
    else
        m_undoOfferTimer.start();
    if (m_undoOffer == offer)
        return;
    m_undoOffer = offer;
    emit undoOfferChanged();
}

void TodayBoard::dismissUndoOffer()
{
    setUndoOffer({});
}

void TodayBoard::reload()
{
    if (!readNewest())
        return;
    if (m_needsWrite || !m_edits.isEmpty())
        writePending();
    else
        reportOutcome({});
}

bool TodayBoard::waitForWriter()
{
    if (!m_waitingSince.isValid())
        m_waitingSince.start();
    if (m_waitingSince.elapsed() >= OpenWriters::patienceMs)
        return false;
    m_retry.start();
    return true;
}

bool TodayBoard::readNewest()
{
    const QString file = path();
    if (OpenWriters::present(file) && waitForWriter())
        return false;
    const TextFile::Read read = TextFile::readUtf8(file);
    if (!read.text) {
        if (!QFileInfo::exists(file)) {
            // Deleted from outside: the board stays as it is, and the next save writes it anew.
            m_lastKnownStamp.reset();
            return true;
        }
        const QString reason =
            u"Couldn't read "_qs + QFileInfo(file).fileName() + u": "_qs + read.error;
        setUnreadable(reason);
        setLastError(reason);
        return false;
    }
    m_waitingSince.invalidate();
    setUnreadable({});
    Board parsed = Board::parse(*read.text);
    m_holdsForeignBytes = parsed.markdown().toUtf8() != read.bytes;
    m_lastKnownStamp = read.stamp;
    rebase(std::move(parsed));
    return true;
}

void TodayBoard::rebase(Board newest)
{
    newest.adoptIds(m_base);
    m_base = newest;
    QList<BoardEdit> kept;
    for (const BoardEdit &edit : std::as_const(m_edits)) {
        if (edit.applyTo(newest))
            kept.append(edit);
        else
            m_dropped.append(edit.cardText());
    }
    m_edits = kept;
    if (newest != m_board)
        publishBoard(std::move(newest));
}

std::optional<QString> TodayBoard::previousBoardPath() const
{
    return DayFiles::latestBefore(m_locations->boardsDir(), m_day);
}

Board TodayBoard::freshBoard(int *carried, std::optional<QString> *fromDay) const
{
    Board board = Board::empty();
    *carried = 0;
    const auto source = previousBoardPath();
    if (!source)
        return board;
    const TextFile::Read read = TextFile::readUtf8(*source);
    if (!read.text)
        return board;
    const Board previous = Board::parse(*read.text);
    *fromDay = QFileInfo(*source).fileName().chopped(3);
    if (!m_preferences->carryOver())
        return board;
    for (LaneKind kind : {LaneKind::Todo, LaneKind::Doing}) {
        QList<Card> copies;
        for (const Card &card : previous.cards(kind))
            copies.append(Card(card.text(), card.extraLines()));
        if (const auto index = board.laneIndex(kind))
            board.lanes()[*index].cards() = copies;
        *carried += int(copies.size());
    }
    return board;
}

void TodayBoard::createToday()
{
    int carried = 0;
    std::optional<QString> fromDay;
    Board board = freshBoard(&carried, &fromDay);
    m_holdsForeignBytes = false;
    m_base = board;
    m_edits.clear();
    forgetHistory();
    m_lastKnownStamp.reset();
    publishBoard(std::move(board));
    save();
    if (m_preferences->morningBanner())
        setGreeting(Greeting(carried, fromDay));
}

void TodayBoard::startFreshBoard()
{
    if (m_unreadable.isEmpty())
        return;
    const QString file = path();
    const QString stem = m_locations->boardsDir() + u'/' + m_day + u" (unreadable"_qs;
    for (int n = 1;; ++n) {
        const QString aside = stem + (n == 1 ? QString() : u' ' + QString::number(n)) + u").md"_qs;
        if (::renameat2(AT_FDCWD, QFile::encodeName(file).constData(), AT_FDCWD,
                        QFile::encodeName(aside).constData(), RENAME_NOREPLACE) == 0) {
            qCInfo(lcStore, "moved the unreadable %s aside to %s", qPrintable(file),
                   qPrintable(aside));
            break;
        }
        if (errno != EEXIST || n >= 1000) {
            setLastError(u"Couldn't move "_qs + QFileInfo(file).fileName() + u" aside: "_qs +
                         QString::fromLocal8Bit(std::strerror(errno)));
            return;
        }
    }
    setUnreadable({});
    int carried = 0;
    std::optional<QString> fromDay;
    m_holdsForeignBytes = false;
    m_lastKnownStamp.reset();
    m_needsWrite = true;
    rebase(freshBoard(&carried, &fromDay));
    writePending();
}

void TodayBoard::save()
{
    m_needsWrite = true;
    writePending();
}

void TodayBoard::writePending()
{
    m_retry.stop();
    // Nothing is written over a file that could not be read: the edits wait.
    if (!m_unreadable.isEmpty())
        return;
    if (const auto error = TextFile::makeFolders(m_locations->boardsDir())) {
        setLastError(saveErrorPrefix.toString() + *error);
        return;
    }
    const QString file = path();
    QString copy;
    for (int attempt = 0; attempt < maxSaveAttempts; ++attempt) {
        const std::optional<FileStamp> current = FileStamp::of(file);
        if (current && current != m_lastKnownStamp) {
            // Someone else saved since this last read the file: their version first.
            if (!readNewest())
                return;
            if (!m_needsWrite && m_edits.isEmpty()) {
                reportOutcome(copy);
                return;
            }
            continue;
        }
        if (current && m_holdsForeignBytes && copy.isEmpty()) {
            // The last resort: bytes the board cannot hold are about to go.
            const auto kept = ReplacedCopies::keep(file, now());
            if (!kept) {
                setLastError(saveErrorPrefix.toString() +
                             u"could not keep a copy of the file it replaces in "_qs +
                             ReplacedCopies::folder());
                return;
            }
            copy = *kept;
        }
        const bool overWriter =
            m_waitingSince.isValid() && m_waitingSince.elapsed() >= OpenWriters::patienceMs;
        const TextFile::Replace result =
            TextFile::replaceIfUnchanged(file, m_board.markdown().toUtf8(), current, overWriter);
        switch (result.outcome) {
        case TextFile::Replace::Outcome::Changed:
            continue;
        case TextFile::Replace::Outcome::Busy:
            if (waitForWriter())
                return;
            continue;
        case TextFile::Replace::Outcome::Failed:
            setLastError(saveErrorPrefix.toString() + result.error);
            return;
        case TextFile::Replace::Outcome::Written:
            break;
        }
        m_waitingSince.invalidate();
        m_lastKnownStamp = result.written;
        m_holdsForeignBytes = false;
        if (result.displaced) {
            // Another program saved between the last check and the rename: what it wrote was
            // just replaced. Take it back in, make the edits again on it, and write once more.
            const QByteArray &bytes = *result.displaced;
            if (const auto text = TextFile::decodeUtf8(bytes)) {
                Board theirs = Board::parse(*text);
                m_holdsForeignBytes = theirs.markdown().toUtf8() != bytes;
                rebase(std::move(theirs));
                continue;
            }
            copy =
                ReplacedCopies::keepBytes(QFileInfo(file).fileName(), bytes, now()).value_or(copy);
        }
        m_base = m_board;
        m_edits.clear();
        m_needsWrite = false;
        reportOutcome(copy);
        return;
    }
    // Rewritten from outside at every turn: try again shortly.
    qCWarning(lcStore, "%s keeps changing while the board is saved; trying again",
              qPrintable(file));
    m_retry.start();
}

void TodayBoard::reportOutcome(const QString &copy)
{
    if (!m_dropped.isEmpty()) {
        const QString message =
            m_dropped.size() == 1
                ? u"“"_qs + m_dropped.front() +
                      u"” was changed in another program: its version was kept, your edit wasn't made."_qs
                : QString::number(m_dropped.size()) +
                      u" tasks were changed in another program: their versions were kept, your edits to them weren't made."_qs;
        m_dropped.clear();
        setLastError(message, copy);
    } else if (!copy.isEmpty()) {
        setLastError(QFileInfo(path()).fileName() +
                         u" held text the board can't show; a copy of it was kept."_qs,
                     copy);
    } else {
        setLastError({});
    }
}

void TodayBoard::relocate()
{
    forgetFile();
    loadToday();
    watchBoards();
}

// ---- editing

bool TodayBoard::perform(const BoardEdit &edit, History history)
{
    const std::optional<BoardEdit> inverse = edit.inverseOn(m_board);
    Board board = m_board;
    if (!inverse || !edit.applyTo(board))
        return false;
    QList<BoardEdit> &stack = history == History::Undo ? m_redo : m_undo;
    stack.append(*inverse);
    if (stack.size() > undoDepth)
        stack.removeFirst();
    if (history == History::New)
        m_redo.clear();
    emit undoChanged();
    setUndoOffer(history == History::New && edit.removesCard()
                     ? u"Deleted “"_qs + edit.cardText() + u"”"_qs
                     : QString());
    m_edits.append(edit);
    publishBoard(std::move(board));
    writePending();
    return true;
}

void TodayBoard::takeBack(QList<BoardEdit> &stack, History history)
{
    if (stack.isEmpty())
        return;
    const BoardEdit edit = stack.takeLast();
    // The file may have changed without an event yet: the edit is judged on its newest version.
    if (const auto current = FileStamp::of(path()); current && current != m_lastKnownStamp)
        readNewest();
    if (!perform(edit, history)) {
        emit undoChanged();
        setLastError(u"“"_qs + edit.cardText() + u"” was changed in another program since: "_qs +
                     (history == History::Undo ? u"your edit can't be undone."_qs
                                               : u"your edit can't be redone."_qs));
    }
}

void TodayBoard::undo()
{
    takeBack(m_undo, History::Undo);
}

void TodayBoard::redo()
{
    takeBack(m_redo, History::Redo);
}

void TodayBoard::add(const QString &text, LaneKind kind)
{
    const QString trimmed = oneLine(text);
    if (trimmed.isEmpty() || !m_board.laneIndex(kind))
        return;
    perform(BoardEdit::add(Card(trimmed), kind));
}

void TodayBoard::move(const QUuid &id, LaneKind kind, const std::optional<QUuid> &before)
{
    if (before && *before == id)
        return;
    const auto from = m_board.locate(id);
    if (!from || !m_board.laneIndex(kind))
        return;
    perform(BoardEdit::move(m_board.lanes()[from->lane].cards()[from->index], kind, before));
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
    const auto at = m_board.locate(id);
    if (!at)
        return;
    perform(BoardEdit::rename(m_board.lanes()[at->lane].cards()[at->index], oneLine(text)));
}

void TodayBoard::deleteCard(const QUuid &id)
{
    const auto at = m_board.locate(id);
    if (!at)
        return;
    perform(BoardEdit::remove(m_board.lanes()[at->lane].cards()[at->index]));
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
    m_watchFailure.clear();
    connect(m_watcher.get(), &FolderWatcher::failureChanged, this, &TodayBoard::showWatchFailure);
    showWatchFailure();
}

void TodayBoard::showWatchFailure()
{
    // Once for each cause: the panel is no place for a message that keeps coming back.
    const QString failure = m_watcher->failure();
    if (failure == m_watchFailure)
        return;
    const QString shown = std::exchange(m_watchFailure, failure);
    if (!failure.isEmpty())
        setLastError(failure);
    else if (!shown.isEmpty() && m_lastError == shown)
        setLastError({});
}

void TodayBoard::checkForChanges()
{
    const QString today = DayFiles::keyOf(now());
    if (today != m_day) {
        loadToday();
        return;
    }
    if (const auto current = FileStamp::of(path())) {
        if (current != m_lastKnownStamp)
            reload();
    }
    emit folderChecked();
}
