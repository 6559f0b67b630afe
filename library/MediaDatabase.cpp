#include "MediaDatabase.h"

#include "DatabaseDialogs.h"
#include "MediaDatabaseUpgrade.h"

#include <QDebug>
#include <QFile>
#include <QMutex>
#include <QObject>
#include <QSqlQuery>
#include <QThread>

namespace {

// The process-wide connection, opened on the main thread; every other thread
// works on a clone of it.
QMutex processConnectionLock;
QSqlDatabase& processConnection()
{
    static QSqlDatabase connection;
    return connection;
}

QSqlDatabase processConnectionCopy()
{
    QMutexLocker locker(&processConnectionLock);
    return processConnection();
}

void setProcessConnection(const QSqlDatabase& db)
{
    QMutexLocker locker(&processConnectionLock);
    processConnection() = db;
}

QString currentThreadConnectionName()
{
    return "db_thr_" + QString::number(reinterpret_cast<quintptr>(QThread::currentThread()), 16);
}

// Forgets the connection of this thread's name, so the name can be added anew.
void dropProcessConnection(const QString& name)
{
    QSqlDatabase old = processConnectionCopy();
    if (old.isOpen())
        old.close();
    old = QSqlDatabase();
    setProcessConnection(QSqlDatabase());
    if (QSqlDatabase::contains(name))
        QSqlDatabase::removeDatabase(name);
}

bool openFailed(const QString& settingsPath)
{
    showDatabaseCritical(QObject::tr("Cannot open database"),
                         QObject::tr("Unable to establish a database connection.\nThis app needs SQLite support.\n\n"
                                     "DB path:\n%1/orlune.sqlite\n\nClick Cancel to exit.")
                             .arg(settingsPath),
                         QMessageBox::Cancel);
    return false;
}

} // namespace

bool openDatabase(const QString& settingsPath)
{
    const QString name = currentThreadConnectionName();
    const QString fileName = settingsPath + "/orlune.sqlite";
    bool mayRemove = true;
    for (;;) {
        dropProcessConnection(name);
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", name);
        db.setDatabaseName(fileName);
        setProcessConnection(db);
        if (!db.open())
            return openFailed(settingsPath);

        bool removeFile = false;
        {
            MediaDatabaseUpgrade upgrade(db, settingsPath);
            if (!upgrade.isReadable()) {
                db.close();
                return openFailed(settingsPath);
            }
            const int version = upgrade.userVersion();
            if (version >= MediaDatabaseUpgrade::currentVersion)
                return true;
            if (version < MediaDatabaseUpgrade::firstChainVersion && !upgrade.prepareOldTables() && mayRemove)
                removeFile = askDatabaseQuestion(QObject::tr("Database upgrade failed."),
                                                 QObject::tr(" Remove database to fix that?"));
            if (!removeFile) {
                upgrade.runFrom(version);
                return true;
            }
        }

        qDebug() << "[SQL]: remove database";
        db = QSqlDatabase();
        dropProcessConnection(name);
        if (!QFile::remove(fileName)) {
            // Asking again would loop for ever on a file that stays; carry on
            // over the incomplete table instead.
            qWarning().noquote() << "[SQL]: cannot remove" << fileName;
            mayRemove = false;
        }
        // Starts over under the same name, normally on an empty file.
    }
}

QSqlDatabase connectionForCurrentThread()
{
    const QString name = currentThreadConnectionName();
    if (QSqlDatabase::contains(name)) {
        QSqlDatabase db = QSqlDatabase::database(name, true);
        if (db.isValid())
            return db;
        // The name belongs to a thread that ended at the same address; its
        // connection cannot serve this thread, so it is replaced.
        QSqlDatabase::removeDatabase(name);
    }

    QSqlDatabase db = QSqlDatabase::cloneDatabase(processConnectionCopy(), name);
    if (!db.open()) {
        showDatabaseCritical(QObject::tr("Cannot open database"),
                             QObject::tr("Unable to establish a database connection."), QMessageBox::Ok);
    }
    return db;
}

void closeDatabase()
{
    dropProcessConnection(currentThreadConnectionName());
}

bool columnExists(const QString& table, const QString& column)
{
    QSqlQuery query(connectionForCurrentThread());
    if (!query.exec("PRAGMA table_info(" + table + ")"))
        return false;
    while (query.next()) {
        if (query.value(1).toString() == column)
            return true;
    }
    return false;
}
