#include "MachineProfile.h"

#include "Recording4KCheck.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"

#include <QDebug>
#include <QGuiApplication>
#include <QMutex>
#include <QMutexLocker>
#include <QScreen>
#include <QSettings>
#include <QThread>
#include <QUuid>

bool decide4KSuitable(const Recording4KInputs& in, QString& reason)
{
    if (in.recording4kFails) {
        reason = "This PC is not fast enought to record in 4K.";
        return false;
    }
    // Both sides must be under the 4K-ish bounds to refuse: one big side is enough.
    if (in.desktop.width() < 1921 && in.desktop.height() < 1201) {
        reason = "This Display is smaller than 4K.";
        return false;
    }
    bool ok = in.idealThreadCount >= 4;
    if (!ok)
        reason = "CPU is not fast enought to record in 4K.";
    if (in.availableMemory < 0x100000 || in.totalMemory < 0x200000) {
        ok = false;
        reason = "Not enought RAM to use 4K recording.";
    }
    bool cpuAccepted = true;
    if (in.cpuVendor == "GenuineIntel")
        cpuAccepted = in.cpuFamily == 6 && in.cpuModel >= 42;
    else if (in.cpuVendor == "AuthenticAMD")
        cpuAccepted = in.cpuFamily >= 21;
    if (!cpuAccepted) {
        ok = false;
        reason = QString("CPU is too old or unknown for 4K recording, type: ") + in.cpuVendor
                 + ", family: " + QString("0x%1").arg(in.cpuFamily, 2, 16, QChar('0'))
                 + ", model: " + QString("0x%1").arg(in.cpuModel, 2, 16, QChar('0'));
    }
    return ok;
}

bool is4KSuitable(QString& reason)
{
    Recording4KInputs in;
    in.recording4kFails = SettingsManager::instance()->readSettingBool(SettingsKey::recording_4k_fails);
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) && QGuiApplication::primaryScreen())
        in.desktop = QGuiApplication::primaryScreen()->virtualGeometry().size();
    in.idealThreadCount = QThread::idealThreadCount();
    memoryStatus(in.totalMemory, in.availableMemory);
    char vendor[13];
    cpuVendor(vendor);
    in.cpuVendor = QString::fromLatin1(vendor);
    in.cpuFamily = cpuFamily();
    in.cpuModel = cpuModel();
    return decide4KSuitable(in, reason);
}

namespace {

// A machine id is a braced QUuid text: "{" first, dashes at 9, 14, 19 and 24.
bool isValidMachineId(const QString& id)
{
    return id.size() > 24 && id.at(0) == '{' && id.at(9) == '-' && id.at(14) == '-' && id.at(19) == '-'
           && id.at(24) == '-';
}

} // namespace

QString machineId()
{
    static QMutex mutex;
    static QString cached;
    QMutexLocker lock(&mutex);
    if (!cached.isEmpty())
        return cached;
    // hwid has no member in the settings manager: it is read and written in the store directly.
    QSettings store(QSettings::NativeFormat, QSettings::UserScope, "Halvenmoor", "orlune");
    QString id = store.value("hwid").toString();
    if (!isValidMachineId(id)) {
        id = QUuid::createUuid().toString();
        qDebug() << "[HM]: Creating new HWID:" << id;
        store.setValue("hwid", id);
        store.sync();
    }
    cached = id;
    return cached;
}
