// The controller's pure rules: level meters, the processor load smoothing,
// the memory share, the recording name template, the X display name, the
// encoder picked for "auto" and the enumerations QML reads.
#include "AppController.h"
#include "AutoCodecChoice.h"
#include "CaptureInputs.h"
#include "CommonRegistration.h"
#include "PrivateServers.h"
#include "ffmpegVCodecTest.h"

#include <QMetaEnum>
#include <QtQml>
#include <QtTest>

#include <ctime>

class TestWorkflowRules : public QObject
{
    Q_OBJECT

private slots:
    void rmsToLevel_data();
    void rmsToLevel();
    void rmsToVolumeSpansMinus45To0Db();
    void cpuLoadSmoothing();
    void availablePercentWithoutOverflow();
    void templateExpandsToDayMonthYearTime();
    void x11DisplayName();
    void videoInputOverride();
    void autoCodecChoice_data();
    void autoCodecChoice();
    void enumerationsForQml();
};

void TestWorkflowRules::rmsToLevel_data()
{
    QTest::addColumn<double>("rms");
    QTest::addColumn<int>("level");
    QTest::newRow("silence") << 0.0 << 0;
    QTest::newRow("negative") << -0.5 << 0;
    QTest::newRow("at the floor 1e-6") << 0.000001 << 0;
    QTest::newRow("-60 dB") << 0.001 << 0;
    QTest::newRow("below -60 dB") << 0.0005 << 0;
    QTest::newRow("-40 dB") << 0.01 << 33;
    QTest::newRow("-20 dB") << 0.1 << 66;
    QTest::newRow("-6 dB") << 0.5 << 89;
    QTest::newRow("full scale") << 1.0 << 100;
    QTest::newRow("above full scale") << 2.0 << 100;
}

void TestWorkflowRules::rmsToLevel()
{
    QFETCH(double, rms);
    QFETCH(int, level);
    QCOMPARE(AppController::rmsToLevel(rms), level);
}

void TestWorkflowRules::rmsToVolumeSpansMinus45To0Db()
{
    QCOMPARE(AppController::rmsToVolume(0.0), 0.0);   // floored at 1e-7, far below -45 dB
    QCOMPARE(AppController::rmsToVolume(0.001), 0.0); // -60 dB
    QCOMPARE(AppController::rmsToVolume(1.0), 1.0);
    QCOMPARE(AppController::rmsToVolume(4.0), 1.0); // above 0 dB stays at the top
    const double half = AppController::rmsToVolume(std::pow(10.0, -22.5 / 20.0));
    QVERIFY(qAbs(half - 0.5) < 1e-9);
}

void TestWorkflowRules::cpuLoadSmoothing()
{
    QCOMPARE(AppController::smoothCpuLoad(0, 57), 57);  // first sample taken as it is
    QCOMPARE(AppController::smoothCpuLoad(40, 80), 50); // (80 + 3*40) / 4
    QCOMPARE(AppController::smoothCpuLoad(10, 11), 10); // integer arithmetic truncates
    QCOMPARE(AppController::smoothCpuLoad(3, 0), 2);
    int load = 0;
    for (int i = 0; i < 40; ++i)
        load = AppController::smoothCpuLoad(load, 100);
    QCOMPARE(load, 100); // a steady load is reached and held
    for (int i = 0; i < 40; ++i)
        load = AppController::smoothCpuLoad(load, 20);
    QVERIFY(load >= 20 && load <= 23);
}

void TestWorkflowRules::availablePercentWithoutOverflow()
{
    QCOMPARE(AppController::availablePercent(0, 123), qint64(0));
    const quint64 gib = 1024ull * 1024 * 1024;
    QCOMPARE(AppController::availablePercent(8 * gib, 2 * gib), qint64(25));
    QCOMPARE(AppController::availablePercent(1024 * gib, 1023 * gib), qint64(99));
}

void TestWorkflowRules::templateExpandsToDayMonthYearTime()
{
    struct tm local = {};
    local.tm_year = 2025 - 1900;
    local.tm_mon = 10;
    local.tm_mday = 17;
    local.tm_hour = 19;
    local.tm_min = 41;
    local.tm_sec = 26;
    local.tm_isdst = -1;
    const time_t when = mktime(&local);
    QCOMPARE(AppController::expandTemplate("/data/Records/%d.%m.%Y_%H.%M.%S_REC.mp4", when),
             QByteArray("/data/Records/17.11.2025_19.41.26_REC.mp4"));
    // A path without conversions comes back unchanged, also a long one.
    const QByteArray longPath = "/" + QByteArray(3000, 'a') + ".mp4";
    QCOMPARE(AppController::expandTemplate(longPath, when), longPath);
}

