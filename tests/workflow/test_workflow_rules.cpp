// The controller's pure rules: level meters, the processor load smoothing,
// the memory share, the recording name template, the X display name and
// capture inputs, the encoder picked for "auto" and the type QML reads.
#include "AppController.h"
#include "AutoCodecChoice.h"
#include "CaptureInputs.h"
#include "CommonRegistration.h"
#include "PrivateServers.h"
#include "ffmpegVCodecTest.h"

#include <QDateTime>
#include <QMetaEnum>
#include <QtQml>
#include <QtTest>

namespace {
int smoothedFrom(int load, int sample, int times)
{
    for (int i = 0; i < times; ++i)
        load = AppController::smoothCpuLoad(load, sample);
    return load;
}
} // namespace

class TestWorkflowRules : public QObject
{
    Q_OBJECT

private slots:
    void rules_data();
    void rules();
    void captureInputs();
    void autoCodecChoice_data();
    void autoCodecChoice();
    void commonTypeForQml();
};

void TestWorkflowRules::rules_data()
{
    QTest::addColumn<QVariant>("got");
    QTest::addColumn<QVariant>("expected");
    const auto row = [](const char* name, QVariant got, QVariant expected) { QTest::newRow(name) << got << expected; };
    // Levels in percent span -60..0 dB.
    row("level of silence", AppController::rmsToLevel(0.0), 0);
    row("level of a negative mean", AppController::rmsToLevel(-0.5), 0);
    row("level below -60 dB", AppController::rmsToLevel(0.0005), 0);
    row("level -40 dB", AppController::rmsToLevel(0.01), 33);
    row("level -20 dB", AppController::rmsToLevel(0.1), 66);
    row("level -6 dB", AppController::rmsToLevel(0.5), 89);
    row("level full scale", AppController::rmsToLevel(1.0), 100);
    row("level above full scale", AppController::rmsToLevel(2.0), 100);
    // The panel's volume spans -45..0 dB.
    row("volume of silence", AppController::rmsToVolume(0.0), 0.0);
    row("volume -60 dB", AppController::rmsToVolume(0.001), 0.0);
    row("volume -22.5 dB", qRound(AppController::rmsToVolume(std::pow(10.0, -22.5 / 20.0)) * 1e9), 500000000);
    row("volume full scale", AppController::rmsToVolume(1.0), 1.0);
    row("volume above 0 dB", AppController::rmsToVolume(4.0), 1.0);
    // The first sample as it is, then (sample + 3 * previous) / 4 in integers.
    row("load first sample", AppController::smoothCpuLoad(0, 57), 57);
    row("load mean", AppController::smoothCpuLoad(40, 80), 50);
    row("load truncated", AppController::smoothCpuLoad(10, 11), 10);
    row("load falling", AppController::smoothCpuLoad(3, 0), 2);
    row("load steady", smoothedFrom(0, 100, 40), 100);
    row("load settles", smoothedFrom(100, 20, 40) <= 23, true);
    const quint64 gib = 1024ull * 1024 * 1024;
    row("memory of unknown total", AppController::availablePercent(0, 123), 0);
    row("memory share", AppController::availablePercent(8 * gib, 2 * gib), 25);
    row("memory without overflow", AppController::availablePercent(1024 * gib, 1023 * gib), 99);
    const time_t when = QDateTime(QDate(2025, 11, 17), QTime(19, 41, 26)).toSecsSinceEpoch(); // local time
    row("template", AppController::expandTemplate("/data/Records/%d.%m.%Y_%H.%M.%S_REC.mp4", when),
        QByteArray("/data/Records/17.11.2025_19.41.26_REC.mp4"));
    const QByteArray longPath = "/" + QByteArray(3000, 'a') + ".mp4";
    row("long path unchanged", AppController::expandTemplate(longPath, when), longPath);
    row("display default", CaptureInputs::x11Display(""), QByteArray(":0.0"));
    row("display number", CaptureInputs::x11Display(":1"), QByteArray(":1.0"));
    row("display and screen", CaptureInputs::x11Display(":0.1"), QByteArray(":0.1"));
    row("display of a host", CaptureInputs::x11Display("host:2"), QByteArray("host:2.0"));
}

void TestWorkflowRules::rules()
{
    QFETCH(QVariant, got);
    QFETCH(QVariant, expected);
    QCOMPARE(got, expected);
}

void TestWorkflowRules::captureInputs()
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
    const QString hardware = "Selected h264_mf with hardware acceleration";
    QTest::newRow("all") << QList<int>{1, 1, 1, 1} << "h264_mf" << true << hardware;
    QTest::newRow("hardware at 1080p") << QList<int>{2, 0, 0, 1} << "h264_mf" << true << hardware;
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

void TestWorkflowRules::commonTypeForQml()
{
    QCOMPARE(qmlTypeId("Common", 1, 0, "Common"), -1);
    registerCommonType();
    QVERIFY(qmlTypeId("Common", 1, 0, "Common") >= 0);
    // The update button's states are read by name, misspelling included.
    QCOMPARE(QMetaEnum::fromType<InterfacePort::UpdateAppStatus>().keyToValue("NewVersionAvaliable"),
             int(InterfacePort::NewVersionAvaliable));
}

QTEST_GUILESS_MAIN(TestWorkflowRules)
#include "test_workflow_rules.moc"
