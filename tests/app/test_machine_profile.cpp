// Machine facts: the 4K decision, processor and memory against /proc, the
// machine id, desktop composition on a real X server, the codec addon's version.
#include "FakeCompositor.h"
#include "MachineProfile.h"
#include "Recording4KCheck.h"
#include "SettingsManager.h"

#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QtTest>
#include <functional>

Q_DECLARE_METATYPE(Recording4KInputs)

namespace {

Recording4KInputs capableMachine()
{
    Recording4KInputs in;
    in.desktop = QSize(3840, 2160);
    in.idealThreadCount = 8;
    in.totalMemory = 16ull << 30;
    in.availableMemory = 8ull << 30;
    in.cpuVendor = "GenuineIntel";
    in.cpuFamily = 6;
    in.cpuModel = 42;
    return in;
}

QString cpuInfoField(const QString& name)
{
    QFile file("/proc/cpuinfo");
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    const QRegularExpression line("^" + QRegularExpression::escape(name) + "\\s*:\\s*(.*)$",
                                  QRegularExpression::MultilineOption);
    return line.match(QString::fromLatin1(file.readAll())).captured(1).trimmed();
}

} // namespace

class TestMachineProfile : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName("Halvenmoor");
        QCoreApplication::setApplicationName("orlune");
    }

    // Each row changes a capable machine; no reason means suitable.
    void decision4K_data()
    {
        QTest::addColumn<Recording4KInputs>("inputs");
        QTest::addColumn<QString>("reason");
        const QString slow = "This PC is not fast enought to record in 4K.";
        const QString memory = "Not enought RAM to use 4K recording.";
        const QString old = "CPU is too old or unknown for 4K recording, type: ";
        const auto add = [](const char* name, const QString& reason,
                            const std::function<void(Recording4KInputs&)>& change) {
            Recording4KInputs in = capableMachine();
            change(in);
            QTest::newRow(name) << in << reason;
        };
        add("capable", {}, [](auto&) {});
        add("failed before beats all", slow,
            [](auto& in) { in.recording4kFails = true, in.desktop = QSize(800, 600), in.idealThreadCount = 1; });
        add("1920x1200", "This Display is smaller than 4K.", [](auto& in) { in.desktop = QSize(1920, 1200); });
        add("1921 wide", {}, [](auto& in) { in.desktop = QSize(1921, 1080); });
        add("1201 high", {}, [](auto& in) { in.desktop = QSize(1280, 1201); });
        add("3 threads", "CPU is not fast enought to record in 4K.", [](auto& in) { in.idealThreadCount = 3; });
        add("little free memory", memory, [](auto& in) { in.availableMemory = 0xFFFFF; });
        add("little memory", memory, [](auto& in) { in.totalMemory = 0x1FFFFF; });
        add("Intel model 41", old + "GenuineIntel, family: 0x06, model: 0x29", [](auto& in) { in.cpuModel = 41; });
        add("Intel model 0x9e", {}, [](auto& in) { in.cpuModel = 0x9e; });
        add("Intel family 15", old + "GenuineIntel, family: 0x0f, model: 0x9e",
            [](auto& in) { in.cpuFamily = 15, in.cpuModel = 0x9e; });
        add("AMD family 20", old + "AuthenticAMD, family: 0x14, model: 0x01",
            [](auto& in) { in.cpuVendor = "AuthenticAMD", in.cpuFamily = 20, in.cpuModel = 1; });
        add("AMD family 21", {}, [](auto& in) { in.cpuVendor = "AuthenticAMD", in.cpuFamily = 21; });
        add("other vendor", {}, [](auto& in) { in.cpuVendor = "HygonGenuine", in.cpuFamily = 1; });
        add("last refusal names the reason", old + "GenuineIntel, family: 0x06, model: 0x1e",
            [](auto& in) { in.idealThreadCount = 2, in.cpuModel = 30; });
    }

    void decision4K()
    {
        QFETCH(Recording4KInputs, inputs);
        QFETCH(QString, reason);
        QString given;
        QCOMPARE(decide4KSuitable(inputs, given), reason.isEmpty());
        QCOMPARE(given, reason);
    }

    // The decision's inputs read from this machine, and the decision on it.
    void readsThisMachine()
    {
        char vendor[13];
        cpuVendor(vendor);
        QCOMPARE(QString::fromLatin1(vendor), cpuInfoField("vendor_id"));
        QCOMPARE(QString::number(cpuFamily()), cpuInfoField("cpu family"));
        QCOMPARE(QString::number(cpuModel()), cpuInfoField("model"));

        quint64 total = 0, available = 0;
        QVERIFY(memoryStatus(total, available) && total > 0x200000 && available > 0 && available <= total);
        cpuLoad();
        QElapsedTimer busy;
        busy.start();
        volatile quint64 spin = 0;
        while (busy.elapsed() < 300)
            ++spin;
        const float load = cpuLoad();
        QVERIFY2(load > 0.0f && load <= 1.0f, qPrintable(QString::number(load)));

        QString reason;
        QVERIFY2(!is4KSuitable(reason), "the test display is smaller than 4K");
        QCOMPARE(reason, QString("This Display is smaller than 4K."));
        SettingsManager::instance()->writeSetting("recording_4k_fails", true);
        QVERIFY(!is4KSuitable(reason));
        QCOMPARE(reason, QString("This PC is not fast enought to record in 4K."));
        SettingsManager::instance()->writeSetting("recording_4k_fails", false);
    }

    void malformedMachineIdIsReplaced()
    {
        QSettings store(QSettings::NativeFormat, QSettings::UserScope, "Halvenmoor", "orlune");
        store.setValue("hwid", "{12345678_1234-1234-1234-123456789012}");
        store.sync();

        QTest::ignoreMessage(QtDebugMsg, QRegularExpression("^\\[HM\\]: Creating new HWID: \"\\{.*\\}\"$"));
        const QString id = machineId();
        QVERIFY(QRegularExpression("^\\{[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\}$")
                    .match(id)
                    .hasMatch());
        QSettings file(store.fileName(), QSettings::IniFormat);
        QCOMPARE(file.value("hwid").toString(), id);
        QCOMPARE(machineId(), id);
    }

    void compositionFollowsTheSelectionOwner()
    {
        QVERIFY2(!qEnvironmentVariableIsEmpty("DISPLAY"), "needs an X server");
        QVERIFY2(!isDwmCompositionEnabled(), "the test X server runs no compositing manager");
        {
            FakeCompositor compositor;
            compositor.own(true);
            QVERIFY(isDwmCompositionEnabled());
        }
        QVERIFY(!isDwmCompositionEnabled());

        const QByteArray display = qgetenv("DISPLAY");
        qunsetenv("DISPLAY");
        const bool withoutDisplay = isDwmCompositionEnabled();
        qputenv("DISPLAY", display);
        QVERIFY(withoutDisplay);
    }

    void openH264VersionFromTheAddon()
    {
        QString version;
        QVERIFY(checkForOpenH264Version(version));
        QCOMPARE(version, QString("2.3.1"));
    }
};

QTEST_MAIN(TestMachineProfile)
#include "test_machine_profile.moc"
