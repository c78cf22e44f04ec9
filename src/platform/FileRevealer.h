#pragma once

#include <QObject>
#include <QString>

class UrlLauncher;

// Shows files and folders in the desktop's file manager: through the freedesktop FileManager1
// D-Bus interface, which selects the item in its folder, else by opening the folder itself.
class FileRevealer : public QObject {
    Q_OBJECT

public:
    // `fallback` opens folders when no file manager answers on D-Bus; not owned.
    explicit FileRevealer(UrlLauncher *fallback, QObject *parent = nullptr);

    // Opens the folder holding `path` with `path` selected.
    Q_INVOKABLE void reveal(const QString &path);
    // Opens `folder` itself.
    Q_INVOKABLE void showFolder(const QString &folder);

private:
    void call(const QString &method, const QString &path, const QString &fallbackFolder);

    UrlLauncher *m_fallback;
};
