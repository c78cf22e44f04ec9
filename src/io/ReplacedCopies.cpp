#include "ReplacedCopies.h"

#include "io/TextFile.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <sys/stat.h>

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
