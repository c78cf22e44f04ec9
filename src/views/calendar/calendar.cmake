# The calendar dropdown under the header's day picker. Included from views.cmake.

target_sources(tallowfern_core PRIVATE
    views/calendar/CalendarTypes.h
    views/calendar/CalendarMonth.h views/calendar/CalendarMonth.cpp
)
# The generated QML registration includes CalendarTypes.h by its name alone.
target_include_directories(tallowfern_core PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/views/calendar)

qt_target_qml_sources(tallowfern_core QML_FILES
    views/calendar/CalendarDropdown.qml
    views/calendar/DayCell.qml
)
