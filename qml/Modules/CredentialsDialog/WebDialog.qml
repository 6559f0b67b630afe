import QtQuick
import QtQuick.Window
import QtWebEngine

// A window that a page of the sign-in dialog opened (a provider's sign-in,
// say), on the same profile, so that the page and its pop-up share cookies.
// It goes when its page asks to be closed.
Window {
    id: root

    property alias view: webView
    property alias profile: webView.profile

    title: "webDialog"
    flags: Qt.Window
    width: Dimensions.x(800)
    height: Dimensions.y(600)

    WebEngineView {
        id: webView

        anchors.fill: parent
        settings.javascriptEnabled: true
        settings.javascriptCanOpenWindows: true
        onWindowCloseRequested: root.close()
    }
}
