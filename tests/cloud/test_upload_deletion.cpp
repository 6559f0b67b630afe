// Cloud removals owed for files the user removed locally: carried out before
// uploads, in the order they were entered, and kept until the service has
// answered for them.
#include "UploadTestSupport.h"

class TestUploadDeletion : public QObject
{
    Q_OBJECT

    UploadBench bench;

    // Removes an uploaded recording locally as the library does: its rows go
    // and a deletion_queue row is entered.
    void removeLocally(quint32 id, const QString& name)
    {
        QVERIFY(bench.serverFile(id).value("uploaded").toBool());
        queueRemoval(id, name,
                     bench.rows(QString("SELECT file_uploadkey FROM files WHERE file_id=%1").arg(id)).value(0));
        UploadBench::sql(QString("DELETE FROM files WHERE file_id=%1").arg(id));
        UploadBench::sql(QString("DELETE FROM segments WHERE file_id=%1").arg(id));
    }

    static void queueRemoval(quint32 id, const QString& name, const QString& key)
    {
        UploadBench::sql(QString("INSERT INTO `deletion_queue` VALUES(%1, '%2', '%3', '%4', '%5', '%6')")
                             .arg(id)
                             .arg(name, name + ".jpg", QFileInfo(name).completeBaseName(), key, "true"));
    }

    QStringList queuedIds() { return bench.rows("SELECT file_id FROM deletion_queue"); }

    QStringList actionsSince(int first)
    {
        QStringList out;
        for (const QJsonValue& request : bench.requestsSince(first)) {
            const QUrlQuery q = UploadBench::queryOf(request);
            out << (q.hasQueryItem("a") ? q.queryItemValue("a") + " " + q.queryItemValue("file_id") : "POST");
        }
        return out;
    }

private slots:
    void initTestCase() { QVERIFY(bench.start()); }
    void init() { bench.reset(); }

    void removalsGoFirstAndChainInOneRun()
    {
        bench.record("c.mp4", 3003, {20000}, true, 3);
        bench.record("a.mp4", 1001, {20000}, true, 1);
        bench.record("b.mp4", 2002, {20000}, true, 2);
        QCOMPARE(bench.runUntilEmpty().last(), 1);
        removeLocally(3003, "c.mp4");
        removeLocally(1001, "a.mp4");
        removeLocally(2002, "b.mp4");
        const QByteArray pending = bench.record("pending.mp4", 4004, {10000}, true, 44);
        QCOMPARE(queuedIds(), QStringList({"3003", "1001", "2002"}));

        // The server is known from the uploads, so this run carries out the
        // removals in the order they were entered, and uploads nothing.
        QVERIFY(!bench.queue->serviceUploadURL.isEmpty());
        const int first = bench.requests().size();
        QSignalSpy removed(bench.queue, &UploadQueue::gotRemoveFileCall);
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(removed.size(), 3);
        QCOMPARE(removed[0].at(0).toString(), QString("OK"));
        QCOMPARE(removed[0].at(2).toUInt(), 3003u);
        QCOMPARE(removed[2].at(2).toUInt(), 2002u);
        QCOMPARE(actionsSince(first), QStringList({"delete_file 3003", "delete_file 1001", "delete_file 2002"}));
        QVERIFY(queuedIds().isEmpty());
        for (quint32 id : {1001u, 2002u, 3003u})
            QVERIFY(bench.serverFile(id).isEmpty());
        QCOMPARE(bench.host.tabs.last(), 0);

        QCOMPARE(bench.runUntilEmpty().last(), 1);
        QCOMPARE(bench.downloadThroughShortLink(4004), pending);
    }

    void forcedFailureRemovesTheRowAndStopsTheChain()
    {
        // Files the service never had: it answers ERROR with force 1.
        queueRemoval(5005, "never1.mp4", "k1");
        queueRemoval(6006, "never2.mp4", "k2");
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({1})); // the server is asked for first; removals wait

        QSignalSpy removed(bench.queue, &UploadQueue::gotRemoveFileCall);
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QCOMPARE(removed.size(), 1);
        QCOMPARE(removed[0].at(0).toString(), QString("ERROR"));
        QCOMPARE(removed[0].at(1).toString(), QString("File not found"));
        QCOMPARE(queuedIds(), QStringList({"6006"}));

        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QVERIFY(queuedIds().isEmpty());
        QCOMPARE(bench.runOnce(), QList<int>({1}));
    }

    void unreadableAnswerKeepsTheRow()
    {
        queueRemoval(7007, "keep.mp4", "k");
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({1}));
        bench.arm("name=not_xml&action=delete_file");
        QSignalSpy removed(bench.queue, &UploadQueue::gotRemoveFileCall);
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QVERIFY(removed.isEmpty());
        QCOMPARE(queuedIds(), QStringList({"7007"}));
        QCOMPARE(bench.host.tabs.last(), 2);
    }

    void stalledRemovalLeavesTheRunMarked()
    {
        queueRemoval(8008, "slow.mp4", "k");
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({1}));
        bench.queue->serviceTimeoutMs = 800;
        bench.arm("name=stall&target=api&action=delete_file&ms=20000");
        QSignalSpy finished(bench.queue, &UploadQueue::uploadFinished);
        bench.queue->run();
        QTest::qWait(2000);
        // The reply went without a finished signal: nothing reports, the run stays marked.
        QVERIFY(finished.isEmpty());
        QCOMPARE(bench.queue->is_running, 1);
        QCOMPARE(bench.host.tabs.last(), 2);
        QCOMPARE(queuedIds(), QStringList({"8008"}));
    }

    void signedOutKeepsRemovalsForLater()
    {
        // Signed out, the account page shows and nothing is sent.
        queueRemoval(9009, "later.mp4", "k");
        bench.queue->setUserCredentials("", "", "");
        QCOMPARE(bench.host.tabs, QList<int>({1}));
        const int first = bench.requests().size();
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.queue->is_running, 0);
        QCOMPARE(bench.requests().size(), first);
        QCOMPARE(queuedIds(), QStringList({"9009"}));

        bench.queue->setUserCredentials(bench.account.login, bench.account.token, bench.account.salt);
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({1}));
        QCOMPARE(bench.runOnce(), QList<int>({127})); // unknown to the service: forced out
        QVERIFY(queuedIds().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestUploadDeletion)
#include "test_upload_deletion.moc"
