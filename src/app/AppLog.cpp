#include "AppLog.h"

Q_LOGGING_CATEGORY(lcApp, "tallowfern.app", QtInfoMsg)
