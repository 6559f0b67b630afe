// What the pop-up's two buttons do, for each kind of pop-up: the kind of the
// last pop-up shown decides, not the kind the window reports. And the folder
// of the last saved file, which is opened only for a file that is there, and
// the saving of a copy that the pop-ups of the player offer.
#include "ApiCalls.h"
#include "LogCapture.h"
#include "RecordingPort.h"
#include "WorkflowTestSupport.h"

#include <QApplication>
#include <QClipboard>
#include <QProgressDialog>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <optional>

class TestPopupActions : public QObject
{
    Q_OBJECT

    RecordingPort port;
    AppController* controller = nullptr;
    std::optional<LogCapture> log; // made once the test library has installed its own handler
    QTemporaryDir media;
    QString recording;

private slots:
    void initTestCase()
    {
        QVERIFY(openProgramDatabase());
        SettingsManager::instance()->writeSetting("is_authenticated_user", false);
        controller = startController(&port);
        controller->tickTimer->stop(); // no service here
        log.emplace();
        // Lossless pictures make a recording of several mebibytes.
        recording = media.filePath("rec.mp4");
        QVERIFY(makeFragmentedRecording(recording, {"-qp", "0"}, "1280x720"));
    }

    void cleanupTestCase()
    {
        log.reset();
        delete controller;
    }

    void init()
    {
        port.calls.clear();
        LogCapture::clear();
        QApplication::clipboard()->clear();
        controller->savedFilePath.clear();
        controller->lastFileId = 41;
    }

    // Each row: the pop-up shown, the button, and what follows: the credentials
    // window's title ("" for none) and a line logged ("" for nothing beyond the click).
    void buttons_data()
    {
        QTest::addColumn<int>("shown");
        QTest::addColumn<bool>("left");
        QTest::addColumn<QString>("credentials");
        QTest::addColumn<QString>("logged");
        using C = Common::MsgType;
        const QString noLink = "[AC]: No link on the clipboard to open";
        const QString noPath = "[AC]: No saved file path available";
        // Nobody is signed in: asking for a share link asks for an account first.
        QTest::newRow("login, left") << int(C::MsgLogin) << true << "Sign-Up"
                                     << "[AC]: signUp";
        QTest::newRow("login, right") << int(C::MsgLogin) << false << "Log-In"
                                      << "[AC]: logIn";
        QTest::newRow("cloud, left") << int(C::MsgCloud) << true << "Sign-Up" << noLink;
        QTest::newRow("cloud, right") << int(C::MsgCloud) << false << ""
                                      << "";
        QTest::newRow("storage, left") << int(C::MsgStorage) << true << ""
                                       << "share clicked, adding to queue... 41";
        QTest::newRow("clipboard, left") << int(C::MsgClipboard) << true << "Sign-Up"
                                         << "invokeGetUploadUrl... 41";
        QTest::newRow("video link, right") << int(C::MsgExtVideoLink) << false << "" << noLink;
        QTest::newRow("video link, left") << int(C::MsgExtVideoLink) << true << ""
                                          << "";
        QTest::newRow("saved file, left") << int(C::MsgStorageWithOpenLocation) << true << "" << noPath;
        QTest::newRow("saved file, right") << int(C::MsgStorageWithOpenLocation) << false << "" << noPath;
        for (const C type : {C::MsgInfo, C::MsgWarning, C::MsgError})
            for (const bool left : {true, false})
                QTest::addRow("type %d, %s", int(type), left ? "left" : "right") << int(type) << left << ""
                                                                                 << "";
    }

