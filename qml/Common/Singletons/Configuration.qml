pragma Singleton
import QtQuick

// Timings of the interface, in milliseconds.
QtObject {
    // A tool tip shows this long after it was asked for.
    readonly property int toolTipDelay: 500
    // Two clicks on the panel's microphone within this time are a double click.
    readonly property int doubleClickInterval: 300
    // The webcam window goes this long after its camera was told to stop.
    readonly property int webCamDestroyDelay: 200
    // How often the floating menu looks where the pointer is.
    readonly property int cursorPollInterval: 100
}
