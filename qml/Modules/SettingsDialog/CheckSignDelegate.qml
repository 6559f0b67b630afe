import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Shapes
import Singletons 1.0

// An entry of the settings window's drop-down lists: the chosen entry has a
// check sign before its text, the one under the pointer the hover colour.
ItemDelegate {
    id: root

    property bool checkSign: false
    readonly property real signSpace: Dimensions.x(60)

    width: ListView.view ? ListView.view.width : implicitWidth
    height: Dimensions.y(80)
    leftPadding: Dimensions.x(20)
    rightPadding: Dimensions.x(20)
    font: Appearance.regular30

    contentItem: Item {
        Shape {
            visible: root.checkSign
            width: Dimensions.x(30)
            height: Dimensions.y(24)
            anchors.verticalCenter: parent.verticalCenter

            ShapePath {
                strokeColor: Appearance.brandColor
                strokeWidth: Math.max(1.5, Dimensions.x(5))
                fillColor: "transparent"
                capStyle: ShapePath.RoundCap
                joinStyle: ShapePath.RoundJoin
                startX: Dimensions.x(3)
                startY: Dimensions.y(12)

                PathLine {
                    x: Dimensions.x(11)
                    y: Dimensions.y(21)
                }
                PathLine {
                    x: Dimensions.x(27)
                    y: Dimensions.y(3)
                }
            }
        }

        Text {
            x: root.signSpace
            width: parent.width - x
            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            font: root.font
            color: Appearance.settingsText
            elide: Text.ElideRight
        }
    }

    background: Rectangle {
        color: root.highlighted || root.hovered ? Appearance.hoverColor : "transparent"
        radius: Dimensions.x(10)
    }
}
