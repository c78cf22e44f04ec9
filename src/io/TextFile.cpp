#include "TextFile.h"

#include "io/OpenWriters.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QStringDecoder>
#include <QThread>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <variant>

namespace {

const auto temporaryInfix = QStringLiteral(".tallowfern-");
constexpr qsizetype temporarySuffixLength = 6;
// Longest file name most Linux file systems accept, in bytes.
constexpr qsizetype nameMax = 255;
// The kernel gives up on symlink chains at 40 hops; so do we.
constexpr int maxSymlinkHops = 40;
// A file rewritten this many times during one read is read as it stands.
constexpr int maxReadAttempts = 8;

QString osError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

QString osError(int error, const QString &path)
{
    return osError(error) + u" ("_qs + path + u')';
}

// Closes on scope exit unless released; close errors that matter are checked explicitly.
class Fd {
public:
    explicit Fd(int fd) : m_fd(fd) {}
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    ~Fd()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool valid() const { return m_fd >= 0; }
    int release() { return std::exchange(m_fd, -1); }

private:
    int m_fd;
};

QString folderOf(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    if (slash < 0)
        return u"."_qs;
    if (slash == 0)
        return u"/"_qs;
    return path.left(slash);
}

QString nameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

// Follows `path` through every symlink to the file that a write should replace, which may not
// exist yet. Only the last component matters: folders on the way may be links, rename() copes.
std::optional<QString> resolveLinks(QString &path)
{
    for (int hop = 0; hop <= maxSymlinkHops; ++hop) {
        const QByteArray native = QFile::encodeName(path);
        struct stat st {};
        // A path that cannot be looked at is no link; the caller tells why it is no file either.
        if (::lstat(native.constData(), &st) != 0 || !S_ISLNK(st.st_mode))
            return std::nullopt;
        QByteArray target(PATH_MAX, Qt::Uninitialized);
        const ssize_t length = ::readlink(native.constData(), target.data(), PATH_MAX);
        if (length < 0)
            return osError(errno, path);
        target.truncate(length);
        const QString decoded = QFile::decodeName(target);
        // Joined as text, not cleaned: ".." after a linked folder means the kernel's "..".
        path = decoded.startsWith(u'/') ? decoded : folderOf(path) + u'/' + decoded;
    }
    return osError(ELOOP, path);
}

QString temporaryPathFor(const QString &folder, const QString &name)
{
    static constexpr char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString suffix;
    for (qsizetype i = 0; i < temporarySuffixLength; ++i)
        suffix += QLatin1Char(alphabet[QRandomGenerator::global()->bounded(
            static_cast<quint32>(sizeof(alphabet) - 1))]);
    // A name near the limit is shortened so that its temporary file can still be created.
    QString stem = name;
    while (stem.size() > 1 &&
           QFile::encodeName(u'.' + stem + temporaryInfix + suffix).size() > nameMax) {
        stem.chop(1);
        if (stem.size() > 1 && stem.back().isHighSurrogate())
            stem.chop(1);
    }
    return folder + u"/."_qs + stem + temporaryInfix + suffix;
}

bool writeAll(int fd, const char *data, qsizetype size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

} // namespace

TextFile::Read TextFile::readUtf8(const QString &path)
{
    Read read;
    QString error;
    std::optional<FileStamp> stamp;
    std::optional<QByteArray> bytes = readBytes(path, &error, &stamp);
    if (!bytes) {
        read.error = error;
        return read;
    }
    read.bytes = std::move(*bytes);
    read.stamp = stamp;
    read.text = decodeUtf8(read.bytes);
    if (!read.text)
        read.error = u"not valid UTF-8 text"_qs;
    return read;
}

std::optional<QString> TextFile::decodeUtf8(QByteArrayView bytes)
{
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes = bytes.sliced(3);
    // Stateless, so that a sequence cut off at the end counts as an error too.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

std::optional<QByteArray> TextFile::readBytes(const QString &path, QString *error,
                                              std::optional<FileStamp> *stamp)
{
    const auto fail = [error](const QString &reason) -> std::optional<QByteArray> {
        if (error)
            *error = reason;
        return std::nullopt;
    };
    const QByteArray native = QFile::encodeName(path);
    for (int attempt = 0;; ++attempt) {
        // Non-blocking, so that opening a FIFO without a writer returns instead of waiting.
        Fd fd(::open(native.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (!fd.valid())
            return fail(osError(errno));
        struct stat st {};
        if (::fstat(fd.get(), &st) != 0)
            return fail(osError(errno));
        if (S_ISDIR(st.st_mode))
            return fail(osError(EISDIR));
        if (!S_ISREG(st.st_mode))
            return fail(u"not a regular file"_qs);
        const std::optional<FileStamp> before = FileStamp::ofDescriptor(fd.get());

        QByteArray bytes;
        // The size is a hint only: the file may grow or shrink while it is read.
        bytes.reserve(static_cast<qsizetype>(st.st_size) + 1);
        char buffer[65536];
        for (;;) {
            const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
            if (got < 0) {
                if (errno == EINTR)
                    continue;
                return fail(osError(errno));
            }
            if (got == 0)
                break;
            bytes.append(buffer, got);
        }
        // The same version from start to end, and still the one under that name; otherwise the
        // bytes may mix two versions.
        const bool steady =
            FileStamp::ofDescriptor(fd.get()) == before && FileStamp::of(path) == before;
        if (steady || attempt >= maxReadAttempts) {
            if (stamp)
                *stamp = before;
            return bytes;
        }
    }
}

namespace {

// A temporary file beside the target that holds the new bytes, flushed to disk and closed.
struct Prepared {
    QString target; // symlinks resolved
    QString folder;
    QByteArray nativeTarget;
    QByteArray nativeTemporary;
    FileStamp stamp;

    void discard() const { ::unlink(nativeTemporary.constData()); }
};

std::variant<Prepared, QString> prepare(const QString &path, const QByteArray &data)
{
    Prepared p;
    p.target = path;
    if (std::optional<QString> error = resolveLinks(p.target))
        return *error;
    p.folder = folderOf(p.target);
    const QString name = nameOf(p.target);
    if (name.isEmpty())
        return osError(EISDIR, p.target);
    p.nativeTarget = QFile::encodeName(p.target);

    struct stat old {};
    bool replacing = false;
    if (::stat(p.nativeTarget.constData(), &old) == 0) {
        if (S_ISDIR(old.st_mode))
            return osError(EISDIR, p.target);
        if (!S_ISREG(old.st_mode))
            return u"not a regular file ("_qs + p.target + u')';
        replacing = true;
    } else if (errno != ENOENT) {
        // These are about the way to the file, not the file itself.
        const bool folderError = errno == ENOTDIR || errno == EACCES || errno == ELOOP;
        return osError(errno, folderError ? p.folder : p.target);
    }

    int created = -1;
    for (int attempt = 0; created < 0 && attempt < 100; ++attempt) {
        p.nativeTemporary = QFile::encodeName(temporaryPathFor(p.folder, name));
        // 0666 so that a new file gets the permissions the user's umask asks for.
        created =
            ::open(p.nativeTemporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (created < 0 && errno != EEXIST)
            return osError(errno, p.folder);
    }
    if (created < 0)
        return osError(EEXIST, p.folder);
    Fd fd(created);

    // `error` is taken before unlink() can change errno; the descriptor closes on return.
    const auto fail = [&p](int error, const QString &where) {
        p.discard();
        return osError(error, where);
    };

    if (!writeAll(fd.get(), data.constData(), data.size()))
        return fail(errno, p.target);
    // A new inode is stamped from the kernel's coarse clock, so two saves within a few
    // milliseconds would look alike to anyone comparing times; the exact time tells them apart.
    timespec now{};
    if (::clock_gettime(CLOCK_REALTIME, &now) == 0) {
        const timespec times[2] = {{0, UTIME_OMIT}, now};
        ::futimens(fd.get(), times);
    }
    if (replacing) {
        // Owner first: changing it may clear set-id bits that fchmod then puts back.
        if (old.st_uid != ::geteuid() || old.st_gid != ::getegid()) {
            if (::fchown(fd.get(), old.st_uid, old.st_gid) != 0 &&
                ::fchown(fd.get(), static_cast<uid_t>(-1), old.st_gid) != 0 && errno != EPERM)
                return fail(errno, p.target);
        }
        if (::fchmod(fd.get(), old.st_mode & 07777) != 0)
            return fail(errno, p.target);
    }
    if (::fsync(fd.get()) != 0)
        return fail(errno, p.target);
    const std::optional<FileStamp> stamp = FileStamp::ofDescriptor(fd.get());
    if (!stamp)
        return fail(errno, p.target);
    p.stamp = *stamp;
    // Some file systems report write errors only on close.
    if (::close(fd.release()) != 0)
        return fail(errno, p.target);
    return p;
}

// The rename is durable only once the folder is on disk too.
std::optional<QString> syncFolder(const QString &folder)
{
    Fd folderFd(::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folderFd.valid())
        return osError(errno, folder);
    if (::fsync(folderFd.get()) != 0 && errno != EINVAL)
        return osError(errno, folder);
    return std::nullopt;
}

// Once nobody writes into the replaced file any more: its bytes, unless it was `expected`.
std::optional<QByteArray> unexpectedContent(int fd, const std::optional<FileStamp> &expected)
{
    QElapsedTimer waited;
    waited.start();
    while (OpenWriters::present(fd) && waited.elapsed() < OpenWriters::patienceMs)
        QThread::msleep(5);
    const std::optional<FileStamp> stamp = FileStamp::ofDescriptor(fd);
    if (stamp && expected && *stamp == *expected)
        return std::nullopt;
    QByteArray bytes;
    char buffer[65536];
    for (off_t at = 0;;) {
        const ssize_t got = ::pread(fd, buffer, sizeof buffer, at);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        bytes.append(buffer, got);
        at += got;
    }
    return bytes;
}

TextFile::RenameObserver renameObserver = nullptr;

bool unsupported(int error)
{
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

} // namespace

std::optional<QString> TextFile::writeAtomically(const QString &path, const QByteArray &data)
{
    auto prepared = prepare(path, data);
    if (const auto *error = std::get_if<QString>(&prepared))
        return *error;
    const Prepared &p = std::get<Prepared>(prepared);
    if (::rename(p.nativeTemporary.constData(), p.nativeTarget.constData()) != 0) {
        const int error = errno;
        p.discard();
        return osError(error, p.target);
    }
    return syncFolder(p.folder);
}

TextFile::Replace TextFile::replaceIfUnchanged(const QString &path, const QByteArray &data,
                                               const std::optional<FileStamp> &expected,
                                               bool evenWhileWritten)
{
    Replace result;
    auto prepared = prepare(path, data);
    if (const auto *error = std::get_if<QString>(&prepared)) {
        result.error = *error;
        return result;
    }
    const Prepared &p = std::get<Prepared>(prepared);
    const auto giveUp = [&](Replace::Outcome outcome) {
        p.discard();
        result.outcome = outcome;
        return result;
    };

    // Held from before the last check, for file systems that cannot exchange two names.
    Fd old(::open(p.nativeTarget.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (FileStamp::of(p.target) != expected)
        return giveUp(Replace::Outcome::Changed);
    if (!evenWhileWritten && old.valid() && OpenWriters::present(old.get()))
        return giveUp(Replace::Outcome::Busy);

    if (renameObserver)
        renameObserver(RenameMoment::Before, p.target);
    int renamed = -1;
    bool exchanged = false;
    if (expected) {
        // The old file lands on the temporary name, so exactly what was replaced can be looked
        // at, whoever put it there.
        renamed = ::renameat2(AT_FDCWD, p.nativeTemporary.constData(), AT_FDCWD,
                              p.nativeTarget.constData(), RENAME_EXCHANGE);
        exchanged = renamed == 0;
        if (renamed != 0 && errno == ENOENT) {
            // Deleted since the check: nothing of anyone's is lost by writing here.
            renamed = ::renameat2(AT_FDCWD, p.nativeTemporary.constData(), AT_FDCWD,
                                  p.nativeTarget.constData(), RENAME_NOREPLACE);
            if (renamed != 0 && errno == EEXIST)
                return giveUp(Replace::Outcome::Changed);
        }
    } else {
        renamed = ::renameat2(AT_FDCWD, p.nativeTemporary.constData(), AT_FDCWD,
                              p.nativeTarget.constData(), RENAME_NOREPLACE);
        if (renamed != 0 && errno == EEXIST)
            return giveUp(Replace::Outcome::Changed);
    }
    if (renamed != 0 && unsupported(errno))
        renamed = ::rename(p.nativeTemporary.constData(), p.nativeTarget.constData());
    if (renamed != 0) {
        result.error = osError(errno, p.target);
        return giveUp(Replace::Outcome::Failed);
    }

    if (renameObserver)
        renameObserver(RenameMoment::After, p.target);
    result.outcome = Replace::Outcome::Written;
    result.written = p.stamp;
    if (exchanged) {
        Fd replaced(::open(p.nativeTemporary.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        p.discard();
        if (replaced.valid())
            result.displaced = unexpectedContent(replaced.get(), expected);
    } else if (old.valid()) {
        result.displaced = unexpectedContent(old.get(), expected);
    }
    // Written all the same, if perhaps not yet durably: the caller must not write it again.
    if (const auto error = syncFolder(p.folder))
        result.error = *error;
    return result;
}

void TextFile::setRenameObserver(RenameObserver observer)
{
    renameObserver = observer;
}

bool TextFile::isTemporaryName(QStringView fileName)
{
    const qsizetype infixAt = fileName.size() - temporarySuffixLength - temporaryInfix.size();
    // A dot, at least one character of the original name, the infix and the random part.
    if (infixAt < 2 || !fileName.startsWith(u'.'))
        return false;
    if (fileName.sliced(infixAt, temporaryInfix.size()) != temporaryInfix)
        return false;
    for (const QChar c : fileName.sliced(fileName.size() - temporarySuffixLength)) {
        const char16_t u = c.unicode();
        if (!((u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9')))
            return false;
    }
    return true;
}

std::optional<QDateTime> TextFile::modificationTime(const QString &path)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return std::nullopt;
    // tv_nsec is never negative, so this floors also before 1970.
    return QDateTime::fromMSecsSinceEpoch(qint64(st.st_mtim.tv_sec) * 1000 +
                                          st.st_mtim.tv_nsec / 1000000);
}

std::optional<qint64> TextFile::modificationNanos(const QString &path)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return std::nullopt;
    qint64 nanos = 0;
    if (qMulOverflow(qint64(st.st_mtim.tv_sec), qint64(1000000000), &nanos) ||
        qAddOverflow(nanos, qint64(st.st_mtim.tv_nsec), &nanos))
        return std::nullopt;
    return nanos;
}

std::optional<QString> TextFile::makeFolders(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    struct stat info {};
    if (::stat(QFile::encodeName(clean).constData(), &info) == 0) {
        if (S_ISDIR(info.st_mode))
            return std::nullopt;
        return QString::fromLocal8Bit(std::strerror(ENOTDIR)) + u" ("_qs + clean + u')';
    }
    const qsizetype slash = clean.lastIndexOf(u'/');
    if (slash > 0) {
        if (auto error = makeFolders(clean.left(slash)))
            return error;
    }
    if (::mkdir(QFile::encodeName(clean).constData(), 0777) != 0 && errno != EEXIST)
        return QString::fromLocal8Bit(std::strerror(errno)) + u" ("_qs + clean + u')';
    return std::nullopt;
}
