#include "PrivateServers.h"

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

PrivateXServer::~PrivateXServer()
{
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

bool PrivateXServer::start(const char* screen)
{
    int fds[2];
    if (pipe(fds) != 0)
        return false;
    const QByteArray fd = QByteArray::number(fds[1]);
    m_pid = fork();
    if (m_pid == 0) {
        close(fds[0]);
        const int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 1);
        dup2(devnull, 2);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.constData(), "-screen", "0", screen, "-nolisten", "tcp", "-ac",
               static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    if (m_pid < 0) {
        close(fds[0]);
        return false;
    }
    QByteArray number;
    pollfd p{fds[0], POLLIN, 0};
    char c = 0;
    while (poll(&p, 1, 15000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n')
        number += c;
    close(fds[0]);
    if (number.isEmpty())
        return false;
    m_display = ":" + number;
    return true;
}

PrivatePulse::~PrivatePulse()
{
    m_server.kill();
    m_server.waitForFinished(5000);
}

bool PrivatePulse::start(const QString& script)
{
    if (!m_dir.isValid())
        return false;
    const QString runtime = m_dir.filePath("runtime");
    QDir().mkpath(runtime);
    QDir().mkpath(m_dir.filePath("state"));
    const QString socket = runtime + "/native";
    QFile pa(m_dir.filePath("server.pa"));
    if (!pa.open(QIODevice::WriteOnly))
        return false;
    pa.write(QString("load-module module-native-protocol-unix auth-anonymous=1 socket=%1\n").arg(socket).toUtf8());
    pa.write(script.toUtf8());
    pa.close();

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("PULSE_RUNTIME_PATH", runtime);
    env.insert("PULSE_STATE_PATH", m_dir.filePath("state"));
    m_server.setProcessEnvironment(env);
    m_server.setProcessChannelMode(QProcess::MergedChannels);
    m_server.start("pulseaudio", {"-n", "--daemonize=no", "--exit-idle-time=-1", "--disallow-exit", "--use-pid-file=no",
                                  "--system=false", "--disable-shm=true", "-F", pa.fileName()});
    if (!m_server.waitForStarted(5000))
        return false;
    qputenv("PULSE_SERVER", ("unix:" + socket).toUtf8());
    for (int i = 0; i < 100; ++i) {
        QProcess info;
        info.start("pactl", {"info"});
        if (info.waitForFinished(5000) && info.exitStatus() == QProcess::NormalExit && info.exitCode() == 0)
            return true;
        QTest::qWait(100);
    }
    return false;
}

QString PrivatePulse::pactl(const QStringList& args) const
{
    QProcess p;
    p.start("pactl", args);
    p.waitForFinished(10000);
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

QString PrivatePulse::load(const QString& module, const QStringList& arguments) const
{
    return pactl(QStringList{"load-module", module} + arguments);
}
