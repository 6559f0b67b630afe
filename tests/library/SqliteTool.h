#pragma once

// Helpers shared by the media database tests: the sqlite3 command-line tool as
// an independent reader and writer of the file, and a capture of log lines.

#include <QCryptographicHash>
#include <QFile>
#include <QMutex>
#include <QProcess>
#include <QStringList>
#include <QTest>

// Runs statements through the sqlite3 tool; returns its output, one line per
// row, columns separated by '|'. A failing tool fails the calling test.
inline QString sqliteTool(const QString& file, const QString& sql, bool expectSuccess = true)
{
    QProcess tool;
    tool.start("sqlite3", {"-batch", file, sql});
    if (!tool.waitForFinished(20000)) {
        QTest::qFail("sqlite3 did not finish", __FILE__, __LINE__);
        return {};
    }
    if (expectSuccess && (tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0))
        qWarning().noquote() << "sqlite3 failed:" << tool.readAllStandardError() << "for" << sql;
    return QString::fromUtf8(tool.readAllStandardOutput()).trimmed();
}

inline int sqliteUserVersion(const QString& file)
{
    return sqliteTool(file, "PRAGMA user_version").toInt();
}

inline QString sqliteTableSql(const QString& file, const QString& table)
{
    return sqliteTool(file, QString("SELECT sql FROM sqlite_master WHERE name='%1'").arg(table));
}

inline QStringList sqliteColumns(const QString& file, const QString& table)
{
    return sqliteTool(file, QString("SELECT name FROM pragma_table_info('%1')").arg(table))
        .split('\n', Qt::SkipEmptyParts);
}

inline QByteArray fileDigest(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// Collects every log line written while it lives, and still passes them on.
class LogCapture
{
public:
    LogCapture()
    {
        previous = qInstallMessageHandler(&LogCapture::handle);
        active = this;
    }
    ~LogCapture()
    {
        qInstallMessageHandler(previous);
        active = nullptr;
    }
    QStringList lines() const
    {
        QMutexLocker locker(&lock);
        return collected;
    }
    int count(const QString& line) const { return lines().count(line); }
    bool contains(const QString& part) const
    {
        const QStringList all = lines();
        for (const QString& line : all)
            if (line.contains(part))
                return true;
        return false;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        if (active) {
            QMutexLocker locker(&active->lock);
            active->collected << text;
        }
        if (previous)
            previous(type, context, text);
    }

    static inline LogCapture* active = nullptr;
    static inline QtMessageHandler previous = nullptr;
    mutable QMutex lock;
    QStringList collected;
};
