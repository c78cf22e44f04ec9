#pragma once

#include "BulletEditor.h"
#include "NotesList.h"

#include <QtQml/qqml.h>

// QML registration of the Notes tab's helpers.

struct BulletEditorForeign {
    Q_GADGET
    QML_FOREIGN(BulletEditor)
    QML_NAMED_ELEMENT(BulletEditor)
};

struct NotesListForeign {
    Q_GADGET
    QML_FOREIGN(NotesList)
    QML_NAMED_ELEMENT(NotesList)
};
