# The Board tab: lanes, cards, adding, editing, dragging. Included from views/CMakeLists.txt.

target_sources(tallowfern_views PRIVATE
    board/LaneModel.h board/LaneModel.cpp
    board/BoardLanes.h board/BoardLanes.cpp
    board/CardEditor.h board/CardEditor.cpp
    board/CardMarkup.h board/CardMarkup.cpp
    board/CardPreviewProvider.h board/CardPreviewProvider.cpp
)

qt_target_qml_sources(tallowfern_views QML_FILES
    board/BoardView.qml
    board/LaneColumn.qml
    board/CardRow.qml
    board/AddCardField.qml
    board/CheckButton.qml
    board/AdvanceButton.qml
    board/CardMenu.qml
    board/UndoToast.qml
)
