// The tray menu as the controller builds it, on an X server of the test's own
// that has no system tray: its items, icons and actions, the hot key shown on
// "Video Recording" as it changes.
#include "AppController.h"
#include "PrivateDisplayMain.h"
#include "RecordingPort.h"

#include <QAction>
#include <QMenu>
#include <QtTest>

#include <optional>

class TestTrayMenu : public QObject
{
    Q_OBJECT

    std::optional<LogCapture> log; // made once the test library has installed its own handler

private slots:
    void initTestCase() { log.emplace(); }

    // A command-line recording runs without an interface, and without a tray.
    void noTrayWithoutAnInterface()
    {
        RecordingPort port;
        AppController controller;
        controller.setInterfacePort(&port);
        controller.readFromConfig();
        QVERIFY(!controller.trayIcon);
        QVERIFY(!controller.trayMenu);
        QCOMPARE(LogCapture::count("[AC]: tray menu:"), 0);
        QCOMPARE(LogCapture::count("No system tray available"), 0);
    }

    void menuItemsActionsAndShortcut()
    {
        RecordingPort port;
        AppController controller;
        controller.setInterfacePort(&port);
        controller.setInterfaceFactory([](AppController*) -> InterfacePort* { return nullptr; });
        controller.readFromConfig();
        QMenu* menu = controller.trayMenu;
        controller.readFromConfig(); // a second read keeps the one tray
        QVERIFY(menu && controller.trayIcon);
        QCOMPARE(controller.trayMenu, menu);
        QCOMPARE(controller.trayIcon->contextMenu(), menu);
        QVERIFY(!controller.trayIcon->icon().isNull());

        const QList<QAction*> actions = menu->actions();
        QStringList texts;
        for (const QAction* action : actions) {
            texts << action->text();
            QVERIFY2(!action->icon().isNull(), qPrintable(action->text()));
        }
        QCOMPARE(texts,
                 QStringList({"Video Recording", "Image Capture", "Settings", "Check for updates", "Quit Orlune"}));

        // The hot key is shown on the video item and follows each change.
        QCOMPARE(actions[0]->shortcut(), QKeySequence(controller.keySequence));
        QVERIFY(!controller.keySequence.isEmpty());
        controller.setKeySequence("Ctrl+Alt+F7");
        QCOMPARE(actions[0]->shortcut(), QKeySequence("Ctrl+Alt+F7"));
        QVERIFY(LogCapture::lines().last().endsWith("[AC]: tray menu: Video Recording (Ctrl+Alt+F7) | Image Capture | "
                                                    "Settings | Check for updates | Quit Orlune"));
        for (int i = 1; i < actions.size(); ++i)
            QVERIFY(actions[i]->shortcut().isEmpty());

        // Each item reaches the interface: the overlays in the right run state, the settings.
        const struct
        {
            int item;
            QString call;
        } rows[] = {{0, "showScreenDialog(2, 0"}, {1, "showScreenDialog(1, 0"}, {2, "showSettingsSignal()"}};
        for (const auto& row : rows) {
            port.calls.clear();
            actions[row.item]->trigger();
            QVERIFY2(!port.calls.filter(row.call).isEmpty(), qPrintable(texts[row.item] + ": " + port.calls.join(' ')));
        }

        // This display has no tray, and the icon waits (the program's tray test sees it said once, and docked later).
        QVERIFY(!controller.trayIcon->isVisible());
    }
};

ORLUNE_TEST_MAIN_ON_PRIVATE_DISPLAY(TestTrayMenu)

#include "test_tray_menu.moc"
