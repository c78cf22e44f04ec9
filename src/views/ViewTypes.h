#pragma once

#include "GlowDot.h"
#include "NotchShapeItem.h"
#include "PanelTheme.h"
#include "RingArc.h"
#include "notch/PanelSummary.h"
#include "store/BoardStore.h"

#include <QtQml/qqml.h>

// QML registration of the types the panel's views use, kept out of the classes themselves.

struct BoardStoreForeign {
    Q_GADGET
    QML_FOREIGN(BoardStore)
    QML_NAMED_ELEMENT(BoardStore)
    QML_UNCREATABLE("The store is created by the application.")
};

struct PanelThemeForeign {
    Q_GADGET
    QML_FOREIGN(PanelTheme)
    QML_NAMED_ELEMENT(Theme)
    QML_SINGLETON
};

struct PanelSummaryForeign {
    Q_GADGET
    QML_FOREIGN(PanelSummary)
    QML_NAMED_ELEMENT(PanelSummary)
};

struct NotchShapeItemForeign {
    Q_GADGET
    QML_FOREIGN(NotchShapeItem)
    QML_NAMED_ELEMENT(NotchShape)
};

struct GlowDotForeign {
    Q_GADGET
    QML_FOREIGN(GlowDot)
    QML_NAMED_ELEMENT(GlowDot)
};

struct RingArcForeign {
    Q_GADGET
    QML_FOREIGN(RingArc)
    QML_NAMED_ELEMENT(RingArc)
};
