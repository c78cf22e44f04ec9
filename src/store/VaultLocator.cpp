#include "VaultLocator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QUrl>

namespace {

struct Vault {
    QString path;
    double ts = 0;
    bool open = false;
};

QString homeFolder()
{
    return QDir::homePath();
}

QString configHome()
{
    const QString configured = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (!configured.isEmpty() && QDir::isAbsolutePath(configured))
        return configured;
    return homeFolder() + u"/.config"_qs;
}

// A list that does not decode as a whole (a vault without a path, a time stamp that is not a
// number) counts as empty, as Obsidian itself would not have written it.
QList<Vault> readVaultList(const QString &file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(f.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {};
    const QJsonValue vaultsValue = document.object().value(u"vaults");
    if (!vaultsValue.isObject())
        return {};
    const QJsonObject vaults = vaultsValue.toObject();
    QList<Vault> result;
    for (auto it = vaults.begin(); it != vaults.end(); ++it) {
        if (!it->isObject())
            return {};
        const QJsonObject entry = it->toObject();
        const QJsonValue path = entry.value(u"path");
        const QJsonValue ts = entry.value(u"ts");
        const QJsonValue open = entry.value(u"open");
        if (!path.isString())
            return {};
        if (!ts.isUndefined() && !ts.isNull() && !ts.isDouble())
            return {};
        if (!open.isUndefined() && !open.isNull() && !open.isBool())
            return {};
        result.append({path.toString(), ts.toDouble(0), open.toBool(false)});
    }
    return result;
}

bool isBetter(const Vault &candidate, const Vault &best)
{
    if (candidate.open != best.open)
        return candidate.open;
    return candidate.ts > best.ts;
}

} // namespace

QStringList VaultLocator::obsidianConfigFiles()
{
    const QString home = homeFolder();
    return {
        configHome() + u"/obsidian/obsidian.json"_qs,
        home + u"/.var/app/md.obsidian.Obsidian/config/obsidian/obsidian.json"_qs,
        home + u"/snap/obsidian/current/.config/obsidian/obsidian.json"_qs,
    };
}

QString VaultLocator::fallbackVault()
{
    QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (documents.isEmpty())
        documents = homeFolder() + u"/Documents"_qs;
    return documents + u"/Tallowfern"_qs;
}

QString VaultLocator::detectVault()
{
    std::optional<Vault> best;
    for (const QString &file : obsidianConfigFiles()) {
        for (const Vault &vault : readVaultList(file)) {
            if (vault.path.isEmpty() || !QFileInfo::exists(vault.path))
                continue;
            if (!best || isBetter(vault, *best))
                best = vault;
        }
    }
    return best ? best->path : fallbackVault();
}

std::optional<QString> VaultLocator::relativePath(const QString &vault, const QString &path)
{
    const QString v = QDir::cleanPath(vault);
    const QString p = QDir::cleanPath(path);
    if (p == v)
        return QString();
    const QString prefix = v.endsWith(u'/') ? v : v + u'/';
    if (!p.startsWith(prefix))
        return std::nullopt;
    QStringView rest = QStringView(p).sliced(v.size());
    while (rest.startsWith(u'/'))
        rest = rest.sliced(1);
    while (rest.endsWith(u'/'))
        rest.chop(1);
    return rest.toString();
}

QByteArray VaultLocator::obsidianUrl(const QString &vaultName, const QString &file)
{
    return obsidianUrl(vaultName, file.toUtf8());
}

QByteArray VaultLocator::obsidianUrl(const QString &vaultName, const QByteArray &file)
{
    return "obsidian://open?vault=" + QUrl::toPercentEncoding(vaultName) +
           "&file=" + file.toPercentEncoding("/");
}
