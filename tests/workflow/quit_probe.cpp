// A program that quits through the controller, for the shutdown guard test.
//   quit_probe loop     quit, then run the event loop: it ends normally with 0
//   quit_probe blocked  quit, then keep the main thread busy: the guard ends the process with 1
#include "AppController.h"

#include <QApplication>
#include <QDebug>

#include <chrono>
#include <cstring>
#include <thread>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName("Halvenmoor");
    QCoreApplication::setApplicationName("orlune");
    const bool blocked = argc > 1 && std::strcmp(argv[1], "blocked") == 0;
    int status = 0;
    {
        AppController controller;
        controller.quit();
        if (blocked)
            std::this_thread::sleep_for(std::chrono::seconds(5)); // a stuck main thread
        else
            status = app.exec();
    }
    qDebug() << "probe: left the event loop";
    return status;
}
