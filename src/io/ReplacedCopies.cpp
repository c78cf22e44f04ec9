#include "ReplacedCopies.h"

#include "io/TextFile.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Like `mkdir -p`, but private: the copies are the user's own text.
bool makeFolder(const QString &path)
{
    qsizetype at = 0;
    while (at >= 0) {
        at = path.indexOf(u'/', at + 1);
        const QString part = at < 0 ? path : path.left(at);
        if (part.isEmpty() || part.endsWith(u'/'))
            continue;
        const QByteArray native = QFile::encodeName(part);
        if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST)
            return false;
    }
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool exists(const QString &path)
{
    struct stat st {};
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0 || errno != ENOENT;
}

} // namespace

QString ReplacedCopies::folder()
{
    // XDG: an unset, empty or relative value means the default.
    QString state = qEnvironmentVariable("XDG_STATE_HOME");
    if (state.isEmpty() || QDir::isRelativePath(state))
        state = QDir::homePath() + u"/.local/state"_qs;
    while (state.size() > 1 && state.endsWith(u'/'))
        state.chop(1);
    if (state == u"/"_qs)
        state.clear();
    return state + u"/Tallowfern/replaced"_qs;
}

std::optional<QString> ReplacedCopies::keep(const QString &path, const QDateTime &now)
{
    const std::optional<QByteArray> bytes = TextFile::readBytes(path);
    if (!bytes)
        return std::nullopt;
    return keepBytes(path.mid(path.lastIndexOf(u'/') + 1), *bytes, now);
}

std::optional<QString> ReplacedCopies::keepBytes(const QString &fileName, const QByteArray &bytes,
                                                 const QDateTime &now)
{
    const QString folder = ReplacedCopies::folder();
    if (!makeFolder(folder))
        return std::nullopt;

    const QDateTime when = now.isValid() ? now : QDateTime::currentDateTime();
    const QString base = folder + u'/' + fileName + u'.' + when.toString(u"yyyyMMdd-HHmmss.zzz"_qs);
    QString copy = base;
    for (int n = 2; exists(copy); ++n) {
        if (n > 1000)
            return std::nullopt;
        copy = base + u'-' + QString::number(n);
    }
    if (TextFile::writeAtomically(copy, bytes))
        return std::nullopt;
    return copy;
}

ReplacedCopies::Removal ReplacedCopies::removeOlderThan(const QDateTime &now, std::chrono::days age)
{
    Removal removal;
    const QString folder = ReplacedCopies::folder();
    const auto failed = [&](const QString &what, int error) {
        removal.failures.append(what + u": "_qs + QString::fromLocal8Bit(std::strerror(error)));
    };
    // Everything below works on names inside this one descriptor: no path is looked up twice, so
    // nothing swapped in meanwhile leads anywhere else.
    const int dirFd = ::open(QFile::encodeName(folder).constData(),
                             O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dirFd < 0) {
        const int error = errno;
        struct stat st {};
        const bool link =
            ::lstat(QFile::encodeName(folder).constData(), &st) == 0 && S_ISLNK(st.st_mode);
        if (link)
            removal.failures.append(folder + u": a symbolic link, not followed"_qs);
        else if (error == ENOTDIR)
            removal.failures.append(folder + u": not a folder"_qs);
        else if (error != ENOENT)
            failed(folder, error);
        return removal;
    }
    DIR *dir = ::fdopendir(dirFd);
    if (dir == nullptr) {
        failed(folder, errno);
        ::close(dirFd);
        return removal;
    }
    const QDateTime when = now.isValid() ? now : QDateTime::currentDateTime();
    const qint64 cutoffMs = when.toMSecsSinceEpoch() -
                            std::chrono::duration_cast<std::chrono::milliseconds>(age).count();
    while (const dirent *entry = ::readdir(dir)) {
        const char *name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
            continue;
        struct stat st {};
        if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode))
            continue;
        const qint64 modifiedMs =
            qint64(st.st_mtim.tv_sec) * 1000 + qint64(st.st_mtim.tv_nsec) / 1000000;
        if (modifiedMs >= cutoffMs)
            continue;
        const QString path = folder + u'/' + QFile::decodeName(name);
        // Never a folder, and a symlink put here since is removed itself, not followed.
        if (::unlinkat(dirFd, name, 0) == 0)
            removal.removed.append(path);
        else if (errno != ENOENT)
            failed(path, errno);
    }
    ::closedir(dir);
    return removal;
}
