#include "MachineProfile.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QLibrary>
#include <cstdlib>
#include <mutex>
#include <xcb/xcb.h>

bool memoryStatus(quint64& total, quint64& available)
{
    QFile meminfo("/proc/meminfo");
    if (!meminfo.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    // /proc files report a size of 0: read them to the end rather than by size.
    const QStringList lines = QString::fromLatin1(meminfo.readAll()).split('\n');
    bool haveTotal = false, haveAvailable = false;
    for (const QString& line : lines) {
        const QStringList fields = line.simplified().split(' ');
        if (fields.size() < 2)
            continue;
        // Values are in kB; callers want bytes.
        if (fields[0] == "MemTotal:") {
            total = fields[1].toULongLong() * 1024;
            haveTotal = true;
        } else if (fields[0] == "MemAvailable:") {
            available = fields[1].toULongLong() * 1024;
            haveAvailable = true;
        }
    }
    return haveTotal && haveAvailable;
}

float cpuLoad()
{
    // The first line of /proc/stat sums all processors: user nice system idle iowait irq softirq steal.
    QFile stat("/proc/stat");
    if (!stat.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1.0f;
    const QStringList fields = QString::fromLatin1(stat.readLine()).simplified().split(' ');
    if (fields.size() < 5 || fields[0] != "cpu")
        return -1.0f;
    quint64 busyAndIdle = 0;
    for (int i = 1; i < fields.size() && i <= 8; ++i)
        busyAndIdle += fields[i].toULongLong();
    const quint64 idle = fields[4].toULongLong() + (fields.size() > 5 ? fields[5].toULongLong() : 0);

    // The load is measured between two calls.
    static std::mutex mutex;
    static quint64 previousTotal = 0, previousIdle = 0;
    std::lock_guard<std::mutex> lock(mutex);
    const quint64 totalDelta = busyAndIdle - previousTotal;
    const quint64 idleDelta = idle - previousIdle;
    previousTotal = busyAndIdle;
    previousIdle = idle;
    const float idleShare = totalDelta == 0 ? 0.0f : float(idleDelta) / float(totalDelta);
    return 1.0f - idleShare;
}

// A compositing manager announces itself by owning the _NET_WM_CM_S<screen>
// selection. Without a display there is nothing to shape windows for, so the
// answer is the harmless default "composited".
bool isDwmCompositionEnabled()
{
    int screen = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screen);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return true;
    }
    const QByteArray selection = "_NET_WM_CM_S" + QByteArray::number(screen);
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, uint16_t(selection.size()), selection.constData()), nullptr);
    bool composited = true;
    if (atom) {
        xcb_get_selection_owner_reply_t* owner =
            xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr);
        composited = owner && owner->owner != XCB_NONE;
        free(owner);
        free(atom);
    }
    xcb_disconnect(connection);
    return composited;
}

namespace {
struct OpenH264Version
{
    unsigned int uMajor;
    unsigned int uMinor;
    unsigned int uRevision;
    unsigned int uReserved;
};
using VersionExFunction = void (*)(OpenH264Version*);
using VersionFunction = quint32 (*)();
} // namespace

bool checkForOpenH264Version(QString& version)
{
    const QString file = QCoreApplication::applicationDirPath() + "/libopenh264.so";
    qDebug() << "[UTILS]:"
             << "Checking for OpenH264 DLL:" << file;
    if (!QFile::exists(file)) {
        qDebug() << "[UTILS]:"
                 << "OpenH264 library not found:" << file;
        return false;
    }
    QLibrary library(file);
    if (!library.load()) {
        qWarning() << "[UTILS]:"
                   << "Failed to load libopenh264.so, error code:" << library.errorString();
        return false;
    }
    auto versionEx = reinterpret_cast<VersionExFunction>(library.resolve("WelsGetCodecVersionEx"));
    auto versionBasic = reinterpret_cast<VersionFunction>(library.resolve("WelsGetCodecVersion"));
    if (!versionEx && !versionBasic) {
        qWarning() << "[UTILS]:"
                   << "Failed to get WELS version functions from DLL";
        library.unload();
        return false;
    }
    QString found;
    if (versionEx) {
        OpenH264Version numbers = {};
        versionEx(&numbers);
        found = QString("%1.%2.%3").arg(numbers.uMajor).arg(numbers.uMinor).arg(numbers.uRevision);
        qDebug() << "[UTILS]:"
                 << "Found OpenH264 version (Extended API):" << found;
    } else {
        // The basic call packs major, minor and revision into bytes 3, 2 and 1.
        const quint32 packed = versionBasic();
        found = QString("%1.%2.%3").arg((packed >> 24) & 0xff).arg((packed >> 16) & 0xff).arg((packed >> 8) & 0xff);
        qDebug() << "[UTILS]:"
                 << "Found OpenH264 version (Basic API):" << found;
    }
    library.unload();
    version = found;
    return true;
}
