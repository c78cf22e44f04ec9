#pragma once

#include "FolderField.h"
#include "SettingsController.h"

#include <QtQml/qqml.h>

// QML registration of the Settings tab's helpers.

struct SettingsControllerForeign {
    Q_GADGET
    QML_FOREIGN(SettingsController)
    QML_NAMED_ELEMENT(SettingsController)
};

struct FolderFieldForeign {
    Q_GADGET
    QML_FOREIGN(FolderField)
    QML_NAMED_ELEMENT(FolderField)
    QML_UNCREATABLE("Folder fields come from SettingsController.")
};
