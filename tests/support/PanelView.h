#pragma once

#include "notch/NotchModel.h"
#include "store/BoardStore.h"
#include "views/IconProvider.h"
#include "views/board/CardPreviewProvider.h"

#include <QColor>
#include <QQmlEngine>
#include <QQuickView>
#include <QStringList>

#include <memory>

// One of the panel's QML views in a real window, given the model and the store the way the panel
// gives them, with the panel's image providers. `file` is relative to the module's views folder,
// such as "board/BoardView.qml".
inline std::unique_ptr<QQuickView> panelView(const QString &file, NotchModel *model,
                                             BoardStore *store, const QColor &colour = Qt::black)
{
    auto view = std::make_unique<QQuickView>();
    view->engine()->addImportPath(u"qrc:/qt/qml"_qs);
    IconProvider::install(view->engine());
    CardPreviewProvider::install(view->engine());
    view->setColor(colour);
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    view->setInitialProperties(
        {{u"model"_qs, QVariant::fromValue(model)}, {u"store"_qs, QVariant::fromValue(store)}});
    view->setSource(QUrl(u"qrc:/qt/qml/Tallowfern/"_qs + file));
    return view;
}

// Why a view did not load, one error a line.
inline QString loadErrors(const QQuickView &view)
{
    QStringList errors;
    for (const QQmlError &error : view.errors())
        errors.append(error.toString());
    return errors.join(u'\n');
}
