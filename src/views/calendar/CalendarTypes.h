#pragma once

#include "views/calendar/CalendarMonth.h"

#include <QtQml/qqml.h>

// QML registration of the calendar dropdown's helper, kept out of the class itself.

struct CalendarMonthForeign {
    Q_GADGET
    QML_FOREIGN(CalendarMonth)
    QML_NAMED_ELEMENT(CalendarMonth)
};
