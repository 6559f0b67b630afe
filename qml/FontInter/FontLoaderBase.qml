import QtQuick

// Loads the Inter files from the resources. Until a file has loaded (or if
// it can't be), its family name falls back to "Inter", so text still shows.
QtObject {
    readonly property FontLoader regularLoader: FontLoader {
        source: "qrc:/qml/FontInter/fonts/Inter-Regular.otf"
        onStatusChanged: {
            if (status === FontLoader.Error)
                console.warn("FontInter: can't load", source)
        }
    }
    readonly property string regularFamily: regularLoader.status === FontLoader.Ready ? regularLoader.name : "Inter"
}
