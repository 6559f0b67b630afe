// The reference service as the program meets it: a separate process on a
// loopback port, spoken to over HTTP only.
#include "ServiceProcess.h"
#include "TestTools.h"
#include "Version.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray md5(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}

} // namespace

class TestService : public QObject
{
    Q_OBJECT

private:
    ServiceProcess::Reply upload(quint32 fileId, const QByteArray& bytes, qint64 startPos, qint64 fullSize,
                                 bool finalized, const QString& previewExt = {}, const QByteArray& md5Override = {})
    {
        QUrlQuery q(QString("file_name=rec.mp4&file_pseudoname=My%20recording&file_id=%1&segment_id=0"
                            "&file_preview_ext=%2&finalized=%3&start_pos=%4&length=%5&fullsize=%6"
                            "&file_segments_count=0&bits=64&os=win&md5val=%7")
                        .arg(fileId)
                        .arg(previewExt)
                        .arg(finalized ? 1 : 0)
                        .arg(startPos)
                        .arg(bytes.size())
                        .arg(fullSize)
                        .arg(QString::fromLatin1(md5Override.isEmpty() ? md5(bytes) : md5Override)));
        for (const auto& item : ServiceProcess::credentials(alice).queryItems(QUrl::FullyEncoded))
            q.addQueryItem(item.first, item.second);
        q.addQueryItem("upload_key", uploadKey);
        return service->post(uploadPath + "?" + q.toString(QUrl::FullyEncoded), bytes);
    }

    // Uploads a whole file in one finalized range and returns its short link path.
    QString uploadComplete(quint32 fileId, const QByteArray& data)
    {
        return upload(fileId, data, 0, data.size(), true).has("X-KVD-Uploaded") ? shortLink(fileId) : QString();
    }

    QString shortLink(quint32 fileId)
    {
        return QUrl(service->api("get_short_url", alice, fileQuery(fileId)).value("short_url")).path();
    }

    static QUrlQuery fileQuery(quint32 fileId) { return QUrlQuery("file_id=" + QString::number(fileId)); }

    void arm(const QString& query) { QVERIFY2(service->arm(query), qPrintable(query)); }

    QTemporaryDir dataDir;
    std::unique_ptr<ServiceProcess> service;
    ServiceProcess::Account alice;
    QString uploadPath;
    QString uploadKey;

private slots:
    void initTestCase()
    {
        QVERIFY(dataDir.isValid());
        service = std::make_unique<ServiceProcess>(dataDir.path());
        QString output;
        alice = service->createAccount("alice", &output);
        QCOMPARE(alice.token.size(), 40);
        // A login is handed out once; the failed second attempt prints nothing on stdout.
        QVERIFY(service->createAccount("alice", &output).login.isEmpty());
        QVERIFY(output.isEmpty());
        QVERIFY(service->start());

        const auto reply = service->api("get_upload_url", alice);
        const QUrl uploadUrl(reply.value("upload_url"));
        QCOMPARE(uploadUrl.host(), QString("127.0.0.1"));
        uploadPath = uploadUrl.path();
        uploadKey = reply.value("upload_key");
    }

    void getUserChecksTheSignature()
    {
        auto reply = service->api("get_user", alice);
        QCOMPARE(reply.value("name"), QString("alice"));

        ServiceProcess::Account wrongSalt = alice;
        wrongSalt.salt = "not-the-salt";
        reply = service->api("get_user", wrongSalt);
        QCOMPARE(reply.value("result"), QString("ERROR"));
        QCOMPARE(reply.value("message"), QString("NOT AUTHORIZED!"));

        ServiceProcess::Account stranger = alice;
        stranger.token = "unknown";
        reply = service->api("get_user", stranger);
        QCOMPARE(reply.value("result"), QString("ERROR"));
        QCOMPARE(reply.value("message"), QString("INVALID TOKEN!"));
    }

