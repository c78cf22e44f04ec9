#include "QuickNote.h"

#include "io/OpenWriters.h"
#include "io/ReplacedCopies.h"
#include "io/TextFile.h"
#include "notes/LineEndings.h"
#include "notes/QuickNoteFormat.h"
#include "store/Clock.h"
#include "store/StoreLog.h"

#include <QFileInfo>

#include <utility>

namespace {

constexpr char utf8ByteOrderMark[] = "\xEF\xBB\xBF";

// The file's text as the editor shows it: bullets, and "\n" for every line break.
QString forEditor(const QString &text)
{
    return QuickNoteFormat::toDisplay(LineEndings::unified(text));
}

constexpr QStringView concurrentChange = u"Today's note was changed in another program while you "
                                         u"typed; its text was kept in a copy.";

} // namespace

QuickNote::QuickNote(const Clock *clock, QObject *parent) : QObject(parent), m_clock(clock)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(saveDelayMs);
    // For tests that need a save still waiting when something else happens.
    if (qEnvironmentVariableIsSet("TALLOWFERN_NOTE_SAVE_DELAY_MS")) {
        bool ok = false;
        const int delay = qEnvironmentVariable("TALLOWFERN_NOTE_SAVE_DELAY_MS").toInt(&ok);
        if (ok && delay >= 0)
            m_timer.setInterval(delay);
        else
            qCWarning(lcStore,
                      "TALLOWFERN_NOTE_SAVE_DELAY_MS is not a number of milliseconds; "
                      "the quick note is saved %d ms after typing",
                      saveDelayMs);
    }
    connect(&m_timer, &QTimer::timeout, this, [this] {
        // Which of the two ways wrote it is not visible in the file; the log tells them apart.
        if (m_pending)
            qCDebug(lcStore, "quick note written after the typing pause");
        writePending();
    });
    m_recheck.setSingleShot(true);
    m_recheck.setInterval(40);
    connect(&m_recheck, &QTimer::timeout, this, &QuickNote::checkShown);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &QuickNote::checkShown);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &QuickNote::checkShown);
}

QString QuickNote::load(const QString &path)
{
    const TextFile::Read read = TextFile::readUtf8(path);
    return forEditor(read.text.value_or(QString()));
}

QString QuickNote::open(const QString &path)
{
    close();
    m_shownPath = path;
    const TextFile::Read read = TextFile::readUtf8(path);
    m_known[path] = read.text ? read.stamp : std::nullopt;
    if (read.text)
        remember(path, *read.text, read.bytes.startsWith(utf8ByteOrderMark));
    watchShown();
    return forEditor(read.text.value_or(QString()));
}

std::optional<QString> QuickNote::reopen(const QString &path)
{
    if (m_shownPath.isEmpty() || m_shownPath == path)
        return std::nullopt;
    flush();
    return open(path);
}

void QuickNote::remember(const QString &path, const QString &text, bool byteOrderMark)
{
    m_written[path] = byteOrderMark ? u'\uFEFF' + text : text;
}

void QuickNote::close()
{
    m_recheck.stop();
    m_shownPath.clear();
    if (!m_watcher.files().isEmpty())
        m_watcher.removePaths(m_watcher.files());
    if (!m_watcher.directories().isEmpty())
        m_watcher.removePaths(m_watcher.directories());
}

void QuickNote::watchShown()
{
    if (m_shownPath.isEmpty())
        return;
    // The folder too: a save by rename replaces the file that the watch was on.
    const QString folder = QFileInfo(m_shownPath).path();
    for (const QString &path : {folder, m_shownPath}) {
        if (QFileInfo::exists(path) && !m_watcher.files().contains(path) &&
            !m_watcher.directories().contains(path))
            m_watcher.addPath(path);
    }
}

void QuickNote::checkShown()
{
    if (m_shownPath.isEmpty())
        return;
    watchShown();
    const QString path = m_shownPath;
    const std::optional<FileStamp> current = FileStamp::of(path);
    const auto known = m_known.constFind(path);
    if (!current || (known != m_known.cend() && *known == current))
        return;
    // Half a file is no version of it: wait until its writer is done, within reason.
    if (OpenWriters::present(path)) {
        if (!m_waitingSince.isValid())
            m_waitingSince.start();
        if (m_waitingSince.elapsed() < OpenWriters::patienceMs) {
            m_recheck.start();
            return;
        }
    }
    m_waitingSince.invalidate();
    if (m_pending && m_pending->path == path) {
        // Both changed it: what is typed gets written, the other text is kept beside.
        const auto copy = ReplacedCopies::keep(path, m_clock->now());
        m_known[path] = current;
        m_concurrentCopy = copy.value_or(QString());
        setLastError(concurrentChange.toString(), m_concurrentCopy);
        return;
    }
    const TextFile::Read read = TextFile::readUtf8(path);
    if (!read.text)
        return;
    m_known[path] = read.stamp;
    remember(path, *read.text, read.bytes.startsWith(utf8ByteOrderMark));
    emit changedOutside(forEditor(*read.text));
}

