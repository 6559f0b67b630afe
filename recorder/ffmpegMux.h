#pragma once

#include "MediaParams.h"

#include <QMutex>
#include <QString>
#include <QThread>

struct AVFormatContext;
class ffmpegVideoCap;
class ffmpegVideoEnc;
class ffmpegAudioMixEnc;
class ffmpegAudioCap;
class pulseAudioLoopback;
class pulseAudioSilence;

// One recording session. Its own thread opens the inputs, the encoders and the
// output in a fixed order, waits until every source delivers, watches the data
// flow, and tears everything down again in a fixed order. The six worker
// threads live as long as this object; between recordings only their media
// state is freed. Encoded packets come back to handleEncodedFrame, which runs
// on the thread that created this object (the GUI thread) and feeds the muxer.
class ffmpegMux : public QThread
{
    Q_OBJECT

public:
    // What setInputOutput derives from the quality class of a recording.
    struct QualityClass
    {
        int bitrateFactor;
        int audioBitRate;
        int maxWidth;
        int maxHeight;
        bool keepQuality; // false: the encoder quality is forced to -1
    };

    ffmpegMux();
    ~ffmpegMux() override;

    void setInputOutput(const char* vdev, const char* adev, const QString& out, unsigned int fileId, QString dir,
                        int hd_rec);
    void setCaptureParams(int x, int y, int w, int h);

    static QualityClass qualityClass(int hd_rec);
    // Fits width x height into the maxima, keeping the aspect ratio in integer
    // arithmetic, and makes both even. Logs each scaling step it takes.
    static void limitVideoSize(int& width, int& height, int maxWidth, int maxHeight);

    bool uploadWhileRecording = false;
    bool highlightMouse = false;
    bool micMute = false;
    int micLevel = 100;
    bool disableSys = false;
    bool sysMute = false;
    int sysLevel = 100;
    int cpuLoad = 0;
    unsigned int fileId = 0;
    QMutex dbLock; // serialises the output's SQL between the GUI and the session thread
    QString vcodecName;
    int vcodecQuality = -1;
    bool vcodecHwaccel = false;
    bool ddagrabInput = false;
    AVFormatContext* outputContext = nullptr; // null: packets are dropped
    int running = 0;
    int started = 0;
    QString outputName;
    unsigned int continueFileId = 0;
    struct
    {
        bool flv = false;
        bool hls = false;
        bool dash = false;
        bool mp4 = false;
    } outputFormat;
    bool firstPacketWritten = false;
    qint64 videoEndPts = 0;
    qint64 streamDuration[3] = {0, 0, 0};
    qint64 startTimeMs = 0;
    quint64 videoPackets = 0;
    quint64 audioPackets = 0;
    quint64 otherPackets = 0;
    bool comInitialised = false; // no COM on this platform: stays false

    ffmpegVideoCap* vcap = nullptr;
    ffmpegVideoEnc* venc = nullptr;
    ffmpegAudioMixEnc* amix = nullptr;
    ffmpegAudioCap* acap = nullptr;
    pulseAudioLoopback* asys = nullptr;
    pulseAudioSilence* asil = nullptr;

    QString outputDir;
    VideoParams videoIn{};
    VideoParams videoOut{};
    AudioParams audioIn[2]{};
    AudioParams audioOut{};

public slots:
    void setMute(bool val);
    void setMikeLevel(int val);
    void setSys(bool val);
    void setSysLevel(int val);
    void handleAudioPopup(int devid, QString msg);
    void handleEncodedFrame(void* p_enc_pkt);

signals:
    void recordingStarted(int s);
    void updateLevelDuration(qlonglong d, double level);
    void recordingDone(int s);
    void recordingFailed(int s);
    void recordingAudioFails(int s);
    void AudioPopup(int devid, QString msg);

protected:
    void run() override;

private:
    // Component bits of the end-of-session wait mask.
    enum Component { ACAP = 0x01, ASYS = 0x02, AMIX = 0x04, VCAP = 0x08, VENC = 0x10, ASIL = 0x20 };

    // What one run has learnt about its sources, and why it ended.
    struct RunState
    {
        bool micLost = false;
        bool sysLost = false;
        bool asilDied = false;
        int reason = 2; // 0 video too slow, 1 audio too slow or no data, 2 command or start-up
    };

    // Opening, in the fixed order; false once runExit has ended the run.
    bool openSources();
    void startSystemSound();
    bool openVideoPath();
    int collectAudioInputs();
    void connectWorkers();
    // The run loop: source wait, start report, duration reports, watchdog.
    void recordLoop(int filtersResult);
    bool sourcesGo(int ticks);
    void reportDuration();
    void watchdogCheck(bool firstCheck);
    // Tear-down.
    void stopSources();
    int waitForWorkers();
    template <class Encoder>
    int stopEncoder(Encoder* encoder, unsigned long ms, int bit);
    int waitThread(QThread* thread, unsigned long ms, int bit);
    static const char* componentName(int bit);
    void stopStartedSources();
    void runExit(int ret, int reason);
    void freeUnused();

    // Output: the segmented file and its database rows.
    int open_output_dest(const QString& fileName, unsigned int continueFileId);
    void finishOutput(AVFormatContext* ctx);
    void closeOutputFile(qint64 durationSeconds);
    void releaseOutput();

    RunState runState;
};
