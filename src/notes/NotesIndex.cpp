#include "NotesIndex.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

size_t qHash(const NoteFile &note, size_t salt) noexcept
{
    return qHashMulti(salt, note.path, note.name, note.folder, note.modified);
}

namespace {

constexpr qint64 unknownMsecs = std::numeric_limits<qint64>::min();

struct Found {
    qint64 msecs;
    std::string path; // relative to the root, without ".md"
};

class Walk {
public:
    Walk(int rootFd, std::string boardsPrefix)
        : m_rootFd(rootFd), m_boardsPrefix(std::move(boardsPrefix))
    {}

    // `rel` is "" for the root, otherwise the folder's relative path and a "/".
    void folder(const std::string &rel)
    {
        // Opened relative to the root and never through a symlink, so a link loop cannot trap
        // the walk and only one folder is open at a time, however deep the tree.
        const int fd = rel.empty() ? ::dup(m_rootFd)
                                   : ::openat(m_rootFd, rel.c_str(),
                                              O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0)
            return;
        DIR *dir = ::fdopendir(fd);
        if (!dir) {
            ::close(fd);
            return;
        }
        struct Entry {
            std::string name;
            bool isFolder;
            qint64 msecs = unknownMsecs; // for notes
        };
        std::vector<Entry> entries;
        while (const dirent *entry = ::readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue; // hidden, and "." and ".."
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                struct stat info {};
                isFolder = ::fstatat(fd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                           S_ISDIR(info.st_mode);
            }
            entries.push_back({entry->d_name, isFolder});
        }
        for (Entry &entry : entries) {
            struct stat info {};
            if (isNote(entry.name) && ::fstatat(fd, entry.name.c_str(), &info, 0) == 0)
                entry.msecs = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1'000'000;
        }
        ::closedir(dir);

        // Byte order of names, a subfolder's notes where its name falls, as a directory
        // enumerator would give them: notes with equal times come out the same every scan.
        std::sort(entries.begin(), entries.end(),
                  [](const Entry &a, const Entry &b) { return a.name < b.name; });
        for (const Entry &entry : entries) {
            const std::string path = rel + entry.name;
            if (isNote(entry.name) && !isBoards(path))
                m_found.push_back({entry.msecs, path.substr(0, path.size() - 3)});
            if (entry.isFolder && !isBoards(path + '/'))
                folder(path + '/');
        }
    }

    std::vector<Found> take() { return std::move(m_found); }

private:
    [[nodiscard]] static bool isNote(const std::string &name)
    {
        return name.size() > 3 && name.ends_with(".md");
    }

    [[nodiscard]] bool isBoards(const std::string &path) const
    {
        return !m_boardsPrefix.empty() && path.starts_with(m_boardsPrefix);
    }

    int m_rootFd;
    std::string m_boardsPrefix;
    std::vector<Found> m_found;
};

// Most paths are ASCII, and QString::toLower looks every character up in the Unicode tables.
void appendLowered(QByteArray &to, const QString &text)
{
    const bool ascii =
        std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
    if (!ascii) {
        to += text.toLower().toUtf8();
        return;
    }
    for (QChar c : text) {
        const char byte = char(c.unicode());
        to += (byte >= 'A' && byte <= 'Z') ? char(byte + 32) : byte;
    }
}

} // namespace

QDateTime NotesIndex::unknownModified()
{
    return QDateTime::fromMSecsSinceEpoch(unknownMsecs, Qt::UTC);
}

NotesIndex NotesIndex::scan(const QString &vaultRoot, const QString &boardsFolder)
{
    NotesIndex index;
    if (vaultRoot.isEmpty())
        return index;
    const int rootFd = ::open(QFile::encodeName(QDir::cleanPath(vaultRoot)).constData(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (rootFd < 0)
        return index;
    Walk walk(rootFd, boardsFolder.isEmpty() ? std::string() : (boardsFolder + u'/').toStdString());
    walk.folder({});
    ::close(rootFd);

    std::vector<Found> found = walk.take();
    std::stable_sort(found.begin(), found.end(),
                     [](const Found &a, const Found &b) { return a.msecs > b.msecs; });

    index.m_notes.reserve(qsizetype(found.size()));
    index.m_lowerPaths.reserve(qsizetype(found.size()) * 48);
    index.m_pathEnds.reserve(qsizetype(found.size()));
    for (const Found &note : found) {
        NoteFile file;
        file.path = QString::fromUtf8(note.path.data(), qsizetype(note.path.size()));
        const qsizetype slash = file.path.lastIndexOf(u'/');
        file.folder = slash < 0 ? QString() : file.path.left(slash);
        file.name = file.path.mid(slash + 1);
        file.modified = note.msecs == unknownMsecs
                            ? unknownModified()
                            : QDateTime::fromMSecsSinceEpoch(note.msecs, Qt::UTC);
        appendLowered(index.m_lowerPaths, file.path);
        index.m_pathEnds.append(index.m_lowerPaths.size());
        index.m_lowerPaths += '\0';
        index.m_notes.append(std::move(file));
    }
    return index;
}

QList<NoteFile> NotesIndex::shown(const QString &query) const
{
    QStringView trimmed(query);
    while (!trimmed.isEmpty() && (trimmed.front() == u' ' || trimmed.front() == u'\t'))
        trimmed = trimmed.sliced(1);
    while (!trimmed.isEmpty() && (trimmed.back() == u' ' || trimmed.back() == u'\t'))
        trimmed.chop(1);
    if (trimmed.isEmpty())
        return m_notes.mid(0, maxShown);

    // UTF-8 is self-synchronising: a byte match is a match of whole characters.
    const QByteArray needle = trimmed.toString().toLower().toUtf8();
    QList<NoteFile> result;
    qsizetype from = 0;
    while (result.size() < maxShown) {
        // glibc's memmem is vectorised; Qt 6.4's indexOf is not.
        const void *hit =
            ::memmem(m_lowerPaths.constData() + from, size_t(m_lowerPaths.size() - from),
                     needle.constData(), size_t(needle.size()));
        if (!hit)
            break;
        const qsizetype at = static_cast<const char *>(hit) - m_lowerPaths.constData();
        // The note whose path holds the match; a match running past its end spans two notes.
        const auto end = std::upper_bound(m_pathEnds.begin(), m_pathEnds.end(), at);
        if (end == m_pathEnds.end())
            break;
        if (at + needle.size() <= *end) {
            result.append(m_notes.at(end - m_pathEnds.begin()));
            from = *end + 1;
        } else {
            from = at + 1;
        }
    }
    return result;
}
