pragma Singleton
import QtQuick

// The native enumerations that QML compares against by name, in their order
// and with their values.
QtObject {
    enum UpdateAppStatus {
        NoNewVersion = 0,
        UpdateAborted3 = 1,
        UpdateAborted2 = 2,
        UpdateFailed = 3,
        UpdateApp = 4,
        Checking = 5,
        Downloading = 6,
        Installing = 7,
        NewVersionAvaliable = 8
    }

    // The interface controller's account states, as the settings window shows them.
    enum LoginState {
        LOGIN = 0,
        NOLOGIN = 1,
        OFFLINE = 2
    }

    enum MsgType {
        MsgLogin = 0,
        MsgInfo = 2,
        MsgWarning = 3,
        MsgCloud = 4,
        MsgStorage = 5,
        MsgClipboard = 6,
        MsgExtLink = 7,
        MsgError = 8,
        MsgExtVideoLink = 9,
        MsgStorageWithOpenLocation = 10
    }
}
