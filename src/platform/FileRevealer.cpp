#include "FileRevealer.h"

#include "UrlLauncher.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QUrl>

FileRevealer::FileRevealer(UrlLauncher *fallback, QObject *parent)
    : QObject(parent), m_fallback(fallback)
{}

void FileRevealer::reveal(const QString &path)
{
    call(QStringLiteral("ShowItems"), path, QFileInfo(path).absolutePath());
}

void FileRevealer::showFolder(const QString &folder)
{
    call(QStringLiteral("ShowFolders"), folder, folder);
}

void FileRevealer::call(const QString &method, const QString &path, const QString &fallbackFolder)
{
    const QByteArray folderUrl = QUrl::fromLocalFile(QDir::cleanPath(fallbackFolder)).toEncoded();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        m_fallback->open(folderUrl);
        return;
    }
    QDBusMessage message =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                       QStringLiteral("/org/freedesktop/FileManager1"),
                                       QStringLiteral("org.freedesktop.FileManager1"), method);
    message << QStringList{QUrl::fromLocalFile(QDir::cleanPath(path)).toString()} << QString();
    // Asynchronous: a file manager started on demand may take a moment, and the panel must not
    // wait for it.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
    QPointer<FileRevealer> self(this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [self, folderUrl](auto *finished) {
        finished->deleteLater();
        if (self && finished->isError())
            self->m_fallback->open(folderUrl);
    });
}
