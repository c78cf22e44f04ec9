#pragma once

#include <QString>

// Renders the panel's main states to PNG files, without a display.
class Snapshot {
public:
    Snapshot() = delete;

    static void run(const QString &dir);
};
