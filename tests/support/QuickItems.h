#pragma once

#include <QList>
#include <QPoint>
#include <QQuickItem>
#include <QString>

// Finding and judging items of a Qt Quick scene in view tests.
namespace QuickItems {

// The first item under `from` named `name`, nearer levels first. Items made by views, repeaters
// and loaders are not QObject children of the item they sit in: the search goes down the visual
// tree.
inline QQuickItem *findItem(QQuickItem *from, const QString &name)
{
    if (!from)
        return nullptr;
    const QList<QQuickItem *> children = from->childItems();
    for (QQuickItem *child : children) {
        if (child->objectName() == name)
            return child;
    }
    for (QQuickItem *child : children) {
        if (QQuickItem *found = findItem(child, name))
            return found;
    }
    return nullptr;
}

// Every item under `from`, depth first.
inline void collect(QQuickItem *from, QList<QQuickItem *> &into)
{
    const QList<QQuickItem *> children = from->childItems();
    for (QQuickItem *child : children) {
        into.append(child);
        collect(child, into);
    }
}

// Whether `target` can be seen: it and every item it sits in are visible and not faded out.
inline bool shown(const QQuickItem *target)
{
    for (const QQuickItem *i = target; i; i = i->parentItem()) {
        if (!i->isVisible() || i->opacity() <= 0)
            return false;
    }
    return target != nullptr;
}

// The middle of `target`, in the window.
inline QPoint centre(const QQuickItem *target)
{
    return target->mapToScene(QPointF(target->width() / 2, target->height() / 2)).toPoint();
}

} // namespace QuickItems
