#pragma once

// The uploader against the reference service: the service as a child process
// on a free loopback port with one account, the media library opened as
// start-up opens it, recordings written to disk with their rows entered as
// the recorder enters them, and the queue driven run by run as the
// controller's tick drives it. Rows are checked with the sqlite3 tool.

#include "ServiceProcess.h"
#include "TestTools.h"

#include "FilesTable.h"
#include "MediaDatabase.h"
#include "SegmentsTable.h"
#include "SettingsManager.h"
#include "UploadHost.h"
#include "UploadQuestions.h"
#include "UploadQueue.h"

#include <QSqlQuery>
#include <QtTest>
#include <memory>

// The controller's side as the uploader sees it, with everything it was told kept for checks.
class RecordingHost : public UploadHost
{
public:
    QList<int> tabs;
    QList<QMap<QString, QString>> userInfos;
    QList<QPair<int, QString>> popups;
    QStringList saveOffers;

    void setTabIndex(int idx) override { tabs << idx; }
    void setUserInfo2(QMap<QString, QString>& map, QString type) override
    {
        map.insert("__request", type);
        userInfos << map;
    }
    void showPopup(Common::MsgType msg, QString text) override { popups << qMakePair(int(msg), text); }
    QString saveFileWithReformatting(QString name, QString pseudo, bool) override
    {
        saveOffers << name + "|" + pseudo;
        return {};
    }
};

class UploadBench
{
public:
    QTemporaryDir serviceDir;
    std::unique_ptr<ServiceProcess> service;
    ServiceProcess::Account account;
    QString filesPath;
    UploadQueue* queue = nullptr;
    RecordingHost host;
    QStringList questions; // titles of the boxes asked, in order
    QMessageBox::StandardButton answer = QMessageBox::No;

    // Starts the service with one signed-in account and attaches the queue to it.
    bool start()
    {
        QCoreApplication::setOrganizationName("Halvenmoor");
        QCoreApplication::setApplicationName("orlune");
        service = std::make_unique<ServiceProcess>(serviceDir.path());
        account = service->createAccount("alice");
        if (account.login.isEmpty() || !service->start())
            return false;
        qputenv("ORLUNE_SERVICE_URL", service->url("/").toUtf8());

        SettingsManager* settings = SettingsManager::instance();
        filesPath = settings->readSettingStr("settings_path") + "/Records";
        QDir().mkpath(filesPath);
        settings->writeSetting("files_path", filesPath);
        settings->writeSetting("login", account.login);
        settings->writeSetting("password", account.token);
        settings->writeSetting("salt", account.salt);
        settings->writeSetting("is_authenticated_user", true);
        if (!openDatabase(settings->readSettingStr("settings_path")))
            return false;

        queue = UploadQueue::instance();
        queue->init(settings, settings);
        queue->setHost(&host);
        queue->setFilesPath(filesPath);
        queue->setUserCredentials(account.login, account.token, account.salt);
        QObject::connect(queue, &UploadQueue::uploadFileDone, [this]() { host.setUserActualized(false); });
        setUploadQuestionAnswer([this](const QString& title, const QString&) {
            questions << title;
            return answer;
        });
        return true;
    }

    // A fresh queue state, empty tables and no faults, as after a restart of the program.
    void reset()
    {
        service->post("/admin/reset", {});
        sql("DELETE FROM files");
        sql("DELETE FROM segments");
        sql("DELETE FROM deletion_queue");
        queue->is_running = 0;
        queue->file_id = 0;
        queue->isRecording = false;
        queue->serviceUploadURL.clear();
        queue->serviceUploadKey.clear();
        queue->server_id.clear();
        queue->file.close();
        queue->uploadStallMs = 300000;
        queue->serviceTimeoutMs = 60000;
        host = RecordingHost();
        questions.clear();
        answer = QMessageBox::No;
        qputenv("ORLUNE_SERVICE_URL", service->url("/").toUtf8());
    }

    void arm(const QString& query) { QVERIFY(service->arm(query)); }

    // One run, as one tick starts it: every report it gives, the trailing ones included.
    QList<int> runOnce(int timeoutMs = 30000)
    {
        QSignalSpy finished(queue, &UploadQueue::uploadFinished);
        queue->run();
        waitUntil([&] { return !queue->is_running && !finished.isEmpty(); }, timeoutMs);
        QTest::qWait(50); // a failed reply reports twice: error, then finished
        QList<int> codes;
        for (const auto& args : finished)
            codes << args.at(0).toInt();
        return codes;
    }

