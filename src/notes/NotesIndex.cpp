#include "NotesIndex.h"

#include "VaultWalk.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

size_t qHash(const NoteFile &note, size_t salt) noexcept
{
    return qHashMulti(salt, note.path, note.name, note.folder, note.modified, note.pathBytes);
}

namespace {

constexpr qsizetype extensionLength = 3; // ".md"

// The order a walk finds notes in is the byte order of their paths with "/" taken as lower than
// any other byte: a folder's notes come before those of a sibling whose name merely starts with
// the folder's name.
bool walkLess(const QByteArray &a, const QByteArray &b)
{
    const auto rank = [](char c) { return c == '/' ? 0 : int(uchar(c)); };
    const qsizetype common = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < common; ++i) {
        if (a[i] != b[i])
            return rank(a[i]) < rank(b[i]);
    }
    return a.size() < b.size();
}

bool newerFirst(const NotesIndex::Entry &a, const NotesIndex::Entry &b)
{
    if (a.msecs != b.msecs)
        return a.msecs > b.msecs;
    return walkLess(a.file, b.file);
}

// Windows-1252's characters for 0x80 to 0x9F, where Latin-1 has invisible controls.
constexpr char16_t windows1252High[32] = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

// The length of the well-formed UTF-8 sequence at the start of `bytes`; 0 when there is none.
qsizetype utf8SequenceLength(QByteArrayView bytes)
{
    const auto at = [&bytes](qsizetype i) { return i < bytes.size() ? uchar(bytes[i]) : 0u; };
    const auto within = [](uint byte, uint low, uint high) { return byte >= low && byte <= high; };
    const uint lead = at(0);
    if (lead < 0x80)
        return 1;
    if (within(lead, 0xC2, 0xDF))
        return within(at(1), 0x80, 0xBF) ? 2 : 0;
    if (within(lead, 0xE0, 0xEF)) {
        const uint low = lead == 0xE0 ? 0xA0 : 0x80;
        const uint high = lead == 0xED ? 0x9F : 0xBF; // no surrogates
        return within(at(1), low, high) && within(at(2), 0x80, 0xBF) ? 3 : 0;
    }
    if (within(lead, 0xF0, 0xF4)) {
        const uint low = lead == 0xF0 ? 0x90 : 0x80;
        const uint high = lead == 0xF4 ? 0x8F : 0xBF;
        return within(at(1), low, high) && within(at(2), 0x80, 0xBF) && within(at(3), 0x80, 0xBF)
                   ? 4
                   : 0;
    }
    return 0;
}

bool isAscii(QByteArrayView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return uchar(c) < 0x80; });
}

} // namespace

NotesIndex::NotesIndex(std::vector<Entry> entries) : m_entries(std::move(entries))
{
    std::sort(m_entries.begin(), m_entries.end(), newerFirst);
}

QDateTime NotesIndex::unknownModified()
{
    return QDateTime::fromMSecsSinceEpoch(unknownMsecs, Qt::UTC);
}

