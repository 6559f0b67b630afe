// One copy of an application in another process, for the start-up tests:
//   listen                      own the single-instance channel, print "listening",
//                               then one "got:<message>" line per message
//   send <message> [timeout]    hand a message to the running copy; exit 0 when
//                               it was acknowledged, 1 otherwise
//   restart-probe <out> [args]  restart itself through the updater; the delayed
//                               copy writes its arguments and folder to <out>
#include "FvUpdater.h"
#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "QtSingleApplication.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPoint>
#include <QSettings>

#include <cstdio>

namespace {
class IniSettings : public ISettingsReader, public ISettingsWriter
{
public:
    IniSettings()
        : m_store(QDir::currentPath() + "/probe.ini", QSettings::IniFormat)
    {
    }
    bool readSettingBool(QString s) override { return m_store.value(s).toBool(); }
    QString readSettingStr(QString s) override { return m_store.value(s).toString(); }
    int readSettingInt(QString s) override { return m_store.value(s).toInt(); }
    double readSettingDouble(QString s) override { return m_store.value(s).toDouble(); }
    QVariant readSetting(QString s) override { return m_store.value(s); }
    QPoint readSettingPoint(QString s) override { return m_store.value(s).toPoint(); }
    void writeSetting(QString s, QVariant v) override { m_store.setValue(s, v); }

private:
    QSettings m_store;
};

void say(const QString& line)
{
    std::fprintf(stdout, "%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

int listen(QtSingleApplication& app)
{
    if (app.isRunning()) {
        say("client");
        return 2;
    }
    QObject::connect(&app, &QtSingleApplication::messageReceived, [](const QString& msg) { say("got:" + msg); });
    say("listening");
    return app.exec();
}

int restartProbe(const QStringList& args)
{
    const QString out = args.value(2);
    if (qgetenv("KVD_ORLUNE_DELAYED") == "1") {
        QJsonObject o;
        o.insert("cwd", QDir::currentPath());
        o.insert("args", QJsonArray::fromStringList(args.mid(1)));
        QFile f(out + ".part");
        if (!f.open(QIODevice::WriteOnly))
            return 3;
        f.write(QJsonDocument(o).toJson());
        f.close();
        return QFile::rename(out + QString(".part"), out) ? 0 : 3;
    }
    static IniSettings settings;
    FvUpdater::init(&settings, &settings);
    QObject::connect(FvUpdater::sharedUpdater(), &FvUpdater::appQuit, [] { say("appQuit"); });
    FvUpdater::sharedUpdater()->restartApplication();
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    QtSingleApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const QString mode = args.value(1);
    if (mode == QLatin1String("listen"))
        return listen(app);
    if (mode == QLatin1String("send")) {
        const bool ok = app.sendMessage(args.value(2), args.value(3, "5000").toInt());
        say(QString("sent:") + (ok ? QString("1") : QString("0")));
        return ok ? 0 : 1;
    }
    if (mode == QLatin1String("restart-probe"))
        return restartProbe(args);
    say("usage: listen | send <message> [timeout] | restart-probe <out> [args]");
    return 64;
}
