#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// Before a save replaces bytes that the program does not hold (a file it could not read, one
// changed behind its back, text its reader dropped), those bytes are copied here, so that nothing
// a person wrote is ever lost: $XDG_STATE_HOME/Tallowfern/replaced/ (default ~/.local/state).
class ReplacedCopies {
public:
    ReplacedCopies() = delete;

    [[nodiscard]] static QString folder();
    // Copies the file at `path` to folder() as "<file name>.<yyyyMMdd-HHmmss.zzz>" (plus a
    // counter if that name is taken). Returns the copy's path, or nothing if there was nothing to
    // copy or the copy failed.
    static std::optional<QString> keep(const QString &path, const QDateTime &now);
    // The same for bytes that are in no file any more, named after the file they were in.
    static std::optional<QString> keepBytes(const QString &fileName, const QByteArray &bytes,
                                            const QDateTime &now);
};
