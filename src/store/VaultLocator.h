#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Finds the Obsidian vault and builds the paths and links that point into it.
class VaultLocator {
public:
    VaultLocator() = delete;

    // Obsidian's vault lists, in the order they are consulted: the native install, Flatpak, Snap.
    [[nodiscard]] static QStringList obsidianConfigFiles();
    // The vault to use when none is stored: the best existing vault of Obsidian's lists (open
    // beats closed, then the most recently used; the first met wins a tie), else
    // <documents folder>/Tallowfern.
    [[nodiscard]] static QString detectVault();
    [[nodiscard]] static QString fallbackVault();

    // The path of `path` inside `vault`: "" for the vault itself, none when outside it.
    [[nodiscard]] static std::optional<QString> relativePath(const QString &vault,
                                                             const QString &path);

    // obsidian://open?vault=…&file=…, encoded so that any name decodes back exactly: spaces are
    // %20 (Obsidian does not read "+" as a space), "/" stays, everything else outside the
    // unreserved characters is percent-encoded.
    [[nodiscard]] static QByteArray obsidianUrl(const QString &vaultName, const QString &file);
    // The same for a file named by the bytes on disk, which are sent as they are.
    [[nodiscard]] static QByteArray obsidianUrl(const QString &vaultName, const QByteArray &file);
};
