import QtQuick
import QtQuick.Controls.Basic

// A one-line text field with a thin rounded border that takes the brand
// colour while it has the focus.
TextField {
    id: root

    property color accentColor: "#5100A4"
    property color lineColor: "#EAEAEA"

    leftPadding: Dimensions.x(20)
    rightPadding: Dimensions.x(20)
    topPadding: 0
    bottomPadding: 0
    verticalAlignment: TextInput.AlignVCenter
    selectByMouse: true
    color: "#1C1C1C"
    selectionColor: accentColor

    background: Rectangle {
        radius: Dimensions.x(12)
        color: "white"
        border.width: 1
        border.color: root.activeFocus ? root.accentColor : root.lineColor
    }
}
