# The Board tab: lanes, cards, adding, editing, dragging. Included from views.cmake.

target_sources(tallowfern_core PRIVATE
    views/board/BoardTypes.h
    views/board/LaneModel.h views/board/LaneModel.cpp
    views/board/BoardLanes.h views/board/BoardLanes.cpp
    views/board/CardEditor.h views/board/CardEditor.cpp
    views/board/CardPreviewProvider.h views/board/CardPreviewProvider.cpp
)
# The generated QML registration includes BoardTypes.h by its name alone.
target_include_directories(tallowfern_core PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/views/board)

qt_target_qml_sources(tallowfern_core QML_FILES
    views/board/BoardView.qml
    views/board/LaneColumn.qml
    views/board/CardRow.qml
    views/board/AddCardField.qml
    views/board/CheckButton.qml
    views/board/AdvanceButton.qml
    views/board/CardMenu.qml
)
