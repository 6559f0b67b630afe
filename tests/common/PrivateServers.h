#pragma once

// Servers of a test's own, for tests that change what others share: an X
// server that receives global key presses and key grabs, a sound server whose
// devices are plugged and unplugged. Both are the real programs.
// Also: the log lines of this process, for tests that check what was logged.

#include "LogCapture.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/types.h>

// An Xvfb of this test's own. Start it before the application object when
// this process itself is to use it.
class PrivateXServer
{
public:
    ~PrivateXServer();
    // Starts the server and waits until it tells its display number.
    bool start(const char* screen = "1280x720x24");
    QByteArray display() const { return m_display; }

private:
    pid_t m_pid = -1;
    QByteArray m_display;
};

// A PulseAudio server of this test's own, running the given script. start()
// points this process (and the tools it runs) at it through PULSE_SERVER.
class PrivatePulse
{
public:
    ~PrivatePulse();
    bool start(const QString& script);
    // Runs pactl against this server; its standard output, trimmed.
    QString pactl(const QStringList& args) const;
    // Loads a module and returns its index.
    QString load(const QString& module, const QStringList& arguments) const;

private:
    QTemporaryDir m_dir;
    QProcess m_server;
};