    void uploadInRangesAndShare()
    {
        const QByteArray data = randomBytes(2500000, 7);
        const quint32 fileId = 3000000001u;
        QByteArray serverId;
        for (qint64 pos = 0; pos < data.size(); pos += 1048576) {
            const QByteArray range = data.mid(pos, 1048576);
            const bool last = pos + range.size() == data.size();
            // While "recording", the announced size is what exists so far.
            const auto r = upload(fileId, range, pos, last ? data.size() : pos + range.size(), last);
            QCOMPARE(r.status, 200);
            QVERIFY(r.has("X-KVD-SegmentOK"));
            QCOMPARE(r.has("X-KVD-Uploaded"), last);
            QVERIFY(!r.header("X-KVD-SrvID").isEmpty());
            QVERIFY(serverId.isEmpty() || serverId == r.header("X-KVD-SrvID"));
            serverId = r.header("X-KVD-SrvID");
        }
        const QByteArray preview = randomBytes(5000, 8);
        auto r = upload(fileId, preview, 0, preview.size(), false, "jpg");
        QVERIFY(r.has("X-KVD-Uploaded"));

        // A body that does not match its MD5 is refused and changes nothing.
        r = upload(fileId, preview, 0, preview.size(), false, "jpg", md5("other"));
        QCOMPARE(r.status, 400);

        const QString link = shortLink(fileId);
        QVERIFY(link.startsWith("/s/"));
        r = service->get(link);
        QCOMPARE(r.status, 200);
        QCOMPARE(r.header("Content-Type"), QByteArray("video/mp4"));
        QVERIFY(r.body == data);
        r = service->get(link, {{"Range", "bytes=1000000-1999999"}});
        QCOMPARE(r.status, 206);
        QCOMPARE(r.header("Content-Range"), QByteArray("bytes 1000000-1999999/2500000"));
        QVERIFY(r.body == data.mid(1000000, 1000000));
        r = service->get(link, {{"Range", "bytes=-100"}});
        QCOMPARE(r.status, 206);
        QVERIFY(r.body == data.right(100));
        r = service->get(link + "/preview");
        QVERIFY(r.body == preview);

        const QJsonObject stored = service->file(fileId);
        QCOMPARE(stored.value("md5").toString().toLatin1(), md5(data));
        QCOMPARE(stored.value("preview_md5").toString().toLatin1(), md5(preview));
        QCOMPARE(stored.value("size").toDouble(), 2500000.0);

        // The journal shows the requests as they came, user agent included.
        const QJsonArray journal = service->requests();
        QVERIFY(std::any_of(journal.begin(), journal.end(), [](const QJsonValue& v) {
            return v.toObject().value("target").toString().contains("md5val=")
                   && v.toObject().value("user_agent").toString() == "KVD Uploader/" ORLUNE_VERSION;
        }));
    }

    // The fault switches and the server change are exercised end to end by the
    // cloud tests; what they do not reach is the action filter's bookkeeping and
    // the refusal of unknown or misplaced switches.
    void faultFiltersAndRefusals()
    {
        arm("name=api_error&action=get_short_url");
        QCOMPARE(service->api("get_user", alice).value("result"), QString("OK"));
        QCOMPARE(service->api("get_short_url", alice).value("message"), QString("Service is temporarily unavailable"));
        QVERIFY(QJsonDocument::fromJson(service->get("/admin/faults").body).array().isEmpty());
        QCOMPARE(service->post("/admin/fault?name=no_such_fault", {}).status, 400);
        QCOMPARE(service->post("/admin/fault?name=not_xml&target=upload", {}).status, 400);
    }

    void stallOutlastsTheClient()
    {
        arm("name=stall&action=get_short_url&ms=1500");
        QElapsedTimer clock;
        clock.start();
        // A raw socket, so that no client retry hides what the service does.
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, QUrl(service->url("/")).port());
        QVERIFY(socket.waitForConnected(5000));
        socket.write("GET /?a=get_short_url HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        // Other connections are served while this one hangs.
        QCOMPARE(service->api("get_user", alice).value("result"), QString("OK"));
        QTRY_VERIFY_WITH_TIMEOUT(socket.state() == QAbstractSocket::UnconnectedState, 10000);
        QVERIFY(clock.elapsed() >= 1400);
        QVERIFY(socket.readAll().isEmpty());
    }

    void deleteFileRemovesFileAndLink()
    {
        const quint32 fileId = 3300000001u;
        const QString link = uploadComplete(fileId, randomBytes(4000, 12));
        QCOMPARE(service->get(link).status, 200);
        QCOMPARE(service->api("delete_file", alice, fileQuery(fileId)).value("result"), QString("OK"));
        QCOMPARE(service->get(link).status, 404);
        QVERIFY(service->file(fileId).isEmpty());
        QVERIFY(!QFile::exists(dataDir.filePath("files/alice/3300000001.media")));
        // Asking again: nothing there, and the program may drop its request.
        const auto again = service->api("delete_file", alice, fileQuery(fileId));
        QCOMPARE(again.value("result"), QString("ERROR"));
        QCOMPARE(again.value("force"), QString("1"));
    }

