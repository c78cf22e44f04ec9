#include "QuickNoteFormat.h"

#include <QRegularExpression>

QString QuickNoteFormat::toDisplay(const QString &markdown)
{
    static const QRegularExpression marker(QStringLiteral("^([ \\t]*)[-*] "),
                                           QRegularExpression::MultilineOption);
    QString result = markdown;
    result.replace(marker, QStringLiteral("\\1\u2022 "));
    return result;
}

QString QuickNoteFormat::toMarkdown(const QString &display)
{
    static const QRegularExpression bullet(QStringLiteral("^([ \\t]*)\u2022 "),
                                           QRegularExpression::MultilineOption);
    QString result = display;
    result.replace(bullet, QStringLiteral("\\1- "));
    if (!result.isEmpty() && !result.endsWith(u'\n'))
        result += u'\n';
    return result;
}
