// Shows one window of the interface in a given state and keeps it there, for
// scripts/screenshots: the scene is the program's own (controllers, QML, masks),
// only the event that would raise the window is replaced by a command line.
//
//   window_showcase popup TYPE TEXT   the bottom pop-up of that Common::MsgType
//   window_showcase question          the yes/no question (the microphone access request)
//
// It prints "shown" once the request is made and runs until it is ended.
#include "AppController.h"
#include "MachineProfile.h"
#include "QmlTypes.h"
#include "SceneBackend.h"
#include "UIController.h"

#include <QApplication>
#include <QTextStream>
#include <QTimer>

int main(int argc, char** argv)
{
    QCoreApplication::setOrganizationName("Halvenmoor");
    QCoreApplication::setApplicationName("orlune");
    chooseSceneBackend();
    QApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    const bool popup = args.size() == 3 && args[0] == "popup";
    if (!popup && args != QStringList{"question"}) {
        QTextStream(stderr) << "usage: window_showcase popup TYPE TEXT | window_showcase question\n";
        return 2;
    }
    registerQmlTypes();
    AppController controller;
    UIController ui(&controller);
    controller.setInterfacePort(&ui);
    ui.setDwmIsCompositionEnabled(isDwmCompositionEnabled());
    ui.loadMainUI();
    auto show = [&] {
        if (popup)
            controller.showPopup(Common::MsgType(args[1].toInt()), args[2]);
        else
            ui.showAudioPermissionDialog();
        QTextStream(stdout) << "shown" << Qt::endl;
    };
    // The pop-up hides itself after five seconds: it is raised again before that.
    QTimer again;
    QObject::connect(&again, &QTimer::timeout, &app, show);
    QTimer::singleShot(500, &app, [&] {
        show();
        if (popup)
            again.start(4000);
    });
    return app.exec();
}
