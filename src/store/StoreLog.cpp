#include "StoreLog.h"

Q_LOGGING_CATEGORY(lcStore, "tallowfern.store", QtInfoMsg)
