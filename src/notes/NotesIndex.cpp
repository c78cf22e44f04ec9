#include "NotesIndex.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <bit>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

size_t qHash(const NoteFile &note, size_t seed) noexcept
{
    return qHashMulti(seed, note.path, note.name, note.folder, note.modified);
}

namespace {

constexpr std::string_view mdSuffix = ".md";
// Most of a scan is the kernel looking names up, which spreads well over a few cores.
constexpr unsigned maxThreads = 4;

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

qint64 msecsOf(const struct timespec &time)
{
    // tv_nsec is never negative, so this rounds down before 1970 too.
    return qint64(time.tv_sec) * 1000 + qint64(time.tv_nsec / 1000000);
}

// One folder of the vault, walked by whichever thread takes it.
struct Task {
    struct Entry {
        qint64 msecs;
        const Task *subfolder;    // walked as a task of its own; null for a note
        std::uint32_t thread;     // whose names hold the note's name
        std::uint32_t nameOffset; // where in them
        std::uint32_t nameLength; // without ".md"
    };

    std::string rel;            // relative to the root, with a trailing "/" unless it is the root
    QString folder;             // rel decoded, without the "/"
    std::vector<Entry> entries; // in walk order
};

struct Note {
    qint64 msecs;
    const char *name;
    std::uint32_t nameLength;
    const QString *folder;
};

// Every folder is a task; the folder's entries keep their order, a subfolder standing in for
// all it holds, so the walk order comes out the same whichever thread walked what.
class Scan {
public:
    Scan(int rootFd, std::string boardsPrefix) : m_rootFd(rootFd), m_boards(std::move(boardsPrefix))
    {
        m_pending.push_back(&m_tasks.emplace_back());
        m_unfinished = 1;
    }

    void run()
    {
        const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1U, maxThreads);
        m_threads.resize(threads);
        std::vector<std::thread> helpers;
        for (std::uint32_t i = 1; i < threads; ++i) {
            try {
                helpers.emplace_back([this, i] { work(i); });
            } catch (const std::system_error &) {
                break; // fewer threads, same result
            }
        }
        work(0);
        for (std::thread &helper : helpers)
            helper.join();
    }

    // The notes in walk order.
    [[nodiscard]] std::vector<Note> notes() const
    {
        std::vector<Note> notes;
        std::vector<std::pair<const Task *, std::size_t>> stack{{&m_tasks.front(), 0}};
        while (!stack.empty()) {
            const Task *task = stack.back().first;
            const std::size_t i = stack.back().second++;
            if (i == task->entries.size()) {
                stack.pop_back();
                continue;
            }
            const Task::Entry &entry = task->entries[i];
            if (entry.subfolder) {
                stack.emplace_back(entry.subfolder, 0);
                continue;
            }
            notes.push_back({entry.msecs, m_threads[entry.thread].names.data() + entry.nameOffset,
                             entry.nameLength, &task->folder});
        }
        return notes;
    }

private:
    struct Item {
        std::size_t offset;
        std::size_t length;
        unsigned char type;
    };
    struct Subfolder {
        std::size_t entry;
        std::string rel;
        QString folder;
    };
    // A thread's own buffers, reused from folder to folder.
    struct Thread {
        std::vector<char> names; // of the notes it found, kept to the end
        std::vector<char> entryNames;
        std::vector<Item> items;
        std::string rel;
        std::vector<Subfolder> subfolders;
    };

