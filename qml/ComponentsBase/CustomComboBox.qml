import QtQuick
import QtQuick.Controls.Basic

// A drop-down list with a thin rounded border and an arrow drawn in the brand
// colour. `placeholderText` stands in the field while nothing is chosen.
ComboBox {
    id: root

    property color accentColor: "#5100A4"
    property color lineColor: "#EAEAEA"
    property color textColor: "#1C1C1C"
    property string placeholderText: ""

    leftPadding: Dimensions.x(20)
    rightPadding: Dimensions.x(70)
    displayText: currentIndex < 0 || count === 0 ? placeholderText : currentText

    contentItem: Text {
        leftPadding: root.leftPadding
        rightPadding: root.rightPadding
        text: root.displayText
        font: root.font
        color: root.enabled ? root.textColor : "#9A9A9A"
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }

    indicator: Canvas {
        x: root.width - width - Dimensions.x(25)
        y: (root.height - height) / 2
        width: Dimensions.x(28)
        height: Dimensions.y(16)
        contextType: "2d"
        onPaint: {
            const ctx = getContext("2d")
            ctx.reset()
            ctx.strokeStyle = root.enabled ? root.accentColor : "#9A9A9A"
            ctx.lineWidth = Math.max(1.5, Dimensions.x(5))
            ctx.lineCap = "round"
            ctx.lineJoin = "round"
            ctx.beginPath()
            ctx.moveTo(ctx.lineWidth, ctx.lineWidth)
            ctx.lineTo(width / 2, height - ctx.lineWidth)
            ctx.lineTo(width - ctx.lineWidth, ctx.lineWidth)
            ctx.stroke()
        }
        // Drawn again in grey or colour when the list is disabled or enabled.
        readonly property bool active: root.enabled
        onActiveChanged: requestPaint()
    }

    background: Rectangle {
        radius: Dimensions.x(12)
        color: root.hovered && root.enabled ? "#F3E8FF" : "white"
        border.width: 1
        border.color: root.popup.visible ? root.accentColor : root.lineColor
    }

    popup: Popup {
        y: root.height
        width: root.width
        implicitHeight: Math.min(contentItem.implicitHeight + 2 * padding, Dimensions.y(500))
        padding: 1

        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: root.popup.visible ? root.delegateModel : null
            currentIndex: root.highlightedIndex
        }

        background: Rectangle {
            radius: Dimensions.x(12)
            color: "white"
            border.width: 1
            border.color: root.accentColor
        }
    }
}
