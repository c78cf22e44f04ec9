#pragma once

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>

class QSocketNotifier;
class QTimer;

// Watches a folder tree with inotify and reports changes on the main thread: the first change
// after a quiet spell at once, later ones gathered over 0.3 s into one call. Subfolders created
// later are watched too. A folder that cannot be watched leaves the watcher inert.
class FolderWatcher : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds gatherInterval{300};

    FolderWatcher(const QString &path, std::function<void()> onChange, QObject *parent = nullptr);
    ~FolderWatcher() override;

    // False when the folder could not be watched at all.
    [[nodiscard]] bool isActive() const;

private:
    struct Private;
    Private *d;
};
