// The uploader when things go wrong: each misbehaviour of the reference service,
// files on disk that no longer match their rows, and cloud removals owed.
#include "UploadTestSupport.h"

class TestUploadFaults : public QObject
{
    Q_OBJECT

    UploadBench bench;

    void finishAndCompare(quint32 id, const QByteArray& data)
    {
        QCOMPARE(bench.runUntilEmpty().last(), 1);
        QCOMPARE(bench.fileState(id).section('|', 0, 1), QString("true|true"));
        QCOMPARE(bench.serverFile(id).value("md5").toString().toLatin1(),
                 QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
        QCOMPARE(bench.downloadThroughShortLink(id), data);
    }

    QStringList segmentRows(quint32 id)
    {
        return bench.rows(
            QString("SELECT seg_pos, seg_size, seg_uploaded, seg_id FROM segments WHERE file_id=%1 ORDER BY seg_id")
                .arg(id));
    }

    // As the library removes an uploaded recording: rows go, a removal is queued.
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
    void init()
    {
        bench.reset();
        QCOMPARE(bench.runOnce(), QList<int>({128}));
    }

    // A refused range ends the run; the ranges taken before stay marked, and
    // the file goes up whole on later runs.
    void refusedRangeEndsTheRun_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("marks");      // seg_uploaded after the run
        QTest::addColumn<bool>("asksForServer"); // the next run asks for a server again
        QTest::addColumn<QString>("serverId");   // the server the client then knows
        QTest::newRow("416 without action") << "name=upload_416&after=1"
                                            << "tff" << true << "";
        QTest::newRow("server change with 416") << "name=srvid_change&status=416&after=1"
                                                << "fff" << false << "orlune-srv-2";
        QTest::newRow("server change with action 0") << "name=srvid_change&after=1&action=0"
                                                     << "fff" << false << "";
        QTest::newRow("516 on a media range") << "name=upload_516"
                                              << "fff" << false << "";
        QTest::newRow("500 on a range") << "name=status_500&target=upload&after=1"
                                        << "tff" << true << "";
    }

    void refusedRangeEndsTheRun()
    {
        QFETCH(QString, fault);
        QFETCH(QString, marks);
        QFETCH(bool, asksForServer);
        QFETCH(QString, serverId);
        static quint32 next = 200;
        const quint32 id = ++next;
        const QByteArray data = bench.record(QString("refused%1.mp4").arg(id), id, {100000, 100000, 100000}, true);
        bench.arm(fault);
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QCOMPARE(bench.segmentMarks(id), marks);
        QCOMPARE(bench.fileState(id), QString("false|false|true|300000|true"));
        if (asksForServer)
            QVERIFY(bench.queue->serviceUploadURL.isEmpty());
        if (!serverId.isEmpty())
            QCOMPARE(bench.queue->server_id, serverId);
        finishAndCompare(id, data);
    }

    void positionMismatchRebuildsOneMebibyteGrid()
    {
        const quint32 id = 102;
        const QByteArray data = bench.record("mismatch.mp4", id, {300000, 400000, 2000000}, true);
        bench.arm("name=upload_position_mismatch&after=1");
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QCOMPARE(segmentRows(id),
                 QStringList({"0|1048576|false|0", "1048576|1048576|false|1", "2097152|602848|false|2"}));
        QCOMPARE(bench.rows(QString("SELECT file_finalized, file_size, file_segments_count, file_uploaded FROM files "
                                    "WHERE file_id=%1")
                                .arg(id)),
                 QStringList({"true|2700000|3|false"}));
        finishAndCompare(id, data);
    }

    void serverAsksForDeletion()
    {
        const quint32 id = 104;
        bench.record("gone.mp4", id, {100000, 100000}, true);
        bench.arm("name=upload_416_action&action=2");
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QVERIFY(bench.fileState(id).isEmpty());
        QVERIFY(segmentRows(id).isEmpty());
        for (const char* suffix : {"", ".jpg", ".gif"})
            QVERIFY(!QFile::exists(bench.path("gone.mp4") + suffix));
        QVERIFY(bench.rows("SELECT * FROM deletion_queue").isEmpty());
    }

    void serverChangeInTheMiddleEndsTheRun()
    {
        // The new server takes the second range, but the client cannot trust it:
        // the run ends unmarked, the resend is refused as a mismatch, and the
        // file goes again on the 1 MiB grid.
        const quint32 id = 105;
        const QByteArray data = bench.record("moved.mp4", id, {100000, 100000, 100000}, true);
        bench.arm("name=srvid_change&after=1");
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QCOMPARE(bench.segmentMarks(id), QString("tff"));
        QCOMPARE(bench.serverFile(id).value("size").toInt(), 200000);

        QCOMPARE(bench.runOnce(), QList<int>({127})); // the resend is refused as a mismatch
        QCOMPARE(segmentRows(id), QStringList({"0|300000|false|0"}));
        finishAndCompare(id, data);
    }