    void work(std::uint32_t thread)
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [this] { return !m_pending.empty() || m_unfinished == 0; });
            if (m_pending.empty())
                return;
            Task *task = m_pending.back();
            m_pending.pop_back();
            lock.unlock();

            Thread &state = m_threads[thread];
            state.subfolders.clear();
            walk(*task, thread);

            lock.lock();
            // Pushed last to first so that a thread goes on depth first, in order.
            const std::size_t firstNew = m_pending.size();
            for (Subfolder &subfolder : state.subfolders) {
                Task &child = m_tasks.emplace_back();
                child.rel = std::move(subfolder.rel);
                child.folder = std::move(subfolder.folder);
                task->entries[subfolder.entry].subfolder = &child;
                m_pending.push_back(&child);
            }
            std::reverse(m_pending.begin() + std::ptrdiff_t(firstNew), m_pending.end());
            m_unfinished += int(state.subfolders.size()) - 1;
            if (m_unfinished == 0 || state.subfolders.size() > 1)
                m_wake.notify_all();
        }
    }

    void walk(Task &task, std::uint32_t thread)
    {
        // By path, so that no folder has to stay open for its subfolders' sake; the last
        // component must not be a symlink, and the others were folders when they were read.
        const int fd = openat(m_rootFd, task.rel.empty() ? "." : task.rel.c_str(),
                              O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0)
            return;
        DIR *dir = fdopendir(fd);
        if (!dir) {
            close(fd);
            return;
        }
        Thread &state = m_threads[thread];
        state.items.clear();
        state.entryNames.clear();
        // A failing readdir ends the folder early; what was read so far still counts.
        while (const dirent *entry = readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue;
            const std::size_t length = std::strlen(entry->d_name);
            state.items.push_back({state.entryNames.size(), length, entry->d_type});
            state.entryNames.insert(state.entryNames.end(), entry->d_name,
                                    entry->d_name + length + 1);
        }
        const auto nameOf = [&state](const Item &item) {
            return std::string_view(state.entryNames.data() + item.offset, item.length);
        };
        std::sort(state.items.begin(), state.items.end(),
                  [&nameOf](const Item &a, const Item &b) { return nameOf(a) < nameOf(b); });

        for (const Item &item : state.items) {
            const char *name = state.entryNames.data() + item.offset;
            unsigned char type = item.type;
            if (type == DT_UNKNOWN) {
                struct stat status {};
                if (fstatat(fd, name, &status, AT_SYMLINK_NOFOLLOW) == 0)
                    type = S_ISDIR(status.st_mode) ? DT_DIR : DT_REG;
            }
            state.rel = task.rel;
            state.rel += nameOf(item);
            // Nothing below the boards folder is walked, so only folders need the check.
            if (state.rel.ends_with(mdSuffix)) {
                // Follows a symlink: the note's age is its content's.
                struct stat status {};
                const qint64 msecs = fstatat(fd, name, &status, 0) == 0
                                         ? msecsOf(status.st_mtim)
                                         : std::numeric_limits<qint64>::min();
                task.entries.push_back({msecs, nullptr, thread, std::uint32_t(state.names.size()),
                                        std::uint32_t(item.length - mdSuffix.size())});
                state.names.insert(state.names.end(), name, name + item.length - mdSuffix.size());
            }
            if (type == DT_DIR) {
                state.rel += '/';
                if (!startsWith(state.rel, m_boards)) {
                    QString folder =
                        QString::fromUtf8(state.rel.data(), qsizetype(state.rel.size() - 1));
                    state.subfolders.push_back({task.entries.size(), state.rel, std::move(folder)});
                    task.entries.push_back({0, nullptr, thread, 0, 0});
                }
            }
        }
        closedir(dir);
    }

    const int m_rootFd;
    const std::string m_boards; // "<boards folder>/"
    std::vector<Thread> m_threads;

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Task> m_tasks; // a deque, so that a task stays put while others are added
    std::vector<Task *> m_pending;
    int m_unfinished = 0; // pending or being walked
};

// QString::toLower looks every character up in the Unicode tables; most paths are ASCII.
void appendLowerCased(QString &to, const QString &text)
{
    const qsizetype start = to.size();
    to.resize(start + text.size());
    QChar *out = to.data() + start;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u >= 0x80) {
            to.resize(start);
            to += text.toLower();
            return;
        }
        *out++ = u >= u'A' && u <= u'Z' ? QChar(char16_t(u - u'A' + u'a')) : c;
    }
}

