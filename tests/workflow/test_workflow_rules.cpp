// The controller's pure rules: meters, load smoothing, memory share, name
// template, X display and inputs, the QML type, the encoder picked for "auto".
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

class TestWorkflowRules : public QObject
{
    Q_OBJECT

private slots:
    void rules_data()
    {
        QTest::addColumn<QVariant>("got");
        QTest::addColumn<QVariant>("expected");
        const auto row = [](const char* name, QVariant got, QVariant expected) {
            QTest::newRow(name) << got << expected;
        };
        // Levels in percent follow the level monitor's rule (its table is in the recorder's tests);
        // the panel's volume spans -45..0 dB.
        row("level -20 dB", AppController::rmsToLevel(0.1), 66);
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
        const auto settled = [](int load, int sample) {
            for (int i = 0; i < 40; ++i)
                load = AppController::smoothCpuLoad(load, sample);
            return load;
        };
        row("load steady", settled(0, 100), 100);
        row("load settles", settled(100, 20) <= 23, true);
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
        qputenv("ORLUNE_VIDEO_INPUT", "lavfi:testsrc2=size=320x240");
        row("video input of the environment", CaptureInputs::videoInput(), QByteArray("lavfi:testsrc2=size=320x240"));
        qunsetenv("ORLUNE_VIDEO_INPUT");
        qputenv("DISPLAY", ":7");
        row("video input of the display", CaptureInputs::videoInput(), QByteArray(":7.0"));
        row("silent input", CaptureInputs::silentAudioInput().startsWith("anullsrc"), true);
        // The type QML reads, once registered; the update button's states are read by name, misspelling included.
        row("Common before registration", qmlTypeId("Common", 1, 0, "Common"), -1);
        registerCommonType();
        row("Common registered", qmlTypeId("Common", 1, 0, "Common") >= 0, true);
        row("update status by name",
            QMetaEnum::fromType<InterfacePort::UpdateAppStatus>().keyToValue("NewVersionAvaliable"),
            int(InterfacePort::NewVersionAvaliable));
    }

    void rules()
    {
        QFETCH(QVariant, got);
        QFETCH(QVariant, expected);
        QCOMPARE(got, expected);
    }

    void autoCodecChoice_data()
    {
        // Per row (hardware h264_mf, h264_mf, libopenh264, libx264): 0 failed, 1 opened at the
        // largest size, 2 at 1080p only. The choice: "name hardware|the line logged" (or software).
        QTest::addColumn<QString>("results");
        QTest::addColumn<QString>("choice");
        const auto row = [](const char* name, QString results, QString choice) {
            QTest::newRow(name) << results << choice;
        };
        const QString hardware = "h264_mf hardware|Selected h264_mf with hardware acceleration";
        row("all", "1111", hardware);
        row("hardware at 1080p", "2001", hardware);
        row("software h264_mf", "0211", "h264_mf software|Selected h264_mf (regular)");
        row("openh264", "0021", "libopenh264 software|Selected libopenh264");
        row("x264", "0002", "libx264 software|Selected libx264 (fallback)");
        row("nothing", "0000", "libx264 software|No tested codec available, using libx264 as absolute fallback");
    }

    void autoCodecChoice()
    {
        QFETCH(QString, results);
        QFETCH(QString, choice);
        ffmpegVCodecTest table;
        for (int i = 0; i < ffmpegVCodecTest::kRowCount; ++i) {
            table.codecs[i].maxres = results[i] == '1';
            table.codecs[i].fallback1080 = results[i] == '2';
        }
        LogCapture log;
        const AutoCodecChoice chosen = AutoCodecChoice::fromTable(table);
        QCOMPARE(QString("%1 %2").arg(chosen.name).arg(chosen.hwaccel ? "hardware" : "software"),
                 choice.section('|', 0, 0));
        QCOMPARE(LogCapture::count(choice.section('|', 1)), 1);
    }
};

QTEST_GUILESS_MAIN(TestWorkflowRules)
#include "test_workflow_rules.moc"
