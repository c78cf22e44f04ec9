#include "VaultLocations.h"

#include "store/Preferences.h"
#include "store/VaultLocator.h"

#include <QDir>
#include <QFileInfo>

VaultLocations::VaultLocations(const Preferences *preferences, QObject *parent)
    : QObject(parent), m_preferences(preferences)
{
    connect(preferences, &Preferences::vaultPathChanged, this, &VaultLocations::changed);
    connect(preferences, &Preferences::boardsFolderChanged, this, &VaultLocations::changed);
    connect(preferences, &Preferences::notesFolderChanged, this, &VaultLocations::changed);
}

QString VaultLocations::vaultDir() const
{
    const QString overridden = qEnvironmentVariable("TALLOWFERN_VAULT");
    return overridden.isEmpty() ? m_preferences->vaultPath() : overridden;
}

QString VaultLocations::vaultName() const
{
    return QFileInfo(QDir::cleanPath(vaultDir())).fileName();
}

QString VaultLocations::boardsDir() const
{
    return vaultDir() + u'/' + m_preferences->boardsFolder();
}

QString VaultLocations::notesDir() const
{
    return vaultDir() + u'/' + m_preferences->notesFolder();
}

QString VaultLocations::boardPath(const QString &day) const
{
    return boardsDir() + u'/' + day + u".md"_qs;
}

QString VaultLocations::notePath(const QString &day) const
{
    return notesDir() + u'/' + day + u".md"_qs;
}

QVariant VaultLocations::vaultRelativePath(const QString &path) const
{
    const auto relative = VaultLocator::relativePath(vaultDir(), path);
    return relative ? QVariant(*relative) : QVariant();
}

QByteArray VaultLocations::obsidianUrl(const QString &path) const
{
    return VaultLocator::obsidianUrl(vaultName(), path);
}

QByteArray VaultLocations::obsidianUrl(const QByteArray &pathBytes) const
{
    return VaultLocator::obsidianUrl(vaultName(), pathBytes);
}
