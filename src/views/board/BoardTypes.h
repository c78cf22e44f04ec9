#pragma once

#include "BoardLanes.h"
#include "CardEditor.h"
#include "LaneModel.h"

#include <QtQml/qqml.h>

// QML registration of the Board tab's helpers.

struct BoardLanesForeign {
    Q_GADGET
    QML_FOREIGN(BoardLanes)
    QML_NAMED_ELEMENT(BoardLanes)
};

struct CardEditorForeign {
    Q_GADGET
    QML_FOREIGN(CardEditor)
    QML_NAMED_ELEMENT(CardEditor)
};

struct LaneModelForeign {
    Q_GADGET
    QML_FOREIGN(LaneModel)
    QML_NAMED_ELEMENT(LaneModel)
    QML_UNCREATABLE("Lanes come from BoardLanes.")
};
