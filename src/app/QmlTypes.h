#pragma once

#include "notch/NotchModel.h"

#include <QtQml/qqml.h>

// QML registration lives here so that the classes themselves stay free of QML macros.
struct NotchModelForeign {
    Q_GADGET
    QML_FOREIGN(NotchModel)
    QML_NAMED_ELEMENT(NotchModel)
    QML_UNCREATABLE("The panel's state is created by the application.")
};
