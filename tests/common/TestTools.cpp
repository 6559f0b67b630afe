#include "TestTools.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>

QString runTool(const QString& program, const QStringList& args)
{
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return QString();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString sqliteTool(const QString& databasePath, const QString& sql)
{
    QProcess tool;
    tool.start("sqlite3", {"-batch", databasePath, sql});
    if (!tool.waitForFinished(20000) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0)
        qWarning().noquote() << "sqlite3 failed:" << tool.readAllStandardError() << "for" << sql;
    return QString::fromUtf8(tool.readAllStandardOutput()).trimmed();
}

QStringList sqliteRowsOf(const QString& databasePath, const QString& statement)
{
    const QString out = sqliteTool(databasePath, statement);
    return out.isEmpty() ? QStringList() : out.split(QLatin1Char('\n'));
}

int sqliteUserVersion(const QString& databasePath)
{
    return sqliteTool(databasePath, "PRAGMA user_version").toInt();
}

QString sqliteTableSql(const QString& databasePath, const QString& table)
{
    return sqliteTool(databasePath, QString("SELECT sql FROM sqlite_master WHERE name='%1'").arg(table));
}

QStringList sqliteColumns(const QString& databasePath, const QString& table)
{
    return sqliteRowsOf(databasePath, QString("SELECT name FROM pragma_table_info('%1')").arg(table));
}

QJsonObject ffprobe(const QString& path, const QString& entries, const QStringList& options)
{
    QProcess p;
    p.start("ffprobe",
            QStringList{"-v", "error"} + options + QStringList{"-show_entries", entries, "-of", "json", path});
    p.waitForFinished(30000);
    return QJsonDocument::fromJson(p.readAllStandardOutput()).object();
}

QJsonObject streamOf(const QJsonObject& probed, const QString& type)
{
    for (const QJsonValue& s : probed.value("streams").toArray())
        if (s.toObject().value("codec_type").toString() == type)
            return s.toObject();
    return QJsonObject();
}

QString probeStreamValue(const QString& path, const QString& key)
{
    return runTool("ffprobe", {"-v", "error", "-select_streams", "0", "-show_entries", "stream=" + key, "-of",
                               "default=noprint_wrappers=1:nokey=1", path});
}

QStringList streamCodecs(const QString& path)
{
    return runTool("ffprobe", {"-v", "error", "-show_entries", "stream=codec_name", "-of", "csv=p=0", path})
        .split('\n');
}

bool decodesCleanly(const QString& path)
{
    QProcess decode;
    decode.start("ffmpeg", {"-v", "error", "-i", path, "-f", "null", "-"});
    return decode.waitForFinished(60000) && decode.exitCode() == 0 && decode.readAllStandardError().trimmed().isEmpty();
}

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QRandomGenerator gen(seed);
    QByteArray data(size, Qt::Uninitialized);
    for (char& c : data)
        c = static_cast<char>(gen.bounded(256));
    return data;
}

QByteArray fileDigest(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

bool makeFragmentedRecording(const QString& path, const QStringList& extra, const QString& size)
{
    return QProcess::execute("ffmpeg", QStringList{"-v", "error", "-y", "-f", "lavfi", "-i",
                                                   "testsrc2=s=" + size + ":d=3", "-f", "lavfi", "-i", "sine=d=3",
                                                   "-c:v", "libx264", "-preset", "ultrafast", "-g", "25", "-c:a", "aac"}
                                           + extra + QStringList{"-movflags", "frag_keyframe+empty_moov", path})
           == 0;
}
