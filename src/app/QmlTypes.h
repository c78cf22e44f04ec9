#pragma once

#include "notch/NotchModel.h"
#include "notch/ShortcutSetup.h"

#include <QtQml/qqml.h>

// QML registration lives here so that the classes themselves stay free of QML macros.
struct NotchModelForeign {
    Q_GADGET
    QML_FOREIGN(NotchModel)
    QML_NAMED_ELEMENT(NotchModel)
    QML_UNCREATABLE("The panel's state is created by the application.")
};

struct ShortcutSetupForeign {
    Q_GADGET
    QML_FOREIGN(ShortcutSetup)
    QML_NAMED_ELEMENT(ShortcutSetup)
    QML_UNCREATABLE("The shortcut's setup comes with the panel.")
};
