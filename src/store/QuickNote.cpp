#include "QuickNote.h"

#include "io/ReplacedCopies.h"
#include "io/TextFile.h"
#include "notes/QuickNoteFormat.h"
#include "store/Clock.h"
#include "store/StoreLog.h"

#include <QFileInfo>

QuickNote::QuickNote(const Clock *clock, QObject *parent) : QObject(parent), m_clock(clock)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(saveDelayMs);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        // Which of the two ways wrote it is not visible in the file; the log tells them apart.
        if (m_pending)
            qCDebug(lcStore, "quick note written after the typing pause");
        writePending();
    });
}

QString QuickNote::load(const QString &path)
{
    const TextFile::Read read = TextFile::readUtf8(path);
    return QuickNoteFormat::toDisplay(read.text.value_or(QString()));
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

void QuickNote::setLastError(const QString &error)
{
    emit reported(error);
    if (m_lastError == error)
        return;
    m_lastError = error;
    emit lastErrorChanged();
}

void QuickNote::write(const QString &text, const QString &path)
{
    m_pending.reset();
    m_timer.stop();
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
        if (!current.text && !current.bytes.isEmpty() &&
            !ReplacedCopies::keep(path, m_clock->now())) {
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
    m_savedAt = m_clock->now();
    emit savedAtChanged();
    setLastError({});
}
