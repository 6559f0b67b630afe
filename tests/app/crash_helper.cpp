// Dies the way the test asks, with crash reporting open:
//   app_crash_helper segv|abort <events folder>
//   app_crash_helper fatal <events folder> <log folder>
#include "CrashReport.h"
#include "Logging.h"

#include <QCoreApplication>
#include <QVariantMap>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: %s segv|abort|fatal <events folder> [log folder]\n", argv[0]);
        return 2;
    }
    QCoreApplication app(argc, argv);
    CrashReport::init(QString::fromLocal8Bit(argv[2]), "orlune@test", QString());
    CrashReport::setUser({{"id", "user-1"}, {"username", "ann \"the tester\""}, {"machine_id", "{m}"}});

    if (strcmp(argv[1], "segv") == 0) {
        volatile int* nowhere = nullptr;
        *nowhere = 1;
    } else if (strcmp(argv[1], "abort") == 0)
        abort();
    else if (strcmp(argv[1], "fatal") == 0 && argc > 3) {
        Logging::openLogFile(QString::fromLocal8Bit(argv[3]), "LOG_fatal.log");
        qFatal("[T]: the end");
    }
    return 3;
}
