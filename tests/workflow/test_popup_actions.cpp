// What the pop-up's two buttons do, for each kind of pop-up: the kind of the
// last pop-up shown decides, not the kind the window reports. And the folder
// of the last saved file, which is opened only for a file that is there.
#include "ApiCalls.h"
#include "LogCapture.h"
#include "RecordingPort.h"
#include "WorkflowTestSupport.h"

#include <QApplication>
#include <QClipboard>
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

private slots:
    void initTestCase()
    {
        QVERIFY(openProgramDatabase());
        SettingsManager::instance()->writeSetting("is_authenticated_user", false);
        controller = startController(&port);
        controller->tickTimer->stop(); // no service here
        log.emplace();
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
        QCOMPARE(controller->lastPopupType, Common::MsgType(shown));
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
};

QTEST_MAIN(TestPopupActions)
#include "test_popup_actions.moc"
