# The Settings tab: locations, shortcuts and switches. Included from views.cmake.

target_sources(tallowfern_core PRIVATE
    views/settings/SettingsTypes.h
    views/settings/DesktopServices.h views/settings/DesktopServices.cpp
    views/settings/SystemDesktopServices.h views/settings/SystemDesktopServices.cpp
    views/settings/SettingsState.h views/settings/SettingsState.cpp
    views/settings/FolderField.h views/settings/FolderField.cpp
    views/settings/SettingsController.h views/settings/SettingsController.cpp
)
# The generated QML registration includes SettingsTypes.h by its name alone.
target_include_directories(tallowfern_core PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/views/settings)

qt_target_qml_sources(tallowfern_core QML_FILES
    views/settings/SettingsView.qml
    views/settings/SettingsCard.qml
    views/settings/RowDivider.qml
    views/settings/RowText.qml
    views/settings/PathField.qml
    views/settings/PathRow.qml
    views/settings/EditablePathRow.qml
    views/settings/SmallButton.qml
    views/settings/ShortcutRow.qml
    views/settings/ToggleRow.qml
    views/settings/ChoiceRow.qml
    views/settings/ShortcutAdvice.qml
    views/settings/NotchSwitch.qml
)
