#pragma once

#include <QLoggingCategory>

// The application: the bus name, the tray, the command line. Warnings by default, the rest through
// QT_LOGGING_RULES="tallowfern.app.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcApp)
