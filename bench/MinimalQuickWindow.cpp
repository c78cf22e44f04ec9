// The yardstick for the desktop measurements (desktop_*.py): the least a Qt Quick program can do
// on X11 — one window with one small Rectangle. It loads the same QtQuick module and scene graph
// as the app, so what the app costs beyond this is its own.

#include <QByteArray>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QUrl>

#include <cstdio>
#include <memory>

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);

    QQuickView view;
    // Inline QML: no resource file or module of ours to load, only QtQuick itself.
    QQmlComponent component(view.engine());
    component.setData(QByteArrayLiteral("import QtQuick\n"
                                        "Rectangle { width: 214; height: 24; color: \"black\" }\n"),
                      QUrl());
    std::unique_ptr<QQuickItem> rectangle(qobject_cast<QQuickItem *>(component.create()));
    if (!rectangle) {
        std::fprintf(stderr, "%s\n", qPrintable(component.errorString()));
        return 1;
    }
    rectangle->setParentItem(view.contentItem());

    // The title is what the probe waits for; the size matches the app's sensor strip.
    view.setTitle(QStringLiteral("Tallowfern Bench Minimal"));
    view.resize(214, 24);
    view.show();
    return QGuiApplication::exec();
}
