#pragma once

#include <QString>

// Whether some process has a file open for writing. A program that rewrites a file in place
// (truncate, then write) leaves it half written until it closes it: reading it then gives half a
// file, and replacing it by rename sends the rest of its bytes into the unlinked inode.
class OpenWriters {
public:
    OpenWriters() = delete;

    // How long a reader or a save waits for another program to finish writing a file; after
    // that it goes ahead, and what that program writes later is read as a change of its own.
    static constexpr int patienceMs = 2000;

    // `fd` is open on the file (read-only). Counts this process's own descriptors too.
    [[nodiscard]] static bool present(int fd);
    // False also when the file cannot be opened.
    [[nodiscard]] static bool present(const QString &path);
};
