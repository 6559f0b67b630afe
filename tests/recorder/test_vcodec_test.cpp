// The codec capability table: which H.264 encoders open on this machine, at
// the largest screen of the test's X server and at 1080p.

#include "ffmpegVCodecTest.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtTest>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {
QString rowText(const ffmpegVCodecTest::CodecRow& row)
{
    return QString("%1 hw:%2 %3/%4")
        .arg(row.codec)
        .arg(row.isHw)
        .arg(row.maxres ? "Y" : "N")
        .arg(row.fallback1080 ? "Y" : "N");
}
} // namespace

class TestVCodecTest : public QObject
{
    Q_OBJECT

private slots:
    void rowsOnThisMachine()
    {
        QSize largest(1920, 1080);
        for (QScreen* screen : QGuiApplication::screens())
            largest = largest.expandedTo(screen->geometry().size());
        QCOMPARE(ffmpegVCodecTest::maxDisplaySize(), largest);

        ffmpegVCodecTest test;
        test.start();
        QVERIFY(test.wait(60000));

        // The platform's own encoder does not exist here, so neither of its rows
        // opens; the software encoder opens at the screen's size and so is not tried again at 1080p.
        QStringList rows;
        for (const auto& row : test.codecs)
            rows << rowText(row);
        QCOMPARE(rows.at(0), QString("h264_mf hw:1 N/N"));
        QCOMPARE(rows.at(1), QString("h264_mf hw:0 N/N"));
        if (!avcodec_find_encoder_by_name("libopenh264"))
            QCOMPARE(rows.at(2), QString("libopenh264 hw:0 N/N"));
        QCOMPARE(rows.at(3), QString("libx264 hw:0 Y/N"));
        QVERIFY(test.codecs[3].usable());
        QVERIFY(!test.codecs[0].usable());

        // No encoder takes a picture this large: the retry at 1920x1080 works, and a
        // later run tests every row again from scratch.
        test.testAll(QSize(20000, 20000));
        QCOMPARE(rowText(test.codecs[3]), QString("libx264 hw:0 N/Y"));
        test.testAll(QSize(1280, 720));
        QCOMPARE(rowText(test.codecs[3]), QString("libx264 hw:0 Y/N"));
    }
};

QTEST_MAIN(TestVCodecTest)
#include "test_vcodec_test.moc"