void TestWorkflowRules::x11DisplayName()
{
    QCOMPARE(CaptureInputs::x11Display(""), QByteArray(":0.0"));
    QCOMPARE(CaptureInputs::x11Display(":1"), QByteArray(":1.0"));
    QCOMPARE(CaptureInputs::x11Display(":0.1"), QByteArray(":0.1"));
    QCOMPARE(CaptureInputs::x11Display("host:2"), QByteArray("host:2.0"));
}

void TestWorkflowRules::videoInputOverride()
{
    qputenv("ORLUNE_VIDEO_INPUT", "lavfi:testsrc2=size=320x240");
    QCOMPARE(CaptureInputs::videoInput(), QByteArray("lavfi:testsrc2=size=320x240"));
    qunsetenv("ORLUNE_VIDEO_INPUT");
    qputenv("DISPLAY", ":7");
    QCOMPARE(CaptureInputs::videoInput(), QByteArray(":7.0"));
    QVERIFY(CaptureInputs::silentAudioInput().startsWith("anullsrc"));
}

void TestWorkflowRules::autoCodecChoice_data()
{
    // Per row of the table (hardware h264_mf, h264_mf, libopenh264, libx264):
    // 0 failed, 1 opened at the largest size, 2 opened at 1080p only.
    QTest::addColumn<QList<int>>("results");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("hwaccel");
    QTest::addColumn<QString>("logged");
    QTest::newRow("all") << QList<int>{1, 1, 1, 1} << "h264_mf" << true
                         << "Selected h264_mf with hardware acceleration";
    QTest::newRow("hardware at 1080p") << QList<int>{2, 0, 0, 1} << "h264_mf" << true
                                       << "Selected h264_mf with hardware acceleration";
    QTest::newRow("software h264_mf") << QList<int>{0, 2, 1, 1} << "h264_mf" << false << "Selected h264_mf (regular)";
    QTest::newRow("openh264") << QList<int>{0, 0, 2, 1} << "libopenh264" << false << "Selected libopenh264";
    QTest::newRow("x264") << QList<int>{0, 0, 0, 2} << "libx264" << false << "Selected libx264 (fallback)";
    QTest::newRow("nothing") << QList<int>{0, 0, 0, 0} << "libx264" << false
                             << "No tested codec available, using libx264 as absolute fallback";
}

void TestWorkflowRules::autoCodecChoice()
{
    QFETCH(QList<int>, results);
    QFETCH(QString, name);
    QFETCH(bool, hwaccel);
    QFETCH(QString, logged);
    ffmpegVCodecTest table;
    for (int i = 0; i < ffmpegVCodecTest::kRowCount; ++i) {
        table.codecs[i].maxres = results[i] == 1;
        table.codecs[i].fallback1080 = results[i] == 2;
    }
    LogCapture log;
    LogCapture::clear();
    const AutoCodecChoice choice = AutoCodecChoice::fromTable(table);
    QCOMPARE(choice.name, name);
    QCOMPARE(choice.hwaccel, hwaccel);
    QCOMPARE(LogCapture::count(logged), 1);
}

void TestWorkflowRules::enumerationsForQml()
{
    QCOMPARE(qmlTypeId("Common", 1, 0, "Common"), -1);
    registerCommonType();
    QVERIFY(qmlTypeId("Common", 1, 0, "Common") >= 0);
    // What QML reads through the module is the namespace's meta-object.
    const QMetaObject& common = Common::staticMetaObject;
    const QMetaEnum msg = common.enumerator(common.indexOfEnumerator("MsgType"));
    QCOMPARE(msg.keyToValue("MsgStorageWithOpenLocation"), 10);
    QCOMPARE(msg.keyToValue("MsgInfo"), 2);
    const QMetaEnum state = common.enumerator(common.indexOfEnumerator("VideoRecordingState"));
    QCOMPARE(state.keyToValue("Busy"), 2);
    // The update button's states, misspelling included.
    const QMetaEnum update = QMetaEnum::fromType<InterfacePort::UpdateAppStatus>();
    QCOMPARE(update.keyCount(), 9);
    QCOMPARE(update.keyToValue("UpdateAborted3"), 1);
    QCOMPARE(update.keyToValue("NewVersionAvaliable"), 8);
}

QTEST_GUILESS_MAIN(TestWorkflowRules)
#include "test_workflow_rules.moc"
