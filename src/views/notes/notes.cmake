# The Notes tab: the quick note with bullet editing, and the search over the vault's notes.
# Included from views/CMakeLists.txt.

target_sources(tallowfern_views PRIVATE
    notes/BulletEditor.h notes/BulletEditor.cpp
    notes/NotesList.h notes/NotesList.cpp
)

qt_target_qml_sources(tallowfern_views QML_FILES
    notes/NotesView.qml
    notes/NoteRow.qml
    notes/BulletTextEditor.qml
)
