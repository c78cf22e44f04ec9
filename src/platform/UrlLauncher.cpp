#include "UrlLauncher.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QProcess>
#include <QUrl>

void DesktopUrlLauncher::open(const QByteArray &encodedUrl)
{
    // Qt's own path needs a desktop platform; without one (offscreen, no application) xdg-open
    // is asked directly. Neither reports whether the handler liked the URL.
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()) &&
        QGuiApplication::platformName() != u"offscreen" &&
        QDesktopServices::openUrl(QUrl::fromEncoded(encodedUrl, QUrl::StrictMode)))
        return;
    QProcess::startDetached(QStringLiteral("xdg-open"), {QString::fromLatin1(encodedUrl)});
}
