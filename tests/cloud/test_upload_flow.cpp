// The uploader's normal road against the reference service, a file that grows
// while it goes up, a run cut off and resumed, and the service away at start.
#include "UploadTestSupport.h"
#include "Version.h"

#include <QTcpServer>

class TestUploadFlow : public QObject
{
    Q_OBJECT

    UploadBench bench;

    static QStringList keysOf(const QJsonValue& request)
    {
        QStringList out;
        for (const auto& item : UploadBench::queryOf(request).queryItems())
            out << item.first;
        return out;
    }

private slots:
    void initTestCase() { QVERIFY(bench.start()); }
    void init() { bench.reset(); }

    void finalizedFileGoesUpWithItsPreview()
    {
        const quint32 id = 2000000001u;
        const QByteArray data = bench.record("01.02.2025_10.00.00_REC.mp4", id, {700000, 1200000, 600000}, true);
        const QByteArray gif = randomBytes(5000, 1 + 200);
        const int first = bench.requests().size();

        // Run 1: the account.
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.host.userInfos.size(), 1);
        QCOMPARE(bench.host.userInfos[0].value("result"), QString("OK"));
        QCOMPARE(bench.host.userInfos[0].value("name"), QString("alice"));
        QVERIFY(bench.host.isUserActualized());
        QCOMPARE(bench.host.tabs.last(), 0);
        QVERIFY(bench.queue->last_user_time.isValid());

        // Run 2: the server, then every range and the preview in one go. At the
        // moment the file is reported done, its preview is still owed.
        QString stateAtDone;
        QSignalSpy done(bench.queue, &UploadQueue::uploadFileDone);
        auto probe = connect(bench.queue, &UploadQueue::uploadFileDone, this,
                             [&](uint) { stateAtDone = bench.fileState(id) + "/" + bench.segmentMarks(id); });
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        disconnect(probe);
        QCOMPARE(done.size(), 1);
        QCOMPARE(done.first().at(0).toUInt(), id);
        QCOMPARE(stateAtDone, QString("true|false|true|2500000|true/ttt"));
        QCOMPARE(bench.fileState(id), QString("true|true|true|2500000|true"));
        QCOMPARE(bench.rows(QString("SELECT file_uploadkey FROM files WHERE file_id=%1").arg(id)).value(0),
                 bench.queue->serviceUploadKey);
        // Not while a recording runs, so the user hears of it.
        QCOMPARE(bench.host.popups.size(), 1);
        QCOMPARE(bench.host.popups[0].first, int(Common::MsgCloud));
        QCOMPARE(bench.host.popups[0].second, QString("Uploading file 01.02.2025_10.00.00_REC.mp4..."));

