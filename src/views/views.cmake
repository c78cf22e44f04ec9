# The panel's views: QML files, the C++ items and helpers they use, and the icon set.
# Included from src/CMakeLists.txt after the Tallowfern QML module exists.

target_sources(tallowfern_core PRIVATE
    views/ViewTypes.h
    views/IconProvider.h views/IconProvider.cpp
    views/PanelTheme.h views/PanelTheme.cpp
    views/SoftShadow.h views/SoftShadow.cpp
    views/NotchShapeItem.h views/NotchShapeItem.cpp
    views/GlowDot.h views/GlowDot.cpp
    views/RingArc.h views/RingArc.cpp
    notch/PanelSummary.h notch/PanelSummary.cpp
)
target_link_libraries(tallowfern_core PUBLIC Qt6::Svg)
# The generated QML registration includes ViewTypes.h by its name alone.
target_include_directories(tallowfern_core PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/views)

qt_target_qml_sources(tallowfern_core QML_FILES
    views/notch/NotchRootView.qml
    views/notch/CollapsedWings.qml
    views/notch/OpenContent.qml
    views/notch/Header.qml
    views/notch/DayPicker.qml
    views/notch/TabButtons.qml
    views/notch/ProgressRing.qml
    views/notch/GreetingBanner.qml
    views/notch/PastDayBanner.qml
    views/notch/BannerSlot.qml
    views/notch/TabSlot.qml
    views/notch/TextButton.qml
    views/notch/IconButton.qml
    views/notch/Icon.qml
    views/notch/HoverToolTip.qml
)

include(views/board/board.cmake)
include(views/notes/notes.cmake)
include(views/calendar/calendar.cmake)
include(views/settings/settings.cmake)

# Icons come from the npm package and are compiled in, only those the views name. The regular
# variant of "<name>" is assets/regular/<name>.svg, the filled one assets/fill/<name>-fill.svg,
# the heavy one assets/bold/<name>-bold.svg.
set(TALLOWFERN_ICONS
    kanban-fill
    gear
    gear-fill
    push-pin
    push-pin-fill
    calendar-blank
    caret-left
    caret-right
    sun-fill
    arrow-square-out
    check-bold
    arrow-right-bold
    plus-bold
    magnifying-glass
    file-text
    folder
    arrow-counter-clockwise
)
set(icon_dir ${PROJECT_SOURCE_DIR}/assets/node_modules/@phosphor-icons/core/assets)
if(NOT EXISTS ${icon_dir})
    message(FATAL_ERROR
        "The icon set is missing (${icon_dir}). Run `npm ci --prefix assets` in ${PROJECT_SOURCE_DIR} first.")
endif()
set(icon_files)
foreach(icon IN LISTS TALLOWFERN_ICONS)
    if(icon MATCHES "-fill$")
        set(file ${icon_dir}/fill/${icon}.svg)
    elseif(icon MATCHES "-bold$")
        set(file ${icon_dir}/bold/${icon}.svg)
    else()
        set(file ${icon_dir}/regular/${icon}.svg)
    endif()
    if(NOT EXISTS ${file})
        message(FATAL_ERROR "The icon set has no icon named ${icon} (${file}).")
    endif()
    list(APPEND icon_files ${file})
endforeach()
# For the tests, which check that each one is there.
set_property(TARGET tallowfern_core PROPERTY TALLOWFERN_ICON_NAMES ${TALLOWFERN_ICONS})
qt_add_resources(tallowfern_core tallowfern_icons
    PREFIX /icons
    BASE ${icon_dir}
    FILES ${icon_files}
)

# qmlcachegen's C++ for the QML files is generated code whose warnings are not ours to fix. Run
# at the end of the folder so that QML files added after this one are covered too.
function(tallowfern_quiet_qmlcache)
    get_target_property(sources tallowfern_core SOURCES)
    list(FILTER sources INCLUDE REGEX "/\\.rcc/qmlcache/.*\\.cpp$")
    set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS "-w")
endfunction()
cmake_language(DEFER CALL tallowfern_quiet_qmlcache)
