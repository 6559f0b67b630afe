// The table functions against a real file, cross-checked with the sqlite3 tool
// so that a column taken from the wrong place shows; one connection per thread.
#include "DeletionQueueTable.h"
#include "FilesTable.h"
#include "MediaDatabase.h"
#include "SegmentsTable.h"
#include "TestTools.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {

const uint fileId = 7;

// The cells of one result joined by '|', as the sqlite3 tool prints a row.
template <typename... Cells>
QString row(const Cells&... cells)
{
    return QStringList{QVariant(cells).toString()...}.join('|');
}

// What one function gives back, as text; "-" for no row.
QString run(const QString& function)
{
    if (function == "nextFileToUpload" || function == "nextPreviewToUpload") {
        const auto f = function == "nextFileToUpload" ? FilesTable::nextFileToUpload(nullptr)
                                                      : FilesTable::nextPreviewToUpload(nullptr);
        return f ? row(f->fileId, f->size, f->name, f->preview, f->finalized, f->finalizedAsNumber, f->pseudoname,
                       f->previewUploaded, f->segmentsCount, f->previewGif)
                 : "-";
    }
    if (function == "finalState") {
        const auto s = FilesTable::finalState(fileId, nullptr);
        return s ? row(s->finalized, s->size, s->pseudoname, s->previewUploaded, s->segmentsCount) : "-";
    }
    if (function == "serviceNames") {
        const auto n = FilesTable::serviceNames(fileId, nullptr);
        return n ? row(n->name, n->pseudoname, n->uploadKey) : "-";
    }
    if (function == "nextToUpload") {
        const auto r = SegmentsTable::nextToUpload(fileId, nullptr);
        return r ? row(r->position, r->size, r->rowId, r->segmentId) : "-";
    }
    if (function == "deletionFind" || function == "deletionFirst") {
        const auto e =
            function == "deletionFind" ? DeletionQueueTable::find(fileId, nullptr) : DeletionQueueTable::first(nullptr);
        return e ? row(e->fileId, e->name, e->pseudoname, e->uploadKey) : "-";
    }
    if (function == "firstPendingUpload")
        return row(FilesTable::firstPendingUpload(nullptr));
    if (function == "titleTaken")
        return row(FilesTable::titleTaken("Bob's demo"), FilesTable::titleTaken("Bob"));
    return row(FilesTable::isVideo(fileId), FilesTable::isUploaded(fileId));
}

// A `files` row of id 7 in column order, its preview not yet uploaded.
QString fileRow(const QString& uploaded, const QString& finalized)
{
    return QString("insert into files values('a.mp4', 7, 1700000000, 900, '%1', 'a.mp4.jpg', '%2', 'true', '4', "
                   "'Bob''s demo', 'K7', 'false', 3, 'true');")
        .arg(uploaded, finalized);
}

// One thread's work: insert a segment row; gives the connection's name or what failed.
QString insertSegment(int fileId)
{
    QSqlDatabase db = connectionForCurrentThread();
    QSqlQuery query(db);
    if (!db.isOpen() || !query.exec(QString("insert into segments values('%1', 0, 100, 'false', '0')").arg(fileId)))
        return "failed: " + db.connectionName() + " " + query.lastError().text();
    return db.connectionName();
}

} // namespace

class TestLibraryQueries : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    QString dbFile() const { return dir.path() + "/orlune.sqlite"; }

