#pragma once

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>

// Watches a folder tree with inotify and reports changes on the main thread: the first complete
// change after a quiet spell at once, later ones gathered over 0.3 s into one call. A file still
// being written is reported once it is closed. Subfolders created later are watched too.
//
// The path is watched, not the folder that happens to be there: when the folder is removed or
// moved away the watcher waits for the path to come back, then watches the new folder and reports
// a change. Only a symlink on the path itself is followed, none inside the tree.
class FolderWatcher : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString failure READ failure NOTIFY failureChanged)

public:
    static constexpr std::chrono::milliseconds gatherInterval{300};
    // A file changed but not closed counts as written once nothing happened to it for this long,
    // for writers that keep their files open.
    static constexpr std::chrono::milliseconds openWriterQuiet{250};
    // How often watching is tried again while the system refuses it (limits, permissions).
    static constexpr std::chrono::seconds retryInterval{5};

    FolderWatcher(const QString &path, std::function<void()> onChange, QObject *parent = nullptr);
    ~FolderWatcher() override;

    // True while the folder at the path is watched; false while waiting for it to exist or to
    // become watchable, and for an empty path.
    [[nodiscard]] bool isActive() const;
    // Why changes are not (all) seen, as a sentence for the user; empty while all is watched.
    [[nodiscard]] QString failure() const;

signals:
    void failureChanged();

private:
    struct Private;
    Private *d;

    // Reads what the kernel queued, retries what failed when `retrying`, then reports.
    void process(bool retrying);
};
