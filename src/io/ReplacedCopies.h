#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

// Before a save replaces bytes that the program does not hold (a file it could not read, one
// changed behind its back, text its reader dropped), those bytes are copied here, so that nothing
// a person wrote is ever lost: $XDG_STATE_HOME/Tallowfern/replaced/ (default ~/.local/state).
// They are kept for keptFor, long enough to notice a loss, and then removed.
class ReplacedCopies {
public:
    static constexpr std::chrono::days keptFor{30};

    struct Removal {
        QStringList removed;  // paths
        QStringList failures; // one line each: what could not be removed, and why
    };

    ReplacedCopies() = delete;

    [[nodiscard]] static QString folder();
    // Copies the file at `path` to folder() as "<file name>.<yyyyMMdd-HHmmss.zzz>" (plus a
    // counter if that name is taken). Returns the copy's path, or nothing if there was nothing to
    // copy or the copy failed.
    static std::optional<QString> keep(const QString &path, const QDateTime &now);
    // The same for bytes that are in no file any more, named after the file they were in.
    static std::optional<QString> keepBytes(const QString &fileName, const QByteArray &bytes,
                                            const QDateTime &now);
    // Removes the regular files directly in folder() last modified more than `age` before `now`.
    // Folders, symlinks (and what they point to) and anything else are left alone, and so is a
    // folder() that is itself a symlink. A missing folder() is no failure.
    static Removal removeOlderThan(const QDateTime &now, std::chrono::days age = keptFor);
};