        // Run 3 asks for the account again after a finished file; run 4 finds nothing to do.
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({1}));

        const QJsonObject server = bench.serverFile(id);
        QCOMPARE(server.value("uploaded").toBool(), true);
        QCOMPARE(server.value("md5").toString(),
                 QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex()));
        QCOMPARE(server.value("preview_ext").toString(), QString("gif"));
        QCOMPARE(bench.downloadThroughShortLink(id), data);
        QCOMPARE(bench.downloadThroughShortLink(id, "/preview"), gif);

        // What went over the wire, in order, with the program's headers.
        const QJsonArray sent = bench.requestsSince(first);
        QStringList road;
        for (const auto& r : sent) {
            const QUrlQuery q = UploadBench::queryOf(r);
            road << (q.hasQueryItem("a")
                         ? q.queryItemValue("a")
                         : "POST " + q.queryItemValue("start_pos") + "+" + q.queryItemValue("length") + " "
                               + q.queryItemValue("finalized") + q.queryItemValue("file_preview_ext"));
            QCOMPARE(r.toObject().value("user_agent").toString(), QString("KVD Uploader/" ORLUNE_VERSION));
            QCOMPARE(r.toObject().value("accept_encoding").toString(), QString("identity"));
        }
        QCOMPARE(road, QStringList({"get_user", "get_upload_url", "POST 0+700000 1", "POST 700000+1200000 1",
                                    "POST 1900000+600000 1", "POST 0+5000 1gif", "get_user", "get_upload_url",
                                    "get_short_url", "get_short_url"}));
        QCOMPARE(keysOf(sent[0]),
                 QStringList({"a", "machine_id", "user_token", "user_rand", "user_hash", "version", "bits", "os"}));
        QCOMPARE(keysOf(sent[2]),
                 QStringList({"file_name", "file_pseudoname", "file_id", "segment_id", "file_preview_ext", "finalized",
                              "start_pos", "length", "fullsize", "file_segments_count", "bits", "os", "md5val",
                              "machine_id", "user_token", "user_rand", "user_hash", "upload_key"}));
        QCOMPARE(sent[2].toObject().value("content_type").toString(), QString("application/octet-stream"));
        QCOMPARE(UploadBench::queryOf(sent[4]).queryItemValue("segment_id"), QString("2"));
        QCOMPARE(UploadBench::queryOf(sent[4]).queryItemValue("file_segments_count"), QString("3"));
        // The preview goes with the finalized column where the count would be: 'true' reads as 0.
        QCOMPARE(UploadBench::queryOf(sent[5]).queryItemValue("file_segments_count"), QString("0"));
        QCOMPARE(UploadBench::queryOf(sent[5]).queryItemValue("fullsize"), QString("5000"));
        QCOMPARE(keysOf(sent[8]), QStringList({"a", "file_id", "file_name", "file_pseudoname", "machine_id",
                                               "user_token", "user_rand", "user_hash", "upload_key", "bits", "os"}));
    }

    void growingFileFollowsTheRecorder()
    {
        const quint32 id = 2100000002u;
        const QString name = "growing.mp4";
        const QByteArray all = randomBytes(900000, 9);
        bench.queue->isRecording = true;
        // The recorder has opened the file and written two ranges.
        bench.writeFile(bench.path(name), all.left(300000));
        bench.writeFile(bench.path(name + ".jpg"), randomBytes(2000, 10));
        FilesTable::insertRecording(name, id, true);
        UploadBench::addSegments(id, 0, 0, {100000, 200000});

        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.segmentMarks(id), QString("tt"));
        QCOMPARE(bench.fileState(id),
                 QString("false|false|false|0|true")); // nothing is written for a running recording
        QCOMPARE(bench.serverFile(id).value("size").toInt(), 300000);
        QCOMPARE(bench.serverFile(id).value("finalized").toBool(), false);
        QVERIFY(bench.host.popups.isEmpty());

        // Two more ranges reach the disk between ticks.
        bench.writeFile(bench.path(name), all.mid(300000, 400000), true);
        UploadBench::addSegments(id, 300000, 2, {150000, 250000});
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.segmentMarks(id), QString("tttt"));
        QCOMPARE(bench.serverFile(id).value("size").toInt(), 700000);

        // The recording stops: the last range, then the final values.
        bench.writeFile(bench.path(name), all.mid(700000), true);
        UploadBench::addSegments(id, 700000, 4, {200000});
        FilesTable::finalizeRecording(id, all.size(), 3, 5);
        bench.queue->isRecording = false;
        QSignalSpy done(bench.queue, &UploadQueue::uploadFileDone);
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(done.size(), 1);
        QCOMPARE(bench.fileState(id), QString("true|true|true|900000|true"));
        QCOMPARE(bench.serverFile(id).value("preview_ext").toString(), QString("jpg")); // no GIF on disk
        QCOMPARE(bench.runUntilEmpty().last(), 1);
        QCOMPARE(bench.downloadThroughShortLink(id), all);
    }

    void freshRecordingWithoutRangesWaits()
    {
        const quint32 id = 2150000003u;
        bench.queue->isRecording = true;
        bench.writeFile(bench.path("fresh.mp4"), QByteArray());
        FilesTable::insertRecording("fresh.mp4", id, true);
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(bench.fileState(id), QString("false|false|false|0|true"));
        QVERIFY(bench.questions.isEmpty());
    }

    void interruptedUploadResumes()
    {
        const quint32 id = 2200000004u;
        const QByteArray data = bench.record("resume.mp4", id, {400000, 400000, 400000, 400000}, true, 4);
        bench.queue->uploadStallMs = 1500;
        // The third range gets no answer at all.
        bench.arm("name=stall&target=upload&after=2&ms=20000");
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.runOnce(), QList<int>({127}));
        QCOMPARE(bench.segmentMarks(id), QString("ttff"));
        QCOMPARE(bench.fileState(id), QString("false|false|true|1600000|true"));
        QVERIFY(bench.queue->serviceUploadURL.isEmpty()); // the next run asks for a server again
        QCOMPARE(bench.serverFile(id).value("size").toInt(), 800000);

        const int first = bench.requests().size();
        QCOMPARE(bench.runOnce(), QList<int>({0}));
        QCOMPARE(UploadBench::queryOf(bench.requestsSince(first).at(0)).queryItemValue("a"), QString("get_upload_url"));
        QCOMPARE(UploadBench::queryOf(bench.requestsSince(first).at(1)).queryItemValue("start_pos"), QString("800000"));
        QCOMPARE(bench.fileState(id), QString("true|true|true|1600000|true"));
        QCOMPARE(bench.downloadThroughShortLink(id), data);
    }

    void lowerIdFirstAndScreenshotsWithoutPreview()
    {
        const quint32 shotId = 300, recId = 200;
        const QByteArray shot = randomBytes(40000, 30);
        bench.writeFile(bench.path("shot.png"), shot);
        UploadBench::addSegments(shotId, 0, 0, {shot.size()});
        UploadBench::insertRow("shot.png", shotId,
                               QString("1700000000, %1, 'false', 'shot.png', 'true', 'true', '1', 'shot', '', 'true', "
                                       "'1', 'false'")
                                   .arg(shot.size()));
        const QByteArray rec = bench.record("rec200.mp4", recId, {50000}, true, 20);

        QSignalSpy done(bench.queue, &UploadQueue::uploadFileDone);
        const QList<int> codes = bench.runUntilEmpty();
        QCOMPARE(codes.last(), 1);
        QCOMPARE(done.size(), 2);
        QCOMPARE(done[0].at(0).toUInt(), recId);
        QCOMPARE(done[1].at(0).toUInt(), shotId);
        QCOMPARE(bench.fileState(shotId), QString("true|true|true|40000|true"));
        QCOMPARE(bench.serverFile(shotId).value("preview_ext").toString(), QString());
        QCOMPARE(bench.downloadThroughShortLink(shotId), shot);
        QCOMPARE(bench.downloadThroughShortLink(recId), rec);
    }

    void serviceAwayAtStart()
    {
        const quint32 id = 2300000005u;
        bench.record("away.mp4", id, {100000, 100000}, true, 5);
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const quint16 port = closed.serverPort();
        closed.close();
        qputenv("ORLUNE_SERVICE_URL", QString("http://127.0.0.1:%1/").arg(port).toUtf8());

        // The error ends the run at once; the finished reply that follows is
        // still handed on as an account answer, and then ends as a bad answer.
        QCOMPARE(bench.runOnce(), QList<int>({0, 128, 127}));
        QCOMPARE(bench.host.tabs.last(), 2);
        QVERIFY(!bench.host.isUserActualized());
        QCOMPARE(bench.fileState(id), QString("false|false|true|200000|true"));
        QCOMPARE(bench.segmentMarks(id), QString("ff"));

        qputenv("ORLUNE_SERVICE_URL", bench.service->url("/").toUtf8());
        QCOMPARE(bench.runOnce(), QList<int>({128}));
        QCOMPARE(bench.host.tabs.last(), 0);
        QCOMPARE(bench.runUntilEmpty().last(), 1);
        QCOMPARE(bench.fileState(id), QString("true|true|true|200000|true"));
    }
};

QTEST_GUILESS_MAIN(TestUploadFlow)
#include "test_upload_flow.moc"