    void unregisteredPreviewIsGivenUp()
    {
        const quint32 id = 107;
        bench.record("nopreview.mp4", id, {100000, 100000}, true);
        // Both media ranges pass; the preview is refused.
        bench.arm("name=upload_516&after=2");
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QCOMPARE(bench.fileState(id), QString("true|true|true|200000|true"));
        QCOMPARE(bench.serverFile(id).value("preview_ext").toString(), QString());
        QCOMPARE(bench.runUntilEmpty().last(), 1);
    }

    // An error answer still tells who the user is; an answer that is no XML does not.
    void accountAnswers_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("tab");
        QTest::newRow("api_error") << "name=api_error&action=get_user&message=Busy" << QList<int>({128}) << "ERROR"
                                   << "Busy" << 0;
        QTest::newRow("invalid_token") << "name=invalid_token&action=get_user" << QList<int>({128}) << "ERROR"
                                       << "INVALID TOKEN!" << 0;
        QTest::newRow("not_xml") << "name=not_xml&action=get_user" << QList<int>({128, 127}) << ""
                                 << "" << 2;
    }

    void accountAnswers()
    {
        QFETCH(QString, fault);
        QFETCH(QList<int>, codes);
        QFETCH(QString, result);
        QFETCH(QString, message);
        QFETCH(int, tab);
        bench.host.setUserActualized(false);
        bench.arm(fault);
        QCOMPARE(bench.runOnce(), codes);
        QCOMPARE(bench.host.userInfos.last().value("result"), result);
        QCOMPARE(bench.host.userInfos.last().value("message"), message);
        QCOMPARE(bench.host.isUserActualized(), tab == 0);
        QCOMPARE(bench.host.tabs.last(), tab);
    }

    void uploadServerRequestFails()
    {
        const quint32 id = 110;
        bench.record("noserver.mp4", id, {1000}, true);
        bench.arm("name=status_500&target=api&action=get_upload_url");
        QCOMPARE(bench.runOnce(), QList<int>({0, 127}));
        QCOMPARE(bench.host.tabs.last(), 2);
        QVERIFY(bench.queue->serviceUploadURL.isEmpty());

        bench.arm("name=api_error&action=get_upload_url&message=No%20servers");
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QCOMPARE(bench.host.userInfos.last().value("__request"), QString("get_upload_url"));
        QCOMPARE(bench.host.userInfos.last().value("message"), QString("No servers"));
        QCOMPARE(bench.segmentMarks(id), QString("f"));
    }

    void stalledAccountRequestTimesOut()
    {
        bench.host.setUserActualized(false);
        bench.queue->serviceTimeoutMs = 1000;
        bench.arm("name=stall&target=api&action=get_user&ms=20000");
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QVERIFY(clock.elapsed() >= 900);
        QCOMPARE(bench.queue->is_running, 0);
        QCOMPARE(bench.host.tabs.last(), 2);
        QVERIFY(!bench.host.isUserActualized());
    }

    void missingFileIsForgottenOnlyWhenTheUserAgrees()
    {
        const quint32 id = 111;
        bench.record("missing.mp4", id, {1000, 1000}, true);
        QVERIFY(QFile::remove(bench.path("missing.mp4")));

        bench.queue->isRecording = true; // nobody is asked during a recording
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QVERIFY(bench.questions.isEmpty());
        bench.queue->isRecording = false;

        bench.answer = QMessageBox::No;
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.questions, QStringList({"Missing file"}));
        QCOMPARE(bench.segmentMarks(id), QString("ff"));

        bench.answer = QMessageBox::Yes;
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.questions.size(), 2);
        QVERIFY(bench.fileState(id).isEmpty());
        QVERIFY(segmentRows(id).isEmpty());
        QVERIFY(QFile::exists(bench.path("missing.mp4.jpg"))); // only the rows go
    }

    void truncatedFileGoesUpAsItIsNow()
    {
        const quint32 id = 112;
        QByteArray data = bench.record("cut.mp4", id, {1000000, 1000000, 500000}, true);
        QVERIFY(QFile::resize(bench.path("cut.mp4"), 1500000));
        data.truncate(1500000);

        bench.answer = QMessageBox::Yes;
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.questions, QStringList({"Fix file"}));
        QCOMPARE(bench.fileState(id), QString("false|false|true|1500000|true"));

        // The first range goes; the second reaches past the end and is cut back.
        QSignalSpy done(bench.queue, &UploadQueue::uploadFileDone);
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(done.size(), 1);
        QCOMPARE(segmentRows(id), QStringList({"0|1000000|true|0", "1000000|500000|false|1"}));
        finishAndCompare(id, data);
    }

    void smallSizeMismatchIsFixedSilently()
    {
        const quint32 id = 113;
        bench.record("small.mp4", id, {100}, true);
        UploadBench::sql(QString("UPDATE files SET file_size='2048' WHERE file_id=%1").arg(id));
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QVERIFY(bench.questions.isEmpty());
        QCOMPARE(bench.fileState(id), QString("false|false|true|100|true"));

        UploadBench::sql(QString("UPDATE files SET file_size='2049' WHERE file_id=%1").arg(id));
        bench.answer = QMessageBox::No; // the disk size is used in memory and the file goes up
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.questions, QStringList({"Fix file"}));
        QCOMPARE(bench.fileState(id), QString("true|true|true|2049|true"));
    }

    void stubOfACrashedRecordingIsRemovedAfterAsking()
    {
        const quint32 id = 114;
        bench.writeFile(bench.path("stub.mp4"), randomBytes(100, 3));
        bench.writeFile(bench.path("stub.mp4.jpg"), randomBytes(100, 4));
        UploadBench::insertRow("stub.mp4", id,
                               "1700000000, 0, 'false', 'stub.mp4.jpg', 'false', 'true', '0', "
                               "'My stub', '', 'false', '0', 'true'");
        // First run: the size from disk is taken and the file counts as finished.
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.fileState(id), QString("false|false|true|100|true"));
        QVERIFY(bench.questions.isEmpty());

        // Without an answer nothing is removed, and the question comes back.
        bench.answer = QMessageBox::NoButton;
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.questions, QStringList({"Corrupted file"}));
        QVERIFY(QFile::exists(bench.path("stub.mp4")));

        bench.answer = QMessageBox::Save;
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.questions.size(), 2);
        QCOMPARE(bench.host.saveOffers, QStringList({"stub.mp4|My stub"}));
        QVERIFY(bench.fileState(id).isEmpty());
        QVERIFY(!QFile::exists(bench.path("stub.mp4")));
        QVERIFY(!QFile::exists(bench.path("stub.mp4.jpg")));
    }

    void unreadableRangeSkipsTheFile()
    {
        const quint32 id = 115; // one byte more than the largest range held in memory
        bench.writeFile(bench.path("huge.mp4"), QByteArray());
        QVERIFY(QFile::resize(bench.path("huge.mp4"), 104857601));
        UploadBench::insertRow("huge.mp4", id,
                               "1700000000, 104857601, 'false', 'huge.mp4.jpg', 'true', 'true', "
                               "'5', 'huge', '', 'false', '1', 'true'");
        UploadBench::addSegments(id, 0, 0, {104857601});
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.fileState(id), QString("false|false|true|104857601|false"));
        QCOMPARE(bench.host.popups.last().first, int(Common::MsgWarning));
        QCOMPARE(bench.host.popups.last().second, QString("Upload was skipped because the file huge.mp4 is broken."));
        QCOMPARE(bench.runOnce(), QList<int>({1})); // never picked again
        QVERIFY(QFile::exists(bench.path("huge.mp4")));
    }

    void emptyPreviewIsMarkedAsSent()
    {
        const quint32 id = 116;
        bench.record("emptygif.mp4", id, {5000}, true);
        bench.writeFile(bench.path("emptygif.mp4.gif"), QByteArray());
        QSignalSpy done(bench.queue, &UploadQueue::uploadFileDone);
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(done.size(), 2); // the media file, then the preview that was given up
        QCOMPARE(bench.fileState(id), QString("true|true|true|5000|true"));
        QCOMPARE(bench.serverFile(id).value("preview_ext").toString(), QString());
    }

    // ---- cloud removals owed for files removed locally ------------------------
    // Carried out before uploads, in the order entered, kept until the service answers.

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

        // The server is known from the uploads: this run only carries out the removals.
        QVERIFY(!bench.queue->serviceUploadURL.isEmpty());
        const int first = bench.requests().size();
        QSignalSpy removed(bench.queue, &UploadQueue::gotRemoveFileCall);
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(removed.size(), 3);
        QCOMPARE(removed[0].at(0).toString(), QString("OK"));
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
        queueRemoval(9009, "later.mp4", "k");
        bench.host.setUserActualized(false); // as before the first account run
        bench.queue->setUserCredentials("", "", "");
        QCOMPARE(bench.host.tabs.last(), 1);
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

QTEST_GUILESS_MAIN(TestUploadFaults)
#include "test_upload_faults.moc"
