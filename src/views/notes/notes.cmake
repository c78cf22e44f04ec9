# The Notes tab: the quick note with bullet editing, and the search over the vault's notes.
# Included from views.cmake.

target_sources(tallowfern_core PRIVATE
    views/notes/NotesTypes.h
    views/notes/BulletEditor.h views/notes/BulletEditor.cpp
    views/notes/NotesList.h views/notes/NotesList.cpp
)
target_link_libraries(tallowfern_core PUBLIC Qt6::Concurrent)
# The generated QML registration includes NotesTypes.h by its name alone.
target_include_directories(tallowfern_core PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/views/notes)

qt_target_qml_sources(tallowfern_core QML_FILES
    views/notes/NotesView.qml
    views/notes/NoteRow.qml
    views/notes/BulletTextEditor.qml
)
