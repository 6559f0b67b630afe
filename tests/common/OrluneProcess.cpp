#include "OrluneProcess.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

QString orluneBin()
{
    return qEnvironmentVariable("ORLUNE_BIN");
}

QString orluneDataFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/Halvenmoor/orlune";
}

QString orluneConfigFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Halvenmoor/orlune.conf";
}

void storeSignedIn(const ServiceProcess::Account& account, const QVariantMap& more)
{
    QSettings store(orluneConfigFile(), QSettings::NativeFormat);
    store.setValue("login", account.login);
    store.setValue("password", account.token);
    store.setValue("salt", account.salt);
    store.setValue("is_authenticated_user", true);
    store.setValue("auto_upload", true);
    for (auto it = more.begin(); it != more.end(); ++it)
        store.setValue(it.key(), it.value());
    store.sync();
}

QString orluneDatabaseFile()
{
    return orluneDataFolder() + "/orlune.sqlite";
}

QString orluneFilesPath()
{
    return QSettings(orluneConfigFile(), QSettings::NativeFormat).value("files_path").toString();
}

QStringList orluneRecordings()
{
    return QDir(orluneDataFolder() + "/Records").entryList({"*.mp4"}, QDir::Files);
}

QProcessEnvironment orluneEnvironment()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const QString tmp = QDir::homePath() + "/tmp";
    QDir().mkpath(tmp);
    env.insert("TMPDIR", tmp);
    return env;
}

void startOrlune(QProcess& process, const QStringList& args, const QProcessEnvironment& env)
{
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(orluneBin(), args);
}

OrluneRun collectOrlune(QProcess& process, int timeoutMs)
{
    OrluneRun run;
    run.finished = process.waitForFinished(timeoutMs) && process.exitStatus() == QProcess::NormalExit;
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
    run.exitCode = process.exitCode();
    run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

OrluneRun runOrlune(const QStringList& args, int timeoutMs, const QProcessEnvironment& env)
{
    QProcess process;
    startOrlune(process, args, env);
    return collectOrlune(process, timeoutMs);
}

QStringList linesStartingWith(const QString& text, const QString& prefix)
{
    QStringList found;
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        if (line.startsWith(prefix))
            found << line;
    return found;
}

QString printedFile(const QString& out)
{
    const QStringList lines = linesStartingWith(out, "file: ");
    return lines.size() == 1 ? lines.first().mid(6).trimmed() : QString();
}

QStringList logNames()
{
    return QDir(orluneDataFolder()).entryList({"LOG_*.log"}, QDir::Files, QDir::Name);
}

QString readLog(const QString& name)
{
    QFile f(orluneDataFolder() + QLatin1Char('/') + name);
    return f.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(f.readAll()) : QString();
}

QString newestLog()
{
    const QStringList logs = logNames();
    return logs.isEmpty() ? QString() : readLog(logs.last());
}

QString newLogSince(const QStringList& before)
{
    for (const QString& name : logNames())
        if (!before.contains(name))
            return name;
    return QString();
}
