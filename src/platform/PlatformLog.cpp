#include "PlatformLog.h"

Q_LOGGING_CATEGORY(lcPlatform, "tallowfern.platform", QtInfoMsg)
