# The Settings tab: locations, shortcuts and switches. Included from views/CMakeLists.txt.

target_sources(tallowfern_views PRIVATE
    settings/DesktopServices.h settings/DesktopServices.cpp
    settings/SystemDesktopServices.h settings/SystemDesktopServices.cpp
    settings/SettingsState.h settings/SettingsState.cpp
    settings/FolderField.h settings/FolderField.cpp
    settings/SettingsController.h settings/SettingsController.cpp
)

qt_target_qml_sources(tallowfern_views QML_FILES
    settings/SettingsView.qml
    settings/SettingsCard.qml
    settings/RowDivider.qml
    settings/RowText.qml
    settings/PathField.qml
    settings/PathRow.qml
    settings/EditablePathRow.qml
    settings/SmallButton.qml
    settings/ShortcutRow.qml
    settings/ToggleRow.qml
    settings/ChoiceRow.qml
    settings/ShortcutAdvice.qml
    settings/NotchSwitch.qml
)
