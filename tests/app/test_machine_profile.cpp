// Machine facts: the 4K decision, processor and memory figures checked against
// /proc, the machine id in the store, desktop composition on a real X server,
// and the version query of the codec addon.
#include "MachineProfile.h"
#include "Recording4KCheck.h"
#include "SettingsManager.h"

#include <QFile>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>
#include <xcb/xcb.h>

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

// Owns a selection on the X server for as long as it lives.
class SelectionOwner
{
public:
    explicit SelectionOwner(const QByteArray& selection)
    {
        connection = xcb_connect(nullptr, nullptr);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        window = xcb_generate_id(connection);
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, uint16_t(selection.size()), selection.constData()), nullptr);
        xcb_set_selection_owner(connection, window, atom->atom, XCB_CURRENT_TIME);
        free(atom);
        free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr)); // round trip
    }
    ~SelectionOwner() { xcb_disconnect(connection); }

private:
    xcb_connection_t* connection;
    xcb_window_t window;
};

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

    void decision4K_data()
    {
        QTest::addColumn<Recording4KInputs>("inputs");
        QTest::addColumn<bool>("suitable");
        QTest::addColumn<QString>("reason");

        const QString tooOld = "CPU is too old or unknown for 4K recording, type: ";
        Recording4KInputs in = capableMachine();
        QTest::newRow("capable") << in << true << "";

        in = capableMachine();
        in.recording4kFails = true;
        QTest::newRow("failed before") << in << false << "This PC is not fast enought to record in 4K.";
        in.desktop = QSize(800, 600);
        in.idealThreadCount = 1;
        QTest::newRow("failed before beats all") << in << false << "This PC is not fast enought to record in 4K.";

        in = capableMachine();
        in.desktop = QSize(1920, 1200);
        QTest::newRow("1920x1200") << in << false << "This Display is smaller than 4K.";
        in.desktop = QSize(1921, 1080);
        QTest::newRow("1921 wide") << in << true << "";
        in.desktop = QSize(1280, 1201);
        QTest::newRow("1201 high") << in << true << "";

        in = capableMachine();
        in.idealThreadCount = 3;
        QTest::newRow("3 threads") << in << false << "CPU is not fast enought to record in 4K.";
        in = capableMachine();
        in.availableMemory = 0xFFFFF;
        QTest::newRow("little free memory") << in << false << "Not enought RAM to use 4K recording.";
        in = capableMachine();
        in.totalMemory = 0x1FFFFF;
        QTest::newRow("little memory") << in << false << "Not enought RAM to use 4K recording.";

        in = capableMachine();
        in.cpuModel = 41;
        QTest::newRow("Intel model 41") << in << false << tooOld + "GenuineIntel, family: 0x06, model: 0x29";
        in.cpuModel = 0x9e;
        QTest::newRow("Intel model 0x9e") << in << true << "";
        in.cpuFamily = 15;
        QTest::newRow("Intel family 15") << in << false << tooOld + "GenuineIntel, family: 0x0f, model: 0x9e";
        in = capableMachine();
        in.cpuVendor = "AuthenticAMD";
        in.cpuFamily = 20;
        in.cpuModel = 1;
        QTest::newRow("AMD family 20") << in << false << tooOld + "AuthenticAMD, family: 0x14, model: 0x01";
        in.cpuFamily = 21;
        QTest::newRow("AMD family 21") << in << true << "";
        in.cpuVendor = "HygonGenuine";
        in.cpuFamily = 1;
        QTest::newRow("other vendor") << in << true << "";

        in = capableMachine();
        in.idealThreadCount = 2;
        in.cpuModel = 30;
        QTest::newRow("last refusal names the reason")
            << in << false << tooOld + "GenuineIntel, family: 0x06, model: 0x1e";
    }

    void decision4K()
    {
        QFETCH(Recording4KInputs, inputs);
        QFETCH(bool, suitable);
        QFETCH(QString, reason);
        QString given;
        QCOMPARE(decide4KSuitable(inputs, given), suitable);
        QCOMPARE(given, reason);
    }

    void is4KSuitableLooksAtThisMachine()
    {
        QString reason;
        const QSize desktop = QGuiApplication::primaryScreen()->virtualGeometry().size();
        const bool suitable = is4KSuitable(reason);
        if (desktop.width() < 1921 && desktop.height() < 1201) {
            QVERIFY(!suitable);
            QCOMPARE(reason, QString("This Display is smaller than 4K."));
        }
        SettingsManager::instance()->writeSetting("recording_4k_fails", true);
        QVERIFY(!is4KSuitable(reason));
        QCOMPARE(reason, QString("This PC is not fast enought to record in 4K."));
        SettingsManager::instance()->writeSetting("recording_4k_fails", false);
    }

    void processorMatchesProcCpuinfo()
    {
        char vendor[13];
        cpuVendor(vendor);
        QCOMPARE(QString::fromLatin1(vendor), cpuInfoField("vendor_id"));
        QCOMPARE(QString::number(cpuFamily()), cpuInfoField("cpu family"));
        QCOMPARE(QString::number(cpuModel()), cpuInfoField("model"));
    }

    void memoryAndLoadAreSane()
    {
        quint64 total = 0, available = 0;
        QVERIFY(memoryStatus(total, available));
        QVERIFY(total > 0x200000);
        QVERIFY(available > 0 && available <= total);

        cpuLoad();
        QElapsedTimer busy;
        busy.start();
        volatile quint64 spin = 0;
        while (busy.elapsed() < 300)
            ++spin;
        const float load = cpuLoad();
        QVERIFY2(load > 0.0f && load <= 1.0f, qPrintable(QString::number(load)));
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
            SelectionOwner compositor("_NET_WM_CM_S0");
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
