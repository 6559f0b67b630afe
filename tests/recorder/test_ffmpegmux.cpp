// The recording session driven for real: lavfi test sources, a real database
// file, and the written MP4 checked with ffprobe and the sqlite3 tool.

#include "OutputState.h"
#include "RecorderTestSupport.h"
#include "ffmpegAudioMixEnc.h"
#include "ffmpegVideoCap.h"
#include "ffmpegVideoEnc.h"
#include "pulseAudioLoopback.h"

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QtTest>

class TestFfmpegMux : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(library.open()); }

    void scalingRule_data()
    {
        QTest::addColumn<int>("hdRec");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("expectedWidth");
        QTest::addColumn<int>("expectedHeight");

        QTest::newRow("4K under HD") << 1 << 3840 << 2160 << 1920 << 1080;
        QTest::newRow("one pixel too wide") << 1 << 1921 << 1001 << 1920 << 1000;
        QTest::newRow("odd sizes under SD") << 0 << 1279 << 799 << 1278 << 798;
        QTest::newRow("4K kept under 4K class") << 2 << 3840 << 2160 << 3840 << 2160;
        QTest::newRow("too tall only") << 1 << 1600 << 1600 << 1200 << 1200;
        // Width first, then the new height is still too tall.
        QTest::newRow("both limits") << 1 << 2000 << 1500 << 1600 << 1200;
        QTest::newRow("unknown class is SD") << 7 << 1920 << 1080 << 1280 << 720;
    }

    void scalingRule()
    {
        QFETCH(int, hdRec);
        QFETCH(int, width);
        QFETCH(int, height);
        const ffmpegMux::QualityClass quality = ffmpegMux::qualityClass(hdRec);
        ffmpegMux::limitVideoSize(width, height, quality.maxWidth, quality.maxHeight);
        QTEST(width, "expectedWidth");
        QTEST(height, "expectedHeight");
    }

    void setInputOutputAppliesQualityClass()
    {
        ffmpegMux coder;
        coder.vcodecQuality = 60;
        coder.setInputOutput(kTestVideo, kTestMic, "hd.mp4", 0, "/tmp", 1);
        QCOMPARE(coder.vcodecQuality, 60);
        // The SD class takes the encoder's own quality whatever was asked for, and SD's size limit.
        coder.setInputOutput(kTestVideo, kTestMic, "sd.mp4", 0, "/tmp", 0);
        QCOMPARE(coder.vcodecQuality, -1);
        QCOMPARE(QSize(coder.venc->maxWidth, coder.venc->maxHeight), QSize(1280, 800));
    }

    void writePacketEntersOnlyWrittenBytes()
    {
        ffmpegMux coder;
        const quint32 id = 4242;
        outputState = OutputState{};
        outputState.fileId = id;
        outputState.session = &coder;
        outputState.path = library.dir.path() + "/direct.bin";
        outputState.file = fopen(QFile::encodeName(outputState.path).constData(), "wb");
        QVERIFY(outputState.file);

        QByteArray data(300, 'x');
        auto* bytes = reinterpret_cast<uint8_t*>(data.data());
        QCOMPARE(write_packet(&outputState, bytes, 100), 100);
        QCOMPARE(write_packet(&outputState, bytes, 0), 0);
        QCOMPARE(write_packet(&outputState, bytes, -1), 0);
        // Refused before the buffer is touched, so a short buffer is safe here.
        QCOMPARE(write_packet(&outputState, bytes, 0x8000001), 0);
        QCOMPARE(write_packet(&outputState, bytes, 50), 50);
        // The rows exist only for bytes already on disk: read while the file is still open.
        QCOMPARE(QFileInfo(outputState.path).size(), qint64(150));
        QCOMPARE(
            sqliteRowsOf(
                library.databasePath(),
                QString("SELECT seg_id, seg_pos, seg_size FROM segments WHERE file_id=%1 ORDER BY seg_id;").arg(id)),
            QStringList({"0|0|100", "1|100|50"}));

        // Without an owning session the bytes land but no row is made.
        outputState.session = nullptr;
        QCOMPARE(write_packet(&outputState, bytes, 10), 0);
        QCOMPARE(QFileInfo(outputState.path).size(), qint64(160));
        QCOMPARE(outputState.segmentNumber, quint32(2));
        fclose(outputState.file);
        outputState = OutputState{};
    }

    void recordsSegmentedFileAndFinalizesRow()
    {
        ffmpegMux coder;
        SessionEvents session(coder);
        coder.uploadWhileRecording = true;
        coder.asys->setDevice("lavfi:sine=frequency=880");
        // A quote in the name must survive the SQL.
        const QString name = "bob's demo.mp4";
        library.aim(coder, kTestMic, name, 1);
        QCOMPARE(session.run(coder, [] { QTest::qWait(7000); }), QStringList({"started:0", "done:0"}));

        const QString path = library.dir.path() + "/" + name;
        const qint64 fileSize = QFileInfo(path).size();

        QCOMPARE(streamCodecs(path), QStringList({"h264", "aac"}));
        const QStringList boxes = topLevelBoxes(path);
        QVERIFY2(boxes.contains("moov") && boxes.lastIndexOf("moof") > boxes.indexOf("moov"),
                 qPrintable(boxes.join(',')));

        const QString id = QString::number(coder.fileId);
        // Numbered from 0, each starting where the one before ended, none sent yet.
        const QStringList segments = sqliteRowsOf(
            library.databasePath(),
            "SELECT seg_id, seg_pos, seg_size, seg_uploaded FROM segments WHERE file_id=" + id + " ORDER BY seg_id;");
        QVERIFY2(segments.size() >= 2, qPrintable(segments.join(';')));
        qint64 position = 0;
        for (int i = 0; i < segments.size(); ++i) {
            QCOMPARE(segments[i], QString("%1|%2|%3|false").arg(i).arg(position).arg(segments[i].section('|', 2, 2)));
            position += segments[i].section('|', 2, 2).toLongLong();
        }
        QCOMPARE(position, fileSize);

        const QStringList row =
            library.fileRow(coder.fileId, "file_name, file_finalized, file_size, file_segments_count, "
                                          "file_pseudoname, file_toupload, file_preview, "
                                          "file_preview_gif, file_duration");
        QCOMPARE(row.size(), 9);
        QCOMPARE(row.mid(0, 2) + row.mid(4, 4),
                 QStringList({name, "true", "bob's demo", "true", name + ".jpg", "true"}));
        QCOMPARE(row[2].toLongLong(), fileSize);
        QCOMPARE(row[3].toInt(), segments.size());
        QVERIFY2(row[8].toInt() >= 5 && row[8].toInt() <= 15, qPrintable(row[8]));
    }

    void missingMicrophoneIsReplacedBySilence()
    {
        ffmpegMux coder;
        SessionEvents session(coder);
        QSignalSpy popups(&coder, &ffmpegMux::AudioPopup);
        coder.disableSys = true;
        library.aim(coder, "audio=orlune_no_such_source", "nomic.mp4");
        // The user hears of the microphone, and the recording runs on silence, keeping its sound track.
        QCOMPARE(session.run(coder, [] {}), QStringList({"started:0", "done:0"}));
        QCOMPARE(popups.size(), 1);
        QCOMPARE(popups[0][0].toInt(), 0);
        QVERIFY(popups[0][1].toString().contains("WARNING! Microphone recording is disabled."));
        QCOMPARE(streamCodecs(library.dir.path() + "/nomic.mp4"), QStringList({"h264", "aac"}));
    }

    void silentMicrophoneEndsAfterSourceWait()
    {
        ffmpegMux coder;
        SessionEvents session(coder);
        coder.disableSys = true;
        // Opens, but ends before its first sample: the microphone never gets ready.
        library.aim(coder, "lavfi:anullsrc,atrim=end_sample=0", "nodata.mp4");
        QElapsedTimer clock;
        clock.start();
        coder.start();

        QTRY_VERIFY_WITH_TIMEOUT(session.finished(), 30000);
        QVERIFY(coder.wait(10000));
        QTest::qWait(300);
        QCOMPARE(session.events, QStringList({"done:0", "failed:1"}));
        // The end came from the source wait of about 3 seconds.
        QVERIFY2(clock.elapsed() >= 3000, qPrintable(QString::number(clock.elapsed())));
        // The file was opened before the wait, so its row is closed like any other.
        QCOMPARE(library.fileRow(coder.fileId, "file_finalized"), QStringList({"true"}));
    }

private:
    // One library for the whole run: the session threads' connections, kept by thread, then all point at the same file.
    TestLibrary library;
};

QTEST_GUILESS_MAIN(TestFfmpegMux)
#include "test_ffmpegmux.moc"
