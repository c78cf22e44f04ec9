#include "TextFile.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QStringDecoder>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

const auto temporaryInfix = QStringLiteral(".tallowfern-");
constexpr qsizetype temporarySuffixLength = 6;
// Longest file name most Linux file systems accept, in bytes.
constexpr qsizetype nameMax = 255;
// The kernel gives up on symlink chains at 40 hops; so do we.
constexpr int maxSymlinkHops = 40;

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
    std::optional<QByteArray> bytes = readBytes(path, &error);
    if (!bytes) {
        read.error = error;
        return read;
    }
    read.bytes = std::move(*bytes);

    QByteArrayView view = read.bytes;
    if (view.startsWith("\xEF\xBB\xBF"))
        view = view.sliced(3);
    // Stateless, so that a sequence cut off at the end of the file counts as an error too.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(view);
    if (decoder.hasError()) {
        read.error = u"not valid UTF-8 text"_qs;
        return read;
    }
    read.text = std::move(text);
    return read;
}

std::optional<QByteArray> TextFile::readBytes(const QString &path, QString *error)
{
    const auto fail = [error](const QString &reason) -> std::optional<QByteArray> {
        if (error)
            *error = reason;
        return std::nullopt;
    };
    // Non-blocking, so that opening a FIFO without a writer returns instead of waiting forever.
    Fd fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.valid())
        return fail(osError(errno));
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0)
        return fail(osError(errno));
    if (S_ISDIR(st.st_mode))
        return fail(osError(EISDIR));
    if (!S_ISREG(st.st_mode))
        return fail(u"not a regular file"_qs);

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
    return bytes;
}

std::optional<QString> TextFile::writeAtomically(const QString &path, const QByteArray &data)
{
    QString target = path;
    if (std::optional<QString> error = resolveLinks(target))
        return error;
    const QString folder = folderOf(target);
    const QString name = nameOf(target);
    if (name.isEmpty())
        return osError(EISDIR, target);
    const QByteArray nativeTarget = QFile::encodeName(target);

    struct stat old {};
    bool replacing = false;
    if (::stat(nativeTarget.constData(), &old) == 0) {
        if (S_ISDIR(old.st_mode))
            return osError(EISDIR, target);
        if (!S_ISREG(old.st_mode))
            return u"not a regular file ("_qs + target + u')';
        replacing = true;
    } else if (errno != ENOENT) {
        // These are about the way to the file, not the file itself.
        const bool folderError = errno == ENOTDIR || errno == EACCES || errno == ELOOP;
        return osError(errno, folderError ? folder : target);
    }

    QByteArray nativeTemporary;
    int created = -1;
    for (int attempt = 0; created < 0 && attempt < 100; ++attempt) {
        nativeTemporary = QFile::encodeName(temporaryPathFor(folder, name));
        // 0666 so that a new file gets the permissions the user's umask asks for.
        created =
            ::open(nativeTemporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (created < 0 && errno != EEXIST)
            return osError(errno, folder);
    }
    if (created < 0)
        return osError(EEXIST, folder);
    Fd fd(created);

    // `error` is taken before unlink() can change errno; the descriptor closes on return.
    const auto fail = [&nativeTemporary](int error, const QString &where) {
        ::unlink(nativeTemporary.constData());
        return osError(error, where);
    };

    if (!writeAll(fd.get(), data.constData(), data.size()))
        return fail(errno, target);
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
                return fail(errno, target);
        }
        if (::fchmod(fd.get(), old.st_mode & 07777) != 0)
            return fail(errno, target);
    }
    if (::fsync(fd.get()) != 0)
        return fail(errno, target);
    // Some file systems report write errors only on close.
    if (::close(fd.release()) != 0) {
        const int error = errno;
        ::unlink(nativeTemporary.constData());
        return osError(error, target);
    }
    if (::rename(nativeTemporary.constData(), nativeTarget.constData()) != 0) {
        const int error = errno;
        ::unlink(nativeTemporary.constData());
        return osError(error, target);
    }
    // The rename is durable only once the folder is on disk too.
    Fd folderFd(::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folderFd.valid())
        return osError(errno, folder);
    if (::fsync(folderFd.get()) != 0 && errno != EINVAL)
        return osError(errno, folder);
    return std::nullopt;
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
