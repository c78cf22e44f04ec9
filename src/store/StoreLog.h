#pragma once

#include <QLoggingCategory>

// The vault and its files: folders that are gone or unwatchable, files that could not be read or
// written. Warnings by default, the rest through QT_LOGGING_RULES="tallowfern.store.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcStore)
