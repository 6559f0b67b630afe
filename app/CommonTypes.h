#pragma once

#include <QObject>

// Enumerations shared by the workflow, the settings and QML. They live in the
// lowest module so that the settings can use them without depending on the
// interface module, which publishes them to QML as "Common" 1.0.
namespace Common {
Q_NAMESPACE

enum VideoRecordingState { Idle = 0, Recording = 1, Busy = 2 };
Q_ENUM_NS(VideoRecordingState)

enum RunState { NONE = 0, SCREENSHOT = 1, VIDERECORDING = 2 };
Q_ENUM_NS(RunState)

enum RecordingQuality { RECORDING_QUALITY_SD = 0, RECORDING_QUALITY_HD = 1, RECORDING_QUALITY_4K = 2 };
Q_ENUM_NS(RecordingQuality)

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
};
Q_ENUM_NS(MsgType)

enum ProxyVerificationStatus { Untested = 0, Verified = 1, Failed = 2 };
Q_ENUM_NS(ProxyVerificationStatus)

} // namespace Common