private slots:
    void initTestCase() { QVERIFY(openDatabase(dir.path())); }
    void cleanupTestCase()
    {
        const QString name = connectionForCurrentThread().connectionName();
        closeDatabase();
        QVERIFY(!QSqlDatabase::contains(name));
    }
    void init() { sqliteTool(dbFile(), "DELETE FROM files; DELETE FROM segments; DELETE FROM deletion_queue;"); }

    void readers_data()
    {
        QTest::addColumn<QString>("rows");
        QTest::addColumn<QString>("function");
        QTest::addColumn<QString>("expected");
        auto add = [](const char* name, const QString& rows, const char* function, const char* expected) {
            QTest::newRow(name) << rows << QString(function) << QString(expected);
        };
        const QString pending = fileRow("false", "true");
        const QString uploaded = fileRow("true", "true");
        const QString candidate = "7|900|a.mp4|a.mp4.jpg|true|0|Bob's demo|false|3|true";
        add("file to upload", pending, "nextFileToUpload", qPrintable(candidate));
        add("uploaded file", uploaded, "nextFileToUpload", "-");
        add("preview owed", uploaded, "nextPreviewToUpload", qPrintable(candidate));
        add("no preview owed", pending, "nextPreviewToUpload", "-");
        add("first pending", pending, "firstPendingUpload", "7");
        add("none pending", uploaded, "firstPendingUpload", "0");
        add("finalized", pending, "finalState", "true|900|Bob's demo|false|3");
        add("still recording", fileRow("false", "false"), "finalState", "-");
        add("service names", pending, "serviceNames", "a.mp4|Bob's demo|K7");
        add("title with a quote", pending, "titleTaken", "true|false");
        add("video, uploaded", uploaded, "isVideo", "true|true");
        const QString segments = "insert into segments values(7, 2048, 100, 'false', 2);"
                                 "insert into segments values(7, 0, 1024, 'true', 0);"
                                 "insert into segments values(7, 1024, 1024, 'false', 1);";
        add("lowest seg_id first", segments, "nextToUpload", "1024|1024|3|1");
        const QString queue = "insert into deletion_queue values(9, 'b.mp4', 'b.mp4.jpg', 'b', 'K9', 'false');"
                              "insert into deletion_queue values(7, 'a.mp4', 'a.mp4.jpg', 'a', 'K7', 'false');";
        add("queued removal", queue, "deletionFind", "7|a.mp4|a|K7");
        add("first queued removal", queue, "deletionFirst", "9|b.mp4|b|K9");
    }

    void readers()
    {
        QFETCH(QString, rows);
        QFETCH(QString, function);
        QFETCH(QString, expected);
        sqliteTool(dbFile(), rows);
        QCOMPARE(run(function), expected);
    }

    // The recorder's row, its title made from the name, and the uploader's marks on it.
    void writers()
    {
        FilesTable::insertRecording("it's.v2.mp4", fileId, true);
        SegmentsTable::insert(fileId, 0, 500, 0);
        FilesTable::finalizeRecording(fileId, 500, 4, 1);
        FilesTable::markUploaded(fileId, "K'1");
        QCOMPARE(sqliteTool(dbFile(), "SELECT file_name, file_size, file_uploaded, file_preview, file_finalized, "
                                      "file_toupload, file_duration, file_pseudoname, file_uploadkey, "
                                      "file_segments_count, file_preview_gif FROM files"),
                 QString("it's.v2.mp4|500|true|it's.v2.mp4.jpg|true|true|4|it's.v2|K'1|1|true"));
        QVERIFY(SegmentsTable::markUploaded(1, fileId));
        QCOMPARE(sqliteTool(dbFile(), "SELECT * FROM segments"), QString("7|0|500|true|0"));
    }

    void twoThreadsWorkOnTheSameFile()
    {
        QString first, second;
        // Both alive at once, so the two threads cannot share an address.
        std::unique_ptr<QThread> a(QThread::create([&] { first = insertSegment(1001); }));
        std::unique_ptr<QThread> b(QThread::create([&] { second = insertSegment(1002); }));
        a->start();
        b->start();
        QVERIFY(a->wait(20000) && b->wait(20000));
        QVERIFY2(!first.startsWith("failed") && !second.startsWith("failed"), qPrintable(first + second));
        QVERIFY(first != second && first != connectionForCurrentThread().connectionName());
        // Worker connections stay registered after their threads end.
        QVERIFY(QSqlDatabase::contains(first));
        QCOMPARE(sqliteTool(dbFile(), "SELECT file_id FROM segments ORDER BY file_id"), QString("1001\n1002"));
    }

    // A finished thread's connection cannot serve a later thread that happens
    // to get the same QThread address; that thread must still work.
    void threadAtAReusedAddressGetsAWorkingConnection()
    {
        QSet<QString> seen;
        bool reused = false;
        for (int i = 0; i < 20 && !reused; ++i) {
            QString name;
            std::unique_ptr<QThread> thread(QThread::create([&] { name = insertSegment(2000 + i); }));
            thread->start();
            QVERIFY(thread->wait(20000));
            QVERIFY2(!name.startsWith("failed"), qPrintable(name));
            reused = seen.contains(name);
            seen.insert(name);
        }
        if (!reused)
            QSKIP("no QThread address was reused in 20 tries");
    }
};

QTEST_GUILESS_MAIN(TestLibraryQueries)
#include "test_library_queries.moc"
