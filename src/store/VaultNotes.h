#pragma once

#include "notes/NoteFile.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>

class NotesIndex;
class VaultLocations;
class Preferences;
class QThread;

// The vault's notes, kept current: the vault is walked once, on a thread of its own, when the
// list is first needed; from then on the folders' changes, as inotify reports them, keep it
// current without another walk. Hidden folders and the boards folder are neither listed nor
// watched. When the system will not watch them all (its limit of watches or of inotify
// instances), the vault is walked again each time the list is needed. Nothing runs while the
// vault does not change.
class VaultNotes : public QObject {
    Q_OBJECT
    // A walk of the vault is under way.
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)

public:
    // Neither is owned; both must outlive this.
    VaultNotes(const Preferences *preferences, const VaultLocations *locations,
               QObject *parent = nullptr);
    // Never waits for a walk longer than it takes to read one folder.
    ~VaultNotes() override;

    // The list is needed now. The first call walks the vault; later ones cost nothing while
    // changes are followed, and walk it again while they are not.
    void require();

    [[nodiscard]] bool loading() const { return m_loading; }
    // Whether changes in the vault are followed as they happen.
    [[nodiscard]] bool isLive() const { return m_live; }
    // The vault has been walked at least once since the vault or the boards folder last moved.
    [[nodiscard]] bool isKnown() const { return m_known; }

    [[nodiscard]] qsizetype size() const;
    // As NotesIndex::shown, on the list as it is now.
    [[nodiscard]] QList<NoteFile> shown(const QString &query) const;

    // A hook for tests: called on the walking thread before every walk of the whole vault.
    static void setBeforeWalkForTesting(void (*hook)());

signals:
    void loadingChanged();
    // The notes changed; also when a walk ended.
    void changed();

private:
    struct Shared;
    class Worker;

    // The vault or the boards folder is somewhere else: forget it all until needed again.
    void relocate();
    void stop();
    void walked(bool live);
    void setLoading(bool loading);
    [[nodiscard]] std::shared_ptr<const NotesIndex> published() const;

    const Preferences *m_preferences;
    const VaultLocations *m_locations;
    std::shared_ptr<Shared> m_shared;
    QThread *m_thread = nullptr;
    Worker *m_worker = nullptr;
    // Counts workers, so that what a stopped one still had on its way is ignored.
    int m_generation = 0;
    // Where the worker walks.
    QString m_vault;
    QString m_boardsFolder;
    bool m_loading = false;
    bool m_live = false;
    bool m_known = false;
};
