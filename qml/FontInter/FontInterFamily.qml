import QtQuick

// Ready-made fonts, named by weight and design size; each pixel size is a
// design unit through Dimensions.y. Text using them sets lineHeight.
FontLoaderBase {
    readonly property real lineHeight: 0.82

    readonly property font regular18: Qt.font({
        "family": regularFamily,
        "pixelSize": Dimensions.y(18)
    })
    readonly property font regular30: Qt.font({
        "family": regularFamily,
        "pixelSize": Dimensions.y(30)
    })
    readonly property font regular36: Qt.font({
        "family": regularFamily,
        "pixelSize": Dimensions.y(36)
    })
    readonly property font regular42: Qt.font({
        "family": regularFamily,
        "pixelSize": Dimensions.y(42)
    })
    readonly property font regularBold36: Qt.font({
        "family": regularFamily,
        "pixelSize": Dimensions.y(36),
        "bold": true
    })
    readonly property font regularBold42: Qt.font({
        "family": regularFamily,
        "pixelSize": Dimensions.y(42),
        "bold": true
    })
    readonly property font regular60: Qt.font({
        "family": regularFamily,
        "pixelSize": Dimensions.y(60)
    })
}