// Where needle first occurs in haystack at or after from, -1 if nowhere. A search for a
// needle that is not there reads every path, so it has to go at memory speed: the first and
// last characters are compared at eight places at once and only where both match is the rest.
qsizetype indexIn(QStringView haystack, QStringView needle, qsizetype from)
{
    const char16_t *text = haystack.utf16();
    const char16_t *pattern = needle.utf16();
    const qsizetype length = needle.size();
    const qsizetype lastStart = haystack.size() - length;
    const auto middleMatches = [&](qsizetype at) {
        return length <= 2 || std::equal(pattern + 1, pattern + length - 1, text + at + 1);
    };
    qsizetype at = from;
#if defined(__SSE2__)
    const __m128i first = _mm_set1_epi16(short(pattern[0]));
    const __m128i last = _mm_set1_epi16(short(pattern[length - 1]));
    for (; at + 7 <= lastStart; at += 8) {
        const __m128i starts = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + at));
        const __m128i ends =
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + at + length - 1));
        // Two bits a character.
        auto candidates = unsigned(_mm_movemask_epi8(
            _mm_and_si128(_mm_cmpeq_epi16(starts, first), _mm_cmpeq_epi16(ends, last))));
        for (; candidates != 0; candidates &= candidates - 1, candidates &= candidates - 1) {
            const qsizetype candidate = at + std::countr_zero(candidates) / 2;
            if (middleMatches(candidate))
                return candidate;
        }
    }
#endif
    for (; at <= lastStart; ++at) {
        if (text[at] == pattern[0] && text[at + length - 1] == pattern[length - 1] &&
            middleMatches(at))
            return at;
    }
    return -1;
}

} // namespace

QDateTime NotesIndex::unknownModified()
{
    return QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::min(), Qt::UTC);
}

NotesIndex NotesIndex::scan(const QString &vaultRoot, const QString &boardsFolder)
{
    NotesIndex index;
    // cleanPath leaves "" as it is and open("") fails: an empty setting is no vault, rather
    // than the current folder.
    const QString root = QDir::cleanPath(vaultRoot);
    // The root itself may well be a symlink (a vault on another disk); only folders inside are
    // not followed.
    const int rootFd =
        open(QFile::encodeName(root).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (rootFd < 0)
        return index;
    Scan scan(rootFd, (boardsFolder + u'/').toStdString());
    scan.run();
    close(rootFd);

    std::vector<Note> notes = scan.notes();
    std::stable_sort(notes.begin(), notes.end(),
                     [](const Note &a, const Note &b) { return a.msecs > b.msecs; });

    index.m_notes.reserve(qsizetype(notes.size()));
    index.m_pathEnds.reserve(qsizetype(notes.size()));
    for (const Note &found : notes) {
        NoteFile note;
        note.name = QString::fromUtf8(found.name, qsizetype(found.nameLength));
        note.folder = *found.folder;
        note.path = note.folder.isEmpty() ? note.name : note.folder + u'/' + note.name;
        note.modified = QDateTime::fromMSecsSinceEpoch(found.msecs, Qt::UTC);
        appendLowerCased(index.m_lowerPaths, note.path);
        index.m_lowerPaths += QChar(u'\0');
        index.m_pathEnds.append(index.m_lowerPaths.size() - 1);
        index.m_notes.append(std::move(note));
    }
    return index;
}

QList<NoteFile> NotesIndex::shown(const QString &query) const
{
    QStringView trimmed(query);
    const auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (!trimmed.isEmpty() && blank(trimmed.front()))
        trimmed = trimmed.sliced(1);
    while (!trimmed.isEmpty() && blank(trimmed.back()))
        trimmed.chop(1);
    if (trimmed.isEmpty())
        return m_notes.first(std::min<qsizetype>(maxShown, m_notes.size()));

    const QString needle = trimmed.toString().toLower();
    const QStringView haystack(m_lowerPaths);
    const auto find = [&](qsizetype from) { return indexIn(haystack, needle, from); };
    QList<NoteFile> hits;
    qsizetype note = 0;
    for (qsizetype at = find(0); at >= 0 && hits.size() < maxShown;) {
        while (m_pathEnds[note] < at)
            ++note;
        // Only a needle with a NUL in it can run on into the next path.
        if (at + needle.size() > m_pathEnds[note]) {
            at = find(at + 1);
            continue;
        }
        hits.append(m_notes[note]);
        at = find(m_pathEnds[note] + 1);
        ++note;
    }
    return hits;
}
