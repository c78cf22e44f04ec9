import QtQuick

// A view that exists only while it is wanted: built from `file` with `properties` when `wanted`
// turns true, gone when it turns false. Asked again for the view it has, it keeps it, so that a
// view made in the middle of being built (its `wanted` settling as it joins the window) is built
// once, not twice.
Loader {
    id: loader

    // The QML file, resolved; empty for none.
    required property url file
    // Handed to the view as it is built.
    required property var properties
    required property bool wanted

    function follow() {
        const target = loader.wanted ? String(loader.file) : "";
        if (String(loader.source) === target)
            return;
        if (target === "")
            loader.source = "";
        else
            loader.setSource(target, loader.properties);
    }

    onWantedChanged: follow()
    onFileChanged: follow()
    Component.onCompleted: follow()
}
