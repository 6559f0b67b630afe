// Saving a copy of a fragmented recording as an ordinary MP4, checked with
// ffprobe and by walking the output's top-level boxes.

#include "TestTools.h"
#include "remuxFile.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <QtTest>

namespace {
QJsonObject probe(const QString& path)
{
    return ffprobe(path, "stream=codec_type,codec_name,nb_read_packets:format=duration", {"-count_packets"});
}

QStringList streamTypes(const QJsonObject& info)
{
    QStringList types;
    for (const QJsonValue& s : info["streams"].toArray())
        types << s["codec_type"].toString();
    return types;
}

struct ProgressLog
{
    QList<int> steps;
    int cancelAt = -1;
};

int recordProgress(void* ctx, int step)
{
    auto* log = static_cast<ProgressLog*>(ctx);
    log->steps << step;
    return step == log->cancelAt ? -1 : 0;
}

// remuxFile on paths; a null log means no progress callback.
int remux(const QString& in, const QString& out, ProgressLog* log = nullptr)
{
    return remuxFile(QFile::encodeName(in).constData(), QFile::encodeName(out).constData(), log,
                     log ? recordProgress : nullptr);
}
} // namespace

class TestRemux : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        source = dir.filePath("rec.mp4");
        QVERIFY(makeFragmentedRecording(source));
        QVERIFY(topLevelBoxes(source).count("moof") > 1);
        // Lossless video makes a file of several mebibytes for the progress steps.
        bigSource = dir.filePath("big.mp4");
        QVERIFY(makeFragmentedRecording(bigSource, {"-qp", "0"}, "1280x720"));
    }

    void copiesIntoOrdinaryMp4WithIndexFirst()
    {
        const QString out = dir.filePath("copy.mp4");
        ProgressLog log;
        QCOMPARE(remux(source, out, &log), 0);
        QCOMPARE(QString(remuxMessage()), QString());

        const QStringList boxes = topLevelBoxes(out);
        QVERIFY2(boxes.contains("moov") && boxes.indexOf("moov") < boxes.indexOf("mdat") && !boxes.contains("moof"),
                 qPrintable(boxes.join(',')));

        const QJsonObject in = probe(source), copy = probe(out);
        QCOMPARE(streamTypes(copy), (QStringList{"video", "audio"}));
        for (int i = 0; i < 2; ++i) {
            const QJsonObject a = in["streams"].toArray()[i].toObject(), b = copy["streams"].toArray()[i].toObject();
            QCOMPARE(b["codec_name"], a["codec_name"]);
            QCOMPARE(b["nb_read_packets"], a["nb_read_packets"]);
        }
        QVERIFY(qAbs(copy["format"]["duration"].toString().toDouble() - 3.0) < 0.2);
        // The whole file is decodable.
        QVERIFY(decodesCleanly(out));
        // A file under a mebibyte gets one step.
        QCOMPARE(log.steps, QList<int>{1});
    }

    void progressCountsMebibytesAndCancels()
    {
        const QString out = dir.filePath("bigcopy.mp4");
        ProgressLog log;
        QCOMPARE(remux(bigSource, out, &log), 0);
        const qint64 mib = 0x100000;
        const qint64 mediaBytes = QFileInfo(bigSource).size();
        QVERIFY2(mediaBytes > 3 * mib, qPrintable(QString::number(mediaBytes)));
        QVERIFY(log.steps.size() >= 3);
        QVERIFY(log.steps.size() <= (mediaBytes + mib - 1) / mib);
        for (int i = 0; i < log.steps.size(); ++i)
            QCOMPARE(log.steps[i], i + 1);

        // Cancelled at the second step: the trailer is still written; removing the file is the caller's choice.
        const QString cancelled = dir.filePath("cancelled.mp4");
        ProgressLog cancelling;
        cancelling.cancelAt = 2;
        QCOMPARE(remux(bigSource, cancelled, &cancelling), 2);
        QCOMPARE(QString(remuxMessage()), QString("Interrupted by user: code:-1"));
        QCOMPARE(cancelling.steps, (QList<int>{1, 2}));
        QVERIFY(topLevelBoxes(cancelled).contains("moov"));
    }

    void unusablePathsFail()
    {
        const QString out = dir.filePath("never.mp4");
        QCOMPARE(remuxFile(nullptr, QFile::encodeName(out).constData(), nullptr, nullptr), 0);
        QCOMPARE(QString(remuxMessage()), QString("Input file is not provided!"));
        QCOMPARE(remuxFile(QFile::encodeName(source).constData(), nullptr, nullptr, nullptr), 0);
        QCOMPARE(QString(remuxMessage()), QString("Output file is not provided!"));

        const QString missing = dir.filePath("nothere.mp4");
        QCOMPARE(remux(missing, out), 1);
        QCOMPARE(QString(remuxMessage()), QString("Could not open input file '%1': error:-2 (\"No such file "
                                                  "or directory\")")
                                              .arg(missing));
        const QString junk = dir.filePath("junk.mp4");
        QFile f(junk);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(QByteArray(4096, 'x')) == 4096);
        f.close();
        QCOMPARE(remux(junk, out), 1);
        QVERIFY(QString(remuxMessage()).startsWith(QString("Could not open input file '%1': error:").arg(junk)));
        // The source is never touched, and no output is left behind.
        QCOMPARE(QFileInfo(junk).size(), 4096);
        QVERIFY(!QFile::exists(out));

        const QString unwritable = dir.filePath("no/such/folder/out.mp4");
        QCOMPARE(remux(source, unwritable), 1);
        QCOMPARE(QString(remuxMessage()), QString("Could not open output file '%1': error:-2 (\"No such "
                                                  "file or directory\")")
                                              .arg(unwritable));
    }

    void codecTheContainerRefusesFails()
    {
        // The input demuxer also reads QuickTime files, which may carry PCM
        // sound that an MP4 cannot: the header is refused, the run fails.
        const QString mov = dir.filePath("pcm.mov");
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=s=160x120:d=1", "-f",
                                              "lavfi", "-i", "sine=d=1", "-c:v", "libx264", "-c:a", "pcm_s16le", mov}),
                 0);
        const QString out = dir.filePath("pcm-copy.mp4");
        QCOMPARE(remux(mov, out), 1);
        QVERIFY2(QString(remuxMessage()).startsWith("Error occurred when writing output file: error:"), remuxMessage());
    }

    void dataStreamIsDropped()
    {
        // A timecode track is a data stream with one packet.
        const QString withData = dir.filePath("timecode.mp4");
        QVERIFY(makeFragmentedRecording(withData, {"-timecode", "01:00:00:00", "-write_tmcd", "1"}));
        QCOMPARE(streamTypes(probe(withData)), (QStringList{"video", "audio", "data"}));

        const QString out = dir.filePath("timecode-copy.mp4");
        QCOMPARE(remux(withData, out), 0);
        const QJsonObject copy = probe(out);
        QCOMPARE(streamTypes(copy), (QStringList{"video", "audio"}));
        QCOMPARE(copy["streams"].toArray()[0].toObject()["nb_read_packets"].toString(), QString("75"));
    }

private:
    QTemporaryDir dir;
    QString source;
    QString bigSource;
};

QTEST_GUILESS_MAIN(TestRemux)
#include "test_remux.moc"
