#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

// Reading and writing the user's files so that nothing is ever half-written or silently mangled.
class TextFile {
public:
    TextFile() = delete;

    struct Read {
        std::optional<QString> text; // absent on failure
        QString error;               // the reason, readable by a person, when text is absent
        QByteArray bytes;            // what was read, also when it was not valid UTF-8
    };

    // Strict UTF-8: a file that is not valid UTF-8 is a failure, never decoded with
    // replacement characters. A UTF-8 byte order mark is dropped.
    [[nodiscard]] static Read readUtf8(const QString &path);
    // The file's bytes as they are, or nothing with the reason in `error`.
    [[nodiscard]] static std::optional<QByteArray> readBytes(const QString &path,
                                                             QString *error = nullptr);

    // Replaces the file in one step: a temporary file in the same folder, flushed to disk, then
    // renamed over the target. Keeps the replaced file's permissions; a symlink is written
    // through to its target. Does not create folders. Returns the reason on failure.
    [[nodiscard]] static std::optional<QString> writeAtomically(const QString &path,
                                                                const QByteArray &data);

    // Like mkdir -p, but says why it failed: "Not a directory (/path)", "Permission denied (…)".
    [[nodiscard]] static std::optional<QString> makeFolders(const QString &path);

    // Temporary files of writeAtomically(), so that watchers can ignore them.
    [[nodiscard]] static bool isTemporaryName(QStringView fileName);

    // Modification time with full precision (nanoseconds where the file system has them).
    [[nodiscard]] static std::optional<QDateTime> modificationTime(const QString &path);
    // The same time as nanoseconds since the epoch, for exact comparison.
    [[nodiscard]] static std::optional<qint64> modificationNanos(const QString &path);
};
