#pragma once

#include <QLoggingCategory>

// The panel on the screen: screens, windows, the keyboard. Warnings by default, the rest through
// QT_LOGGING_RULES="tallowfern.notch.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcNotch)
