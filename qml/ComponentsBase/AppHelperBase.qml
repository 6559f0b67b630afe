import QtQuick

// What the interface asks about the platform it runs on.
QtObject {
    readonly property bool isWindows: Qt.platform.os === "windows"
    readonly property bool isMac: Qt.platform.os === "osx"
    readonly property bool isLinux: Qt.platform.os === "linux"

    // The top-left corner of an item on the virtual desktop.
    function globalPosition(item) {
        return item.mapToGlobal(0, 0)
    }
}