NotesIndex NotesIndex::scan(const QString &vaultRoot, const QString &boardsFolder)
{
    if (vaultRoot.isEmpty())
        return {};
    const int rootFd = ::open(QFile::encodeName(QDir::cleanPath(vaultRoot)).constData(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (rootFd < 0)
        return {};
    VaultWalk walk(rootFd, boardsFolder);
    walk.walk({});
    ::close(rootFd);
    return NotesIndex(walk.take());
}

void NotesIndex::update(std::vector<Entry> found, const QSet<QByteArray> &gone,
                        const QList<QByteArray> &goneFolders)
{
    // The last word on a file counts.
    std::reverse(found.begin(), found.end());
    std::stable_sort(found.begin(), found.end(),
                     [](const Entry &a, const Entry &b) { return a.file < b.file; });
    found.erase(std::unique(found.begin(), found.end(),
                            [](const Entry &a, const Entry &b) { return a.file == b.file; }),
                found.end());

    QSet<QByteArray> leaving = gone;
    for (const Entry &entry : found)
        leaving.insert(entry.file);
    std::erase_if(m_entries, [&](const Entry &entry) {
        return leaving.contains(entry.file) || std::any_of(goneFolders.begin(), goneFolders.end(),
                                                           [&entry](const QByteArray &folder) {
                                                               return entry.file.startsWith(folder);
                                                           });
    });

    std::sort(found.begin(), found.end(), newerFirst);
    const auto kept = std::ptrdiff_t(m_entries.size());
    m_entries.insert(m_entries.end(), std::make_move_iterator(found.begin()),
                     std::make_move_iterator(found.end()));
    std::inplace_merge(m_entries.begin(), m_entries.begin() + kept, m_entries.end(), newerFirst);
    m_keysStale = true;
}

QList<NoteFile> NotesIndex::notes() const
{
    QList<NoteFile> all;
    all.reserve(size());
    for (const Entry &entry : m_entries)
        all.append(noteFile(entry));
    return all;
}

NoteFile NotesIndex::noteFile(const Entry &entry)
{
    NoteFile note;
    note.pathBytes = entry.file.chopped(extensionLength);
    note.path = displayText(note.pathBytes);
    const qsizetype slash = note.path.lastIndexOf(u'/');
    note.folder = slash < 0 ? QString() : note.path.left(slash);
    note.name = note.path.mid(slash + 1);
    note.modified = entry.msecs == unknownMsecs
                        ? unknownModified()
                        : QDateTime::fromMSecsSinceEpoch(entry.msecs, Qt::UTC);
    return note;
}

QString NotesIndex::displayText(QByteArrayView bytes)
{
    QString text;
    text.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size();) {
        const qsizetype length = utf8SequenceLength(bytes.sliced(i));
        if (length == 0) {
            const uchar byte = uchar(bytes[i]);
            text += byte >= 0x80 && byte < 0xA0 ? QChar(windows1252High[byte - 0x80])
                                                : QChar(char16_t(byte));
            ++i;
            continue;
        }
        text += QString::fromUtf8(bytes.sliced(i, length));
        i += length;
    }
    return text;
}

QString NotesIndex::searchForm(const QString &text)
{
    return text.toLower().normalized(QString::NormalizationForm_C);
}

void NotesIndex::prepareSearch() const
{
    if (!m_keysStale)
        return;
    qsizetype total = 0;
    for (const Entry &entry : m_entries)
        total += entry.file.size() - extensionLength + 1;
    m_keys.clear();
    m_keys.reserve(total);
    m_keyEnds.clear();
    m_keyEnds.reserve(m_entries.size());
    for (const Entry &entry : m_entries) {
        const QByteArrayView path = QByteArrayView(entry.file).chopped(extensionLength);
        // Most paths are ASCII, and QString's lower-casing looks every character up.
        if (isAscii(path)) {
            const qsizetype at = m_keys.size();
            m_keys.resize(at + path.size());
            std::transform(path.begin(), path.end(), m_keys.data() + at, [](char byte) {
                return (byte >= 'A' && byte <= 'Z') ? char(byte + 32) : byte;
            });
        } else {
            m_keys += searchForm(displayText(path)).toUtf8();
        }
        m_keyEnds.push_back(m_keys.size());
        m_keys += '\0';
    }
    m_keysStale = false;
}

QList<NoteFile> NotesIndex::shown(const QString &query) const
{
    QStringView trimmed(query);
    while (!trimmed.isEmpty() && (trimmed.front() == u' ' || trimmed.front() == u'\t'))
        trimmed = trimmed.sliced(1);
    while (!trimmed.isEmpty() && (trimmed.back() == u' ' || trimmed.back() == u'\t'))
        trimmed.chop(1);
    QList<NoteFile> result;
    if (trimmed.isEmpty()) {
        for (const Entry &entry : m_entries) {
            if (result.size() == maxShown)
                break;
            result.append(noteFile(entry));
        }
        return result;
    }

    prepareSearch();
    // UTF-8 is self-synchronising: a byte match is a match of whole characters.
    const QByteArray needle = searchForm(trimmed.toString()).toUtf8();
    qsizetype from = 0;
    while (result.size() < maxShown && from < m_keys.size()) {
        // glibc's memmem is vectorised; Qt 6.4's indexOf is not.
        const void *hit = ::memmem(m_keys.constData() + from, size_t(m_keys.size() - from),
                                   needle.constData(), size_t(needle.size()));
        if (!hit)
            break;
        const qsizetype at = static_cast<const char *>(hit) - m_keys.constData();
        // The note whose path holds the match; a match running past its end spans two notes.
        const auto end = std::upper_bound(m_keyEnds.begin(), m_keyEnds.end(), at);
        if (end == m_keyEnds.end())
            break;
        if (at + needle.size() <= *end) {
            result.append(noteFile(m_entries[size_t(end - m_keyEnds.begin())]));
            from = *end + 1;
        } else {
            from = at + 1;
        }
    }
    return result;
}
