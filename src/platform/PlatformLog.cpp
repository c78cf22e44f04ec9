#include "PlatformLog.h"

Q_LOGGING_CATEGORY(lcPlatform, "tallowfern.platform", QtInfoMsg)
Q_LOGGING_CATEGORY(lcShortcut, "tallowfern.shortcut", QtInfoMsg)
