#include "FvUpdater.h"

#include "ISettingsReader.h"
#include "ISettingsWriter.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QProcess>

FvUpdater* FvUpdater::m_Instance = nullptr;
QMutex FvUpdater::m_initMutex;

void FvUpdater::init(ISettingsReader* reader, ISettingsWriter* writer)
{
    QMutexLocker locker(&m_initMutex);
    if (!reader || !writer)
        qFatal("FvUpdater::init requires valid ISettingsReader and ISettingsWriter pointers.");
    if (m_Instance) {
        qWarning() << "[FvUpdater] Already initialized.";
        return;
    }
    m_Instance = new FvUpdater(reader, writer);
    qDebug() << "[FvUpdater] Initialized successfully.";
    // Files moved aside by the last update are no longer in use once this
    // copy runs.
    m_Instance->cleanUpOldVersionFiles();
}

FvUpdater* FvUpdater::sharedUpdater()
{
    QMutexLocker locker(&m_initMutex);
    if (!m_Instance)
        qCritical() << "FvUpdater is not initialized! Call FvUpdater::init";
    return m_Instance;
}

FvUpdater::FvUpdater(ISettingsReader* reader, ISettingsWriter* writer)
    : QObject(nullptr)
    , m_reader(reader)
    , m_writer(writer)
    , m_updateFolder(QCoreApplication::applicationDirPath() + QLatin1Char('/'))
{
}

void FvUpdater::setFeedURL(const QUrl& feedURL)
{
    m_feedURL = feedURL;
}

void FvUpdater::setFeedURL(const QString& feedURL)
{
    setFeedURL(QUrl(feedURL));
}

QUrl FvUpdater::getFeedURL() const
{
    return m_feedURL;
}

void FvUpdater::setSkipVersionAllowed(bool allowed)
{
    m_skipVersionAllowed = allowed;
}

void FvUpdater::setRemindLaterAllowed(bool allowed)
{
    m_remindLaterAllowed = allowed;
}

void FvUpdater::setInstallAtOnce(bool atOnce)
{
    m_installAtOnce = atOnce;
}

bool FvUpdater::installAtOnce() const
{
    return m_installAtOnce;
}

QString FvUpdater::updateFolder() const
{
    return m_updateFolder;
}

QString FvUpdater::updateFilePath() const
{
    return m_updateFolder + m_updateFileName;
}

int FvUpdater::cleanUpOldVersionFiles()
{
    int removed = 0;
    QDirIterator it(m_updateFolder, QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString suffix = it.fileInfo().suffix();
        if (suffix != QLatin1String("oldversion") && suffix != QLatin1String("oldversion2"))
            continue;
        if (QFile::remove(path))
            ++removed;
        else
            qWarning() << "[FW]: Error: Unable to clean up file: " << path;
    }
    return removed;
}

bool FvUpdater::CheckForUpdates(bool silentAsMuchAsItCouldGet)
{
    m_silentAsMuchAsItCouldGet = silentAsMuchAsItCouldGet;
    qDebug() << "[FW]:"
             << "CheckForUpdates"
             << "silent:" << silentAsMuchAsItCouldGet << "feed:" << m_feedURL.toString();
    // No feed request is made by this build yet.
    return false;
}

bool FvUpdater::CheckForUpdatesSilent()
{
    return CheckForUpdates(true);
}

bool FvUpdater::CheckForUpdatesNotSilent()
{
    return CheckForUpdates(false);
}

void FvUpdater::removeDownloadedUpdate()
{
    QFile::remove(updateFilePath());
    QFile::remove(updateFilePath() + QLatin1String(".metadata"));
}

void FvUpdater::InstallUpdateFromDownloadedFile(bool from_metadata)
{
    emit UIElementLock(3);
    if (m_updateRunning) {
        qDebug() << "[FW]:"
                 << " update is running from another thread. Reject installation for now!";
        return;
    }
    if (!from_metadata)
        return;

    const QString metaPath = updateFilePath() + QLatin1String(".metadata");
    QFile meta(metaPath);
    if (!meta.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qDebug() << "[FW]:"
                 << "error opening file: " << metaPath;
        return;
    }
    const QStringList fields = QString::fromUtf8(meta.readLine()).trimmed().split(QLatin1Char(';'));
    meta.close();
    if (fields.size() < 3) {
        removeDownloadedUpdate();
        return;
    }
    // The package is verified again before it is unpacked; until that step
    // exists here the package stays where it is for the next start.
    qDebug() << "[FW]: installUpdate: " << updateFilePath() << "version:" << fields.at(0) << "left in place";
}

void FvUpdater::restartApplication()
{
    const QStringList args = QCoreApplication::arguments().mid(1);
    const QString currPath = QDir::currentPath();
    qDebug() << "[FW]: start new instance..."
             << "args:" << args << "curr path: " << currPath;
    qputenv("KVD_ORLUNE_DELAYED", "1");
    if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), args, currPath))
        qWarning() << "[FW]: start new instance failed:" << QCoreApplication::applicationFilePath();
    qDebug() << "[FW]: Quit scheduled";
    emit appQuit();
}
