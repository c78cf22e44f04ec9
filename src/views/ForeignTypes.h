#pragma once

#include "notch/NotchModel.h"
#include "notch/ShortcutSetup.h"
#include "store/BoardStore.h"

#include <QtQml/qqml.h>

// The application's own objects as QML sees them. They live below the views and know nothing of
// QML, so they are registered from here; the application hands each to the panel.

struct BoardStoreForeign {
    Q_GADGET
    QML_FOREIGN(BoardStore)
    QML_NAMED_ELEMENT(BoardStore)
    QML_UNCREATABLE("The store is created by the application.")
};

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
