#include "LaunchAtLogin.h"

#include "io/TextFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <cerrno>
#include <cstring>
#include <unistd.h>

QString LaunchAtLogin::entryPath()
{
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || !QDir::isAbsolutePath(config))
        config = QDir::homePath() + u"/.config"_qs;
    return config + u"/autostart/"_qs + appId.toString() + u".desktop"_qs;
}

bool LaunchAtLogin::isEnabled()
{
    const QString path = entryPath();
    if (!QFileInfo(path).isFile())
        return false;
    const TextFile::Read read = TextFile::readUtf8(path);
    if (!read.text)
        return false;
    bool inEntry = false;
    for (QStringView line : QStringView(*read.text).split(u'\n')) {
        line = line.trimmed();
        if (line.startsWith(u'['))
            inEntry = line == u"[Desktop Entry]";
        else if (inEntry && line.startsWith(u"Hidden") && line.sliced(6).trimmed().startsWith(u'='))
            return line.sliced(line.indexOf(u'=') + 1).trimmed() != u"true";
    }
    return true;
}

QString LaunchAtLogin::quotedExec(const QString &program)
{
    // Inside double quotes, ", `, $ and \ take a backslash; the file's own string escaping then
    // doubles every backslash, and a literal % is written %%.
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    const bool needsQuotes =
        std::any_of(program.begin(), program.end(), [](QChar c) { return reserved.contains(c); });
    QString out;
    if (needsQuotes) {
        out += u'"';
        for (QChar c : program) {
            if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
                out += u'\\';
            out += c;
        }
        out += u'"';
    } else {
        out = program;
    }
    out.replace(u'\\', u"\\\\"_qs);
    out.replace(u'%', u"%%"_qs);
    return out;
}

QByteArray LaunchAtLogin::entryText(const QString &program)
{
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Tallowfern\n"
           "Comment=Daily planner in the notch\n"
           "Exec=" +
           quotedExec(program).toUtf8() +
           "\n"
           "Icon=io.tallowfern.Tallowfern\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

std::optional<QString> LaunchAtLogin::setEnabled(bool on, const QString &program)
{
    const QString path = entryPath();
    if (!on) {
        if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT)
            return QString::fromLocal8Bit(std::strerror(errno)) + u" ("_qs + path + u')';
        return std::nullopt;
    }
    if (auto error = TextFile::makeFolders(QFileInfo(path).path()))
        return error;
    return TextFile::writeAtomically(path, entryText(program));
}
