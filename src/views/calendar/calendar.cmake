# The calendar dropdown under the header's day picker. Included from views/CMakeLists.txt.

target_sources(tallowfern_views PRIVATE
    calendar/CalendarMonth.h calendar/CalendarMonth.cpp
)

qt_target_qml_sources(tallowfern_views QML_FILES
    calendar/CalendarDropdown.qml
    calendar/DayCell.qml
)
