import QtQuick
import QtQuick.Window
import QtWebEngine
import QtWebChannel
import Singletons 1.0

// The sign-in dialog: the service's account page in a web view, under a
// header that carries the title, moves the window and closes it. The page
// hands the new credentials over through the web channel object "api".
//
// The web view exists only while the dialog is shown: showDialog makes it,
// hideDialog destroys it, so that no page process lives at rest. The window
// is opaque, since a transparent one breaks the page's drop-down lists.
Window {
    id: root

    readonly property int minWidth: Dimensions.x(800)
    readonly property int minHeight: Dimensions.y(1200)
    readonly property int headerHeight: Dimensions.y(120)
    property string headerText
    // The web view, while the dialog is shown.
    property WebEngineView content: null
    // Windows that the page opened.
    property var webDialogs: []

    function centre() {
        x = Dimensions.getAvailableX() + (Dimensions.getAvailableWidth() - width) / 2
        y = Dimensions.getAvailableY() + (Dimensions.getAvailableHeight() - height) / 2
    }

    function showDialog(url, title) {
        if (!content) {
            content = windowComponent.createObject(body)
            content.webChannel.registerObject("api", apibridge)
        }
        destroyWebDialogs()
        headerText = title
        content.url = url
        centre()
        show()
        raise()
    }

    function hideDialog() {
        destroyWebDialogs()
        if (content) {
            content.destroy()
            content = null
        }
        close()
        appController.refreshAccount()
    }

    function destroyWebDialogs() {
        for (const dialog of webDialogs)
            dialog.destroy()
        webDialogs = []
    }

    // A page's pop-up opens in a window of its own, which goes when it closes.
    function openPopup(request) {
        const dialog = webDialogComponent.createObject(null, {
                                                          "profile": content.profile
                                                      })
        dialog.closing.connect(() => {
                                   webDialogs = webDialogs.filter(other => other !== dialog)
                                   dialog.destroy()
                               })
        webDialogs.push(dialog)
        request.openIn(dialog.view)
        dialog.show()
    }

    title: "credentialsDialog"
    flags: Qt.Window | Qt.FramelessWindowHint
    color: "white"
    minimumWidth: minWidth
    minimumHeight: minHeight
    width: Math.max(minWidth, Math.round(Dimensions.getAvailableWidth() * 0.9))
    height: Math.max(minHeight, Math.round(Dimensions.getAvailableHeight() * 0.9))

    // Closed by other means than its cross (the window manager): the same end.
    onVisibleChanged: {
        if (!visible && content)
            hideDialog()
    }

    Rectangle {
        id: header
        objectName: "credentialsHeader"
        anchors.left: parent.left
        anchors.right: parent.right
        height: root.headerHeight
        color: Appearance.brandColor

        // The header moves the window.
        MouseArea {
            property point pressedAt

            anchors.fill: parent
            onPressed: mouse => pressedAt = Qt.point(mouse.x, mouse.y)
            onPositionChanged: mouse => {
                root.x += mouse.x - pressedAt.x
                root.y += mouse.y - pressedAt.y
            }
        }

        Text {
            anchors.left: parent.left
            anchors.leftMargin: Dimensions.x(50)
            anchors.right: closeButton.left
            anchors.verticalCenter: parent.verticalCenter
            text: root.headerText
            font: Appearance.regular42
            color: Appearance.firstDialogText
            elide: Text.ElideRight
        }

        Image {
            id: closeButton
            objectName: "closeButton"
            anchors.right: parent.right
            anchors.rightMargin: Dimensions.x(40)
            anchors.verticalCenter: parent.verticalCenter
            width: Dimensions.x(50)
            height: Dimensions.y(50)
            sourceSize: Qt.size(width, height)
            source: "qrc:/images/FirstDialog/cross.svg"

            MouseArea {
                anchors.fill: parent
                anchors.margins: -Dimensions.x(15)
                cursorShape: Qt.PointingHandCursor
                onClicked: root.hideDialog()
            }
        }
    }

    Item {
        id: body
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
    }

    property Component windowComponent: Component {
        WebEngineView {
            id: webView_

            anchors.fill: parent
            settings.javascriptEnabled: true
            settings.javascriptCanOpenWindows: true
            webChannel: WebChannel {}

            // The channel's page script goes in once a page has loaded; a
            // failed page keeps the engine's own error text.
            onLoadingChanged: loadRequest => {
                if (loadRequest.status === WebEngineView.LoadSucceededStatus)
                    webView_.runJavaScript(uiController.credentialsApiScript(loadRequest.url.toString()))
                else if (loadRequest.status === WebEngineView.LoadFailedStatus)
                    console.warn("[CF]: page failed to load:", loadRequest.url, loadRequest.errorString)
            }
            onNewWindowRequested: request => root.openPopup(request)
            onJavaScriptConsoleMessage: (level, message, lineNumber, sourceID) => console.log("[CF]: console:", message,
                                                                                              sourceID + ":" + lineNumber)
        }
    }

    property Component webDialogComponent: Component {
        WebDialog {}
    }
}