    void accountPageSignsUpAndIn()
    {
        auto r = service->get("/account");
        QCOMPARE(r.status, 200);
        for (const char* needle : {"id=\"signIn\"", "id=\"signUp\"", "invokeApplyNewCredentials(login, token, salt)",
                                   "qrc:///qtwebchannel/qwebchannel.js"})
            QVERIFY2(r.body.contains(needle), needle);
        QVERIFY(service->get("/qwebchannel.js").body.contains("QWebChannel"));

        r = service->post("/account/signup", "login=bob&password=s%2Bcret", "application/x-www-form-urlencoded");
        const QJsonObject created = QJsonDocument::fromJson(r.body).object();
        QCOMPARE(created.value("result").toString(), QString("OK"));
        r = service->post("/account/signin", "login=bob&password=wrong", "application/x-www-form-urlencoded");
        QCOMPARE(QJsonDocument::fromJson(r.body).object().value("result").toString(), QString("ERROR"));
        r = service->post("/account/signin", "login=bob&password=s%2Bcret", "application/x-www-form-urlencoded");
        const QJsonObject signedIn = QJsonDocument::fromJson(r.body).object();
        QCOMPARE(signedIn.value("token"), created.value("token"));
        const ServiceProcess::Account bob{"bob", signedIn.value("token").toString(), signedIn.value("salt").toString()};
        QCOMPARE(service->api("get_user", bob).value("name"), QString("bob"));

        // An account closed by the operator is told so.
        QCOMPARE(service->post("/admin/account?login=bob&status=deleted", {}).status, 200);
        QCOMPARE(service->api("get_user", bob).value("status"), QString("deleted"));
    }

    void updateHostAndLogUpload()
    {
        QCOMPARE(service->get("/download/check/Appcast.xml").status, 404);
        QFile feed(dataDir.filePath("Appcast.xml"));
        QVERIFY(feed.open(QIODevice::WriteOnly));
        feed.write("<rss/>");
        feed.close();
        QCOMPARE(service->get("/download/check/Appcast.xml").body, QByteArray("<rss/>"));

        const QByteArray package = randomBytes(70000, 13);
        QVERIFY(QDir(dataDir.path()).mkpath("downloads"));
        QFile zip(dataDir.filePath("downloads/update.zip"));
        QVERIFY(zip.open(QIODevice::WriteOnly));
        zip.write(package);
        zip.close();
        auto r = service->get("/downloads/update.zip", {{"Range", "bytes=4464-69999"}});
        QCOMPARE(r.status, 206);
        QVERIFY(r.body == package.mid(4464));
        QCOMPARE(service->get("/downloads/update.zip", {{"Range", "bytes=70000-"}}).status, 416);
        QCOMPARE(service->get("/downloads/..%2Faccounts.json").status, 404);

        const QByteArray logs = randomBytes(3000, 14);
        r = service->post("/download/uploadlogs/?file_name=orlune-logs.zip&length=3000&hwid=abc", logs);
        QCOMPARE(r.status, 200);
        const QString stored = QString::fromUtf8(r.header("X-KVD-Uploaded"));
        QVERIFY(stored.endsWith("orlune-logs.zip"));
        QFile kept(dataDir.filePath("logs/" + stored));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QVERIFY(kept.readAll() == logs);

        // The report form that follows names the log, and keeps what the user wrote.
        r = service->get("/report?LogID=" + stored);
        QVERIFY(r.status == 200 && r.body.contains(("value=\"" + stored + "\"").toUtf8()));
        QCOMPARE(service->post("/report", "log_id=x&description=", "application/x-www-form-urlencoded").status, 400);
        r = service->post("/report", "log_id=" + stored.toUtf8() + "&description=It+froze",
                          "application/x-www-form-urlencoded");
        QCOMPARE(r.status, 200);
        const QStringList reports = QDir(dataDir.filePath("reports")).entryList({"*.json"});
        QCOMPARE(reports.size(), 1);
        QFile report(dataDir.filePath("reports/" + reports[0]));
        QVERIFY(report.open(QIODevice::ReadOnly));
        const QJsonObject sent = QJsonDocument::fromJson(report.readAll()).object();
        QCOMPARE(sent.value("description").toString(), QString("It froze"));
        QCOMPARE(sent.value("log_id").toString(), stored);
    }

    // The IP echo answers with the caller's address in "origin", as JSON, and only to reads.
    void ipEchoNamesTheCaller()
    {
        const ServiceProcess::Reply r = service->get("/ip");
        QCOMPARE(r.status, 200);
        QVERIFY(r.header("Content-Type").startsWith("application/json"));
        QCOMPARE(QJsonDocument::fromJson(r.body).object(), (QJsonObject{{"origin", "127.0.0.1"}}));
        QCOMPARE(service->post("/ip", "x").status, 405);
    }

    void killedServiceKeepsItsData()
    {
        const QByteArray data = randomBytes(5000, 15);
        const QString link = uploadComplete(3400000001u, data);
        service->kill();
        QVERIFY(service->start());
        QCOMPARE(service->api("get_user", alice).value("result"), QString("OK"));
        QVERIFY(service->get(link).body == data);
    }
};

QTEST_GUILESS_MAIN(TestService)
#include "test_service.moc"
