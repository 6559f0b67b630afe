// The uploader's pieces that need no service: credentials, API query values,
// XML answers and the 1 MiB segment grid.
#include "SegmentGrid.h"
#include "ServiceQuery.h"
#include "ServiceReply.h"
#include "UploadCredentials.h"
#include "UploadQueue.h"
#include "Version.h"

#include <QRegularExpression>
#include <QtTest>

namespace {
const ServiceIdentity identity{"machine", "token", "rand", "hash"};

} // namespace

class TestUploadUnits : public QObject
{
    Q_OBJECT

private slots:
    void credentialsSignWithAFreshRandEachTime()
    {
        UploadQueue* queue = UploadQueue::instance();
        queue->setUserCredentials("alice", "token-1", "salt-1");
        const QString firstRand = queue->userRand;
        QVERIFY(QRegularExpression("^[A-Za-z0-9]{32}$").match(firstRand).hasMatch());
        QCOMPARE(queue->userHash, QString("token-1"));
        QCOMPARE(queue->userId, QString("alice"));
        QVERIFY(!queue->machine_id.isEmpty());
        QCOMPARE(queue->userSalt, UploadCredentials::userHash(firstRand, "salt-1", queue->machine_id));

        queue->setUserCredentials("alice", "token-1", "salt-1");
        QVERIFY(queue->userRand != firstRand);
        QCOMPARE(queue->userSalt, UploadCredentials::userHash(queue->userRand, "salt-1", queue->machine_id));

        // Signing out keeps the last rand and drops the hash.
        const QString keptRand = queue->userRand;
        queue->setUserCredentials("", "", "");
        QVERIFY(queue->userHash.isEmpty());
        QVERIFY(queue->userSalt.isEmpty());
        QCOMPARE(queue->userRand, keptRand);
    }

    // The order of the keys is checked on the wire by the flow test; here the values.
    void requestValues()
    {
        const QUrlQuery q = ServiceQuery::account("get_user", identity);
        QCOMPARE(q.queryItemValue("a"), QString("get_user"));
        QCOMPARE(q.queryItemValue("user_hash"), QString("hash"));
        QCOMPARE(q.queryItemValue("version"), QString(ORLUNE_VERSION));
        QCOMPARE(q.queryItemValue("bits"), QString(sizeof(void*) == 8 ? "64" : "32"));
        QCOMPARE(q.queryItemValue("os"), QString("linux"));

        // A file id above 2^31 and a title that survives the trip through an encoded URL.
        const QString title = "Bob's demo & more = 100%+";
        const QUrlQuery f = ServiceQuery::file("delete_file", 4000000000u, "rec.mp4", title, identity, "key");
        QCOMPARE(f.queryItemValue("file_id"), QString("4000000000"));
        QUrl url("http://127.0.0.1/");
        url.setQuery(f);
        const QUrlQuery back(QUrl(url.toString(QUrl::FullyEncoded)).query(QUrl::FullyEncoded));
        QCOMPARE(back.queryItemValue("file_pseudoname", QUrl::FullyDecoded), title);
    }

    void xmlAnswers_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("good");
        QTest::addColumn<int>("entries");
        QTest::newRow("answer") << QByteArray("<?xml version=\"1.0\"?><response><result>OK</result>"
                                              "<upload_url>http://h/upload</upload_url><upload_key>k</upload_key>"
                                              "</response>")
                                << true << 3;
        QTest::newRow("empty answer") << QByteArray("<response/>") << true << 0;
        QTest::newRow("html page") << QByteArray("<html><body>Service is under maintenance</body></html>") << false
                                   << 0;
        QTest::newRow("not xml") << QByteArray("Internal Server Error") << false << 0;
        QTest::newRow("nothing") << QByteArray() << false << 0;
        QTest::newRow("cut off") << QByteArray("<response><result>OK</res") << false << 0;
    }

    void xmlAnswers()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, good);
        QFETCH(int, entries);
        const ServiceReply reply = ServiceReply::parse(body);
        QCOMPARE(reply.good, good);
        QCOMPARE(reply.entries.size(), entries);
        if (entries == 3) {
            QCOMPARE(reply.entries.at(0).first, QString("result"));
            QCOMPARE(reply.map().value("upload_url"), QString("http://h/upload"));
        }
    }

    void longMessagesAreShortenedInTheLogOnly()
    {
        const QString message(300, QLatin1Char('m'));
        const ServiceReply reply = ServiceReply::parse("<response><result>ERROR</result><message>" + message.toLatin1()
                                                       + "</message></response>");
        QCOMPARE(reply.map().value("message"), message);
        QCOMPARE(ServiceReply::logValue("message", message), QString("..."));
        QCOMPARE(ServiceReply::logValue("message", message.left(256)), message.left(256));
        QCOMPARE(ServiceReply::logValue("name", message), message);
    }

    void segmentGridOfOneMebibyte()
    {
        // The rows it makes are checked in the database by the fault test that rebuilds a grid.
        QCOMPARE(SegmentGrid::build(42, 2500000).count, 3);
        QCOMPARE(SegmentGrid::build(42, 0).count, 0);
        QVERIFY(SegmentGrid::build(42, 0).statement.isEmpty());
        QCOMPARE(SegmentGrid::build(42, 1048576).count, 1);
        QCOMPARE(SegmentGrid::build(42, 1048577).count, 2);
        QVERIFY(SegmentGrid::build(42, 1048577).statement.endsWith("('42', 1048576, 1, 'false', '1');"));
    }
};

QTEST_GUILESS_MAIN(TestUploadUnits)
#include "test_upload_units.moc"
