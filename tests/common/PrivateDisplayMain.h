#pragma once

// The main function of a test whose application lives on an X server of its
// own (global key grabs, full-screen windows, screens of its own size): the
// server starts before the application object, which then connects to it.

#include "PrivateServers.h"

#include <QApplication>
#include <QtTest>

template <class Test>
int execOnPrivateDisplay(int argc, char** argv)
{
    PrivateXServer xserver;
    if (!xserver.start())
        return 1;
    qputenv("DISPLAY", xserver.display());
    qputenv("QT_QPA_PLATFORM", "xcb");
    QCoreApplication::setOrganizationName("Halvenmoor");
    QCoreApplication::setApplicationName("orlune");
    QApplication app(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

#define ORLUNE_TEST_MAIN_ON_PRIVATE_DISPLAY(Test)                                                                      \
    int main(int argc, char** argv)                                                                                    \
    {                                                                                                                  \
        return execOnPrivateDisplay<Test>(argc, argv);                                                                 \
    }
