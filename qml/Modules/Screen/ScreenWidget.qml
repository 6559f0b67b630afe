import QtQuick
import QtQuick.Window

// Drawn above the frozen screen of a selection overlay. The overlay writes
// the selection and the menu rectangle into the properties below; the menu's
// buttons answer through the four signals.
Item {
    id: root

    property int runState: 0
    property int selectRectangleX: 0
    property int selectRectangleY: 0
    property int selectRectangleWidth: 0
    property int selectRectangleHeight: 0
    property int actionMenuRectangleX: 0
    property int actionMenuRectangleY: 0
    property int actionMenuRectangleWidth: 0
    property int actionMenuRectangleHeight: 0
    property bool actionMenuVisible: false

    signal runScreen()
    signal runRec()
    signal reload()
    signal closeClicked()

    // The tip is a window of its own: it goes with the menu.
    onActionMenuVisibleChanged: {
        if (!root.actionMenuVisible)
            toolTip.hideTip();
    }

    Rectangle {
        id: helpBox
        anchors.centerIn: parent
        width: helpText.implicitWidth + 50
        height: helpText.implicitHeight + 50
        radius: 15
        color: "#5511a7"
        opacity: root.selectRectangleWidth === 0 && root.selectRectangleHeight === 0 ? 0.9 : 0

        Behavior on opacity {
            NumberAnimation {
                duration: 300
                easing.type: Easing.InOutQuad
            }
        }

        Text {
            id: helpText
            anchors.centerIn: parent
            horizontalAlignment: Text.AlignHCenter
            color: "white"
            font.pointSize: 15
            text: qsTr("Left Click & Drag to take a screenshot or video recording\n(Press ESC to cancel)")
        }
    }

    Rectangle {
        id: actionMenu
        objectName: "actionMenu"
        x: root.actionMenuRectangleX
        y: root.actionMenuRectangleY
        width: root.actionMenuRectangleWidth
        height: root.actionMenuRectangleHeight
        visible: root.actionMenuVisible
        color: "white"
        radius: 6

        Row {
            id: buttons
            anchors.left: parent.left
            anchors.leftMargin: 10
            anchors.right: parent.right
            anchors.rightMargin: 142
            anchors.verticalCenter: parent.verticalCenter
            spacing: 7

            Repeater {
                model: [
                    { name: "camera", icon: "qrc:/images/ScreenDialog/camera.svg", tip: qsTr("Take a screenshot") },
                    { name: "video", icon: "qrc:/images/ScreenDialog/video-camera.svg", tip: qsTr("Start video recording") },
                    { name: "reload", icon: "qrc:/images/ScreenDialog/reload-arrow.svg", tip: qsTr("Select new capture area") },
                    { name: "close", icon: "qrc:/images/ScreenDialog/cross.svg", tip: qsTr("Cancel") }
                ]

                delegate: Rectangle {
                    id: button
                    required property var modelData
                    objectName: modelData.name + "Button"
                    width: 42
                    height: 42
                    radius: 6
                    border.width: 1
                    border.color: "#d7d7d7"
                    color: area.containsMouse ? "#F3E8FF" : "white"

                    Image {
                        anchors.centerIn: parent
                        width: 24
                        height: 24
                        sourceSize: Qt.size(24, 24)
                        source: button.modelData.icon
                    }

                    MouseArea {
                        id: area
                        anchors.fill: parent
                        hoverEnabled: true
                        onEntered: toolTip.showFor(button, button.modelData.tip)
                        onExited: toolTip.hideTip()
                        onClicked: {
                            toolTip.hideTip();
                            switch (button.modelData.name) {
                            case "camera":
                                root.runScreen();
                                break;
                            case "video":
                                root.runRec();
                                break;
                            case "reload":
                                root.reload();
                                break;
                            case "close":
                                root.closeClicked();
                                break;
                            }
                        }
                    }
                }
            }
        }

        Text {
            anchors.right: parent.right
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            color: "black"
            font.pointSize: 19
            text: "%1x%2".arg(root.selectRectangleWidth).arg(root.selectRectangleHeight)
        }
    }

    // A window of its own, so that it may stand above the overlay's edge.
    Window {
        id: toolTip
        objectName: "screenToolTip"

        property Item target: null
        property alias text: tipText.text

        function showFor(item, tip) {
            toolTip.target = item;
            toolTip.text = tip;
            showTimer.restart();
        }

        function hideTip() {
            showTimer.stop();
            toolTip.visible = false;
        }

        flags: Qt.ToolTip | Qt.FramelessWindowHint
        color: "transparent"
        width: tipText.implicitWidth + 20
        height: tipText.implicitHeight + 22
        visible: false

        Rectangle {
            id: tipBody
            width: parent.width
            height: parent.height - 8
            radius: 5
            color: "black"

            Text {
                id: tipText
                anchors.centerIn: parent
                color: "white"
            }
        }

        // The pointer: a rotated square half hidden under the body.
        Rectangle {
            width: 20
            height: 20
            x: (parent.width - width) / 2
            y: tipBody.height - height + 4
            z: -1
            rotation: 54
            color: "black"
        }

        Timer {
            id: showTimer
            interval: 500
            repeat: false
            onTriggered: {
                if (!toolTip.target || !root.actionMenuVisible)
                    return;
                // Centred over the button, the bottom 5 pixels below its top.
                const corner = toolTip.target.mapToGlobal(0, 0);
                toolTip.x = corner.x + (toolTip.target.width - toolTip.width) / 2;
                toolTip.y = corner.y + 5 - toolTip.height;
                toolTip.visible = true;
            }
        }
    }
}
