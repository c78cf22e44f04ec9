#include "NotchLog.h"

Q_LOGGING_CATEGORY(lcNotch, "tallowfern.notch", QtInfoMsg)