void QuickNote::save(const QString &text, const QString &path)
{
    m_pending = Pending{text, path};
    m_timer.start();
}

void QuickNote::flush()
{
    if (m_pending)
        qCDebug(lcStore, "quick note written at once");
    writePending();
}

void QuickNote::writePending()
{
    if (!m_pending)
        return;
    const Pending pending = *m_pending;
    write(pending.text, pending.path);
}

QString QuickNote::savedLabel() const
{
    if (!m_savedAt.isValid())
        return QStringLiteral("Saves as you type");
    return u"Saved "_qs + m_savedAt.toString(u"HH:mm");
}

void QuickNote::setLastError(const QString &error, const QString &copy)
{
    emit reported(error, copy);
    if (m_lastError == error)
        return;
    m_lastError = error;
    emit lastErrorChanged();
}

void QuickNote::write(const QString &text, const QString &path)
{
    m_pending.reset();
    m_timer.stop();
    QString markdown = QuickNoteFormat::toMarkdown(text);
    const bool exists = QFileInfo::exists(path);
    if (!exists && markdown.trimmed().isEmpty())
        return;
    // The line breaks and the byte-order mark the note had.
    const QString before = m_written.value(path);
    const bool byteOrderMark = before.startsWith(u'\uFEFF');
    markdown = LineEndings::restore(markdown, byteOrderMark ? before.sliced(1) : before);
    const QByteArray bytes =
        byteOrderMark ? utf8ByteOrderMark + markdown.toUtf8() : markdown.toUtf8();
    if (const auto error = TextFile::makeFolders(QFileInfo(path).path())) {
        setLastError(u"Couldn't save note: "_qs + *error);
        return;
    }
    QString copy;
    std::optional<FileStamp> current = FileStamp::of(path);
    if (current) {
        // A version this never read (another program's, or one that is not valid UTF-8 and so
        // showed as empty) is kept before it is replaced.
        const auto known = m_known.constFind(path);
        const bool read = known != m_known.cend() && *known == current;
        if (!read && TextFile::readBytes(path).value_or(QByteArray()) != bytes) {
            const auto kept = ReplacedCopies::keep(path, m_clock->now());
            if (!kept) {
                setLastError(
                    u"Couldn't save note: could not keep a copy of the file it replaces in "_qs +
                    ReplacedCopies::folder());
                return;
            }
            copy = *kept;
        }
    }
    TextFile::Replace result =
        TextFile::replaceIfUnchanged(path, bytes, current, /*evenWhileWritten=*/true);
    if (result.outcome == TextFile::Replace::Outcome::Changed) {
        // Changed in the last instant: keep that version too, then write.
        current = FileStamp::of(path);
        if (const auto kept = ReplacedCopies::keep(path, m_clock->now()))
            copy = *kept;
        result = TextFile::replaceIfUnchanged(path, bytes, current, true);
    }
    if (result.outcome != TextFile::Replace::Outcome::Written) {
        setLastError(u"Couldn't save note: "_qs +
                     (result.error.isEmpty() ? u"the file keeps changing"_qs : result.error));
        return;
    }
    if (result.displaced) {
        if (const auto kept = ReplacedCopies::keepBytes(QFileInfo(path).fileName(),
                                                        *result.displaced, m_clock->now()))
            copy = *kept;
    }
    m_known[path] = result.written;
    remember(path, markdown, byteOrderMark);
    if (path == m_shownPath)
        watchShown();
    m_savedAt = m_clock->now();
    emit savedAtChanged();
    if (!copy.isEmpty())
        setLastError(QFileInfo(path).fileName() +
                         u" had text this didn't show; a copy of it was kept."_qs,
                     copy);
    else if (!m_concurrentCopy.isEmpty())
        // Still the news: the typing that waited is in, the other text in its copy.
        setLastError(concurrentChange.toString(), std::exchange(m_concurrentCopy, QString()));
    else
        setLastError({});
}
