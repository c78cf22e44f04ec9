#pragma once

#include <QObject>
#include <QString>
#include <QVariant>

class Preferences;

// Where the vault, its boards and its notes are, worked out from the preferences and
// TALLOWFERN_VAULT on every call, so that the variable wins whenever it is set.
class VaultLocations : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString vaultDir READ vaultDir NOTIFY changed)
    Q_PROPERTY(QString vaultName READ vaultName NOTIFY changed)
    Q_PROPERTY(QString boardsDir READ boardsDir NOTIFY changed)
    Q_PROPERTY(QString notesDir READ notesDir NOTIFY changed)

public:
    // `preferences` is not owned and must outlive this.
    explicit VaultLocations(const Preferences *preferences, QObject *parent = nullptr);

    [[nodiscard]] QString vaultDir() const;
    [[nodiscard]] QString vaultName() const;
    [[nodiscard]] QString boardsDir() const;
    [[nodiscard]] QString notesDir() const;
    // A day's board and quick note, by day key.
    [[nodiscard]] QString boardPath(const QString &day) const;
    [[nodiscard]] QString notePath(const QString &day) const;

    // The path of `path` inside the vault ("" for the vault itself); null when outside.
    Q_INVOKABLE QVariant vaultRelativePath(const QString &path) const;
    // The obsidian:// link to a vault-relative path.
    [[nodiscard]] QByteArray obsidianUrl(const QString &path) const;
    [[nodiscard]] QByteArray obsidianUrl(const QByteArray &pathBytes) const;

signals:
    // The vault, the boards folder or the notes folder was set to something else.
    void changed();

private:
    const Preferences *m_preferences;
};
