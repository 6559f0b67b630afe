#include "DeviceLists.h"

#include <QCameraDevice>
#include <QDebug>
#include <QMediaDevices>

namespace DeviceLists {

bool usableInName(const QString& name)
{
    // The virtual microphone of a streaming program would record this program's own output.
    return !name.isEmpty() && !name.startsWith(QLatin1String("OBS-Audio"), Qt::CaseInsensitive);
}

bool usableOutName(const QString& name)
{
    // Aliases of the default device that some systems list beside the real ones.
    static const char* const aliases[] = {"Default DirectSound Device", "Default WaveOut Device", "DirectSound: "};
    if (name.isEmpty())
        return false;
    for (const char* alias : aliases) {
        if (name.startsWith(QLatin1String(alias), Qt::CaseInsensitive))
            return false;
    }
    return true;
}

int listInCameraDevices(QStringList& names)
{
    qDebug() << "[AC]:"
             << "listInCameraDevices";
    const QList<QCameraDevice> cameras = QMediaDevices::videoInputs();
    for (const QCameraDevice& camera : cameras) {
        qDebug().noquote() << QStringLiteral("cameraDevice: %1, description: %2")
                                  .arg(QString::fromUtf8(camera.id()), camera.description());
        names << camera.description();
    }
    return int(cameras.size());
}

} // namespace DeviceLists