    void buttons()
    {
        QFETCH(int, shown);
        QFETCH(bool, left);
        QFETCH(QString, credentials);
        QFETCH(QString, logged);
        QSignalSpy popups(controller, &AppController::showPopupSignal);
        controller->showPopupSkin(Common::MsgType(shown), "Text");
        QCOMPARE(popups.count(), 1);
        QCOMPARE(popups[0][0].value<Common::MsgType>(), Common::MsgType(shown));
        QCOMPARE(popups[0][1].toString(), QString("Text"));
        LogCapture::clear();
        // The window reports a kind of its own; the last one shown counts.
        if (left)
            controller->bottomPopupLeftClicked(Common::MsgInfo);
        else
            controller->bottomPopupRightClicked(Common::MsgInfo);
        const QStringList lines = LogCapture::lines();
        QVERIFY(!lines.isEmpty()
                && lines.first().contains(left ? "bottomPopupLeftClicked" : "bottomPopupRightClicked"));
        const QStringList opened = port.calls.filter("showCredentials(");
        if (credentials.isEmpty()) {
            QCOMPARE(opened, QStringList());
        } else {
            QCOMPARE(opened.size(), 1);
            QVERIFY2(opened.first().contains(", " + credentials + ", "), qPrintable(opened.first()));
        }
        if (logged.isEmpty())
            QVERIFY2(lines.size() == 1, qPrintable(lines.join('\n')));
        else
            QVERIFY2(LogCapture::count(logged) == 1, qPrintable(lines.join('\n')));
    }

    // A missing or deleted file is logged and nothing is opened; an existing
    // one has its folder handed to the desktop.
    void fileLocation()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath("Shot.png");
        controller->savedFilePath = file;
        controller->openFileLocation();
        QCOMPARE(LogCapture::count("[AC]: Saved file does not exist:"), 1);
        QCOMPARE(LogCapture::count("xdg-open"), 0);

        QFile made(file);
        QVERIFY(made.open(QIODevice::WriteOnly) && made.write("png") == 3);
        made.close();
        LogCapture::clear();
        controller->openFileLocation();
        QVERIFY(LogCapture::lines().first().contains("Path: \"" + file + "\""));
        QCOMPARE(LogCapture::count("[AC]: xdg-open \"" + dir.path() + "\""), 1);
        QCOMPARE(LogCapture::count("does not exist"), 0);
    }

    void savedCopy_data()
    {
        QTest::addColumn<bool>("reformat");
        QTest::addColumn<bool>("abort");
        for (const bool reformat : {true, false})
            for (const bool abort : {false, true})
                QTest::addRow("%s%s", reformat ? "remux" : "copy", abort ? ", aborted" : "") << reformat << abort;
    }

    // The progress runs in percent of the source; "Abort" leaves no file behind.
    void savedCopy()
    {
        QFETCH(bool, reformat);
        QFETCH(bool, abort);
        const QString target = media.filePath("Saved.mp4");
        QList<int> shown; // the dialog's values, seen between the steps of the work
        QTimer user;
        connect(&user, &QTimer::timeout, this, [&] {
            if (auto* dialog = qobject_cast<QProgressDialog*>(QApplication::activeModalWidget())) {
                QCOMPARE(dialog->maximum(), 100);
                shown << dialog->value();
                if (abort)
                    dialog->findChild<QPushButton*>()->click();
            }
        });
        user.start(0);
        QSignalSpy popups(controller, &AppController::showPopupSignal);
        controller->saveFileCopy(recording, target, reformat);
        const QString told = popups.value(0).value(1).toString();
        if (abort) {
            QVERIFY2(told.startsWith("Saving Saved.mp4 failed!<br/>Interrupted by user"), qPrintable(told));
            QVERIFY(!QFile::exists(target));
            return;
        }
        QCOMPARE(told, QString("File Saved.mp4 has been saved!"));
        // One mebibyte of a file of a few is a good share of it.
        QVERIFY2(shown.size() >= 2 && shown.first() >= 10 && shown.last() < 100, qPrintable(QDebug::toString(shown)));
        const QJsonObject probed = ffprobe(target);
        QCOMPARE(streamOf(probed, "video")["codec_name"].toString(), QString("h264"));
        QVERIFY(qAbs(probed["format"]["duration"].toString().toDouble() - 3.0) < 0.2);
        QVERIFY(QFile::remove(target));
    }
};

QTEST_MAIN(TestPopupActions)
#include "test_popup_actions.moc"
