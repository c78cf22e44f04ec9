#pragma once

#include <QLoggingCategory>

// Failures of the desktop glue that the user never sees in the panel still leave a trace:
// warnings by default, the rest through QT_LOGGING_RULES="tallowfern.platform.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
// The global shortcut: which mechanism took the key, and every refusal.
Q_DECLARE_LOGGING_CATEGORY(lcShortcut)