    // Runs as the ticks would until the queue reports it is empty; all reports in order.
    QList<int> runUntilEmpty(int maxRuns = 20)
    {
        QList<int> all;
        for (int i = 0; i < maxRuns; ++i) {
            const QList<int> codes = runOnce();
            all << codes;
            if (codes.contains(1))
                break;
        }
        return all;
    }

    // ---- the recorder's side ----------------------------------------------

    static void sql(const QString& statement)
    {
        QSqlQuery query(connectionForCurrentThread());
        query.exec(statement);
    }

    QString path(const QString& name) const { return filesPath + "/" + name; }

    static void writeFile(const QString& path, const QByteArray& bytes, bool append = false)
    {
        QFile f(path);
        QVERIFY(f.open(append ? QIODevice::Append : QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(f.write(bytes), bytes.size());
    }

    // A recording as the recorder leaves it: the media file, its preview and
    // animated preview, a files row, and one segments row per range.
    QByteArray record(const QString& name, quint32 id, const QList<qint64>& ranges, bool finalize, quint32 seed = 1)
    {
        qint64 total = 0;
        for (qint64 r : ranges)
            total += r;
        const QByteArray data = randomBytes(total, seed);
        writeFile(path(name), data);
        writeFile(path(name + ".jpg"), randomBytes(3000, seed + 100));
        writeFile(path(name + ".gif"), randomBytes(5000, seed + 200));
        FilesTable::insertRecording(name, id, true);
        addSegments(id, 0, 0, ranges);
        if (finalize)
            FilesTable::finalizeRecording(id, total, 3, ranges.size());
        return data;
    }

    // A files row written as it stands: the values after file_name and file_id.
    static void insertRow(const QString& name, quint32 id, const QString& rest)
    {
        sql(QString("insert into files values('%1', %2, %3)").arg(name).arg(id).arg(rest));
    }

    static void addSegments(quint32 id, qint64 pos, int firstSegId, const QList<qint64>& ranges)
    {
        for (qint64 r : ranges) {
            SegmentsTable::insert(id, pos, r, firstSegId++);
            pos += r;
        }
    }

    // ---- checks -----------------------------------------------------------

    QStringList rows(const QString& statement) const
    {
        return sqliteRowsOf(SettingsManager::instance()->readSettingStr("settings_path") + "/orlune.sqlite", statement);
    }

    // file_uploaded|file_preview_uploaded|file_finalized|file_size|file_toupload of one file.
    QString fileState(quint32 id) const
    {
        return rows(QString("SELECT file_uploaded, file_preview_uploaded, file_finalized, file_size, file_toupload "
                            "FROM files WHERE file_id=%1")
                        .arg(id))
            .value(0);
    }

    // seg_uploaded of each segment, in seg_id order, as one string of t and f.
    QString segmentMarks(quint32 id) const
    {
        QString marks;
        for (const QString& r :
             rows(QString("SELECT seg_uploaded FROM segments WHERE file_id=%1 ORDER BY seg_id").arg(id)))
            marks += r == "true" ? 't' : 'f';
        return marks;
    }

    QJsonObject serverFile(quint32 id) const { return service->file(id); }

    // The short link through the queue, then the file behind it over HTTP.
    QByteArray downloadThroughShortLink(quint32 id, const QString& suffix = {})
    {
        QSignalSpy link(queue, &UploadQueue::gotShareLinkCall);
        queue->serviceGetShareLink(id);
        if (!link.wait(10000))
            return "no link";
        const QUrl url(link.first().at(0).toString());
        const auto reply = service->get(url.path() + suffix);
        return reply.status == 200 ? reply.body : QByteArray("status ") + QByteArray::number(reply.status);
    }

    QJsonArray requests() const { return service->requests(); }

    // The requests since the first-th, without the test's own downloads through short links.
    QJsonArray requestsSince(int first) const
    {
        const QJsonArray all = requests();
        QJsonArray out;
        for (int i = first; i < all.size(); ++i)
            if (!all.at(i).toObject().value("target").toString().startsWith("/s/"))
                out.append(all.at(i));
        return out;
    }

    static QUrlQuery queryOf(const QJsonValue& request)
    {
        return QUrlQuery(QUrl("http://h" + request.toObject().value("target").toString()).query());
    }
};
