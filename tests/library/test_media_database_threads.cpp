// One connection per thread, all on the same file.
#include "LogCapture.h"
#include "MediaDatabase.h"
#include "TestTools.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {

QString expectedName(QThread* thread)
{
    return "db_thr_" + QString::number(reinterpret_cast<quintptr>(thread), 16);
}

struct ThreadResult
{
    QString name;
    QString expected;
    bool open = false;
    bool inserted = false;
};

// The work of one thread: take its connection and insert one segment row.
void insertSegment(ThreadResult& result, int fileId)
{
    QSqlDatabase db = connectionForCurrentThread();
    result.name = db.connectionName();
    result.expected = expectedName(QThread::currentThread());
    result.open = db.isOpen();
    QSqlQuery query(db);
    result.inserted = query.exec(
        QString("insert into segments values('%1', %2, %3, 'false', '%4')").arg(fileId).arg(0).arg(100).arg(0));
    if (!result.inserted)
        qWarning() << query.lastError().text();
}

ThreadResult insertOnNewThread(int fileId)
{
    ThreadResult result;
    QThread* thread = QThread::create([&result, fileId]() { insertSegment(result, fileId); });
    thread->start();
    thread->wait();
    delete thread;
    return result;
}

} // namespace

class TestMediaDatabaseThreads : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;
    QString dbFile() const { return dir.path() + "/orlune.sqlite"; }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        QVERIFY(openDatabase(dir.path()));
    }
    void cleanupTestCase()
    {
        closeDatabase();
        QVERIFY(!QSqlDatabase::contains(expectedName(QThread::currentThread())));
    }

    void mainThreadUsesTheProcessConnection()
    {
        QSqlDatabase db = connectionForCurrentThread();
        QCOMPARE(db.connectionName(), expectedName(QThread::currentThread()));
        QVERIFY(db.isOpen());
    }

    void twoThreadsWorkOnTheSameFile()
    {
        sqliteTool(dbFile(), "DELETE FROM segments;");
        ThreadResult first, second;
        // Both alive at once, so the two threads cannot share an address.
        QThread* workerA = QThread::create([&first]() { insertSegment(first, 1001); });
        QThread* workerB = QThread::create([&second]() { insertSegment(second, 1002); });
        workerA->start();
        workerB->start();
        QVERIFY(workerA->wait(20000));
        QVERIFY(workerB->wait(20000));

        QCOMPARE(first.name, first.expected);
        QCOMPARE(second.name, second.expected);
        QVERIFY(first.name != second.name);
        QVERIFY(first.name != expectedName(QThread::currentThread()));
        QVERIFY(first.open && second.open);
        QVERIFY(first.inserted && second.inserted);
        // Worker connections stay registered after their threads end.
        QVERIFY(QSqlDatabase::contains(first.name));
        delete workerA;
        delete workerB;
        QCOMPARE(sqliteTool(dbFile(), "SELECT file_id FROM segments ORDER BY file_id"), QString("1001\n1002"));
    }

    void threadAtAReusedAddressGetsAWorkingConnection()
    {
        // A finished thread's connection cannot serve a later thread that
        // happens to get the same QThread address; that thread must still work.
        QSet<QString> seen;
        bool reused = false;
        for (int i = 0; i < 20 && !reused; ++i) {
            const ThreadResult result = insertOnNewThread(2000 + i);
            QVERIFY2(result.open && result.inserted, qPrintable(result.name));
            reused = seen.contains(result.name);
            seen.insert(result.name);
        }
        if (!reused)
            QSKIP("no QThread address was reused in 20 tries");
    }
};

QTEST_GUILESS_MAIN(TestMediaDatabaseThreads)
#include "test_media_database_threads.moc"
