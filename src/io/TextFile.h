#pragma once

#include "io/FileStamp.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

// Reading and writing the user's files so that nothing is ever half-written or silently mangled.
class TextFile {
public:
    TextFile() = delete;

    struct Read {
        std::optional<QString> text;    // absent on failure
        QString error;                  // the reason, readable by a person, when text is absent
        QByteArray bytes;               // what was read, also when it was not valid UTF-8
        std::optional<FileStamp> stamp; // the version that was read, when the read succeeded
    };

    // How replaceIfUnchanged() went.
    struct Replace {
        enum class Outcome {
            Written,
            Changed, // the file is not the expected version: nothing was written
            Busy,    // another program has the file open for writing: nothing was written
            Failed,
        };
        Outcome outcome = Outcome::Failed;
        QString error; // why, when Failed; when Written, that the folder could not be synced
        // The new file's stamp, taken from its own descriptor, so that a save by someone else
        // right after the rename is not taken for this one.
        FileStamp written;
        // When something other than the expected version was replaced after all (another program
        // saved between the last check and the rename): its bytes, which are now nowhere else.
        std::optional<QByteArray> displaced;
    };

    // Strict UTF-8: a file that is not valid UTF-8 is a failure, never decoded with
    // replacement characters. A UTF-8 byte order mark is dropped. A read that overlapped a change
    // of the file (a rename over it, a write into it) is done again.
    [[nodiscard]] static Read readUtf8(const QString &path);
    // The same strict decoding for bytes from elsewhere; nothing when they are not UTF-8.
    [[nodiscard]] static std::optional<QString> decodeUtf8(QByteArrayView bytes);
    // The file's bytes as they are, or nothing with the reason in `error`.
    [[nodiscard]] static std::optional<QByteArray>
    readBytes(const QString &path, QString *error = nullptr,
              std::optional<FileStamp> *stamp = nullptr);

    // Replaces the file in one step: a temporary file in the same folder, flushed to disk, then
    // renamed over the target. Keeps the replaced file's permissions; a symlink is written
    // through to its target. Does not create folders. Returns the reason on failure.
    [[nodiscard]] static std::optional<QString> writeAtomically(const QString &path,
                                                                const QByteArray &data);

    // writeAtomically(), but only over the version `expected` (nullopt: only where no file is)
    // and not while another program is writing the file, unless `evenWhileWritten`. The replaced
    // file is examined after the rename, so that a save that slipped in between is never lost
    // unseen.
    [[nodiscard]] static Replace replaceIfUnchanged(const QString &path, const QByteArray &data,
                                                    const std::optional<FileStamp> &expected,
                                                    bool evenWhileWritten = false);

    // For tests: called by replaceIfUnchanged() right before and right after its rename, the two
    // moments when another program's save is hardest to notice. Null to stop.
    enum class RenameMoment { Before, After };
    using RenameObserver = void (*)(RenameMoment moment, const QString &target);
    static void setRenameObserver(RenameObserver observer);

    // Like mkdir -p, but says why it failed: "Not a directory (/path)", "Permission denied (…)".
    [[nodiscard]] static std::optional<QString> makeFolders(const QString &path);

    // Temporary files of writeAtomically(), so that watchers can ignore them.
    [[nodiscard]] static bool isTemporaryName(QStringView fileName);

    // Modification time with full precision (nanoseconds where the file system has them).
    [[nodiscard]] static std::optional<QDateTime> modificationTime(const QString &path);
    // The same time as nanoseconds since the epoch, for exact comparison.
    [[nodiscard]] static std::optional<qint64> modificationNanos(const QString &path);
};
