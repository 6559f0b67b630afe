#pragma once

#include <QByteArray>

#include <pulse/pulseaudio.h>

// A connection to the sound server, driven by a main loop of its own on the
// thread that uses it: every call below blocks until the server has answered
// or the time limit has passed. Objects made on the connection (streams) are
// served by iterate().
class PulseConnection
{
public:
    explicit PulseConnection(const char* clientName);
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    // PA_OK once the connection is ready, else the server's error code
    // (PA_ERR_CONNECTIONREFUSED when there is no server, PA_ERR_ACCESS, ...).
    int connect(int timeoutMs = 3000);
    // The sample format of a source; PA_ERR_NOENTITY when the server has none by that name.
    int sourceFormat(const QByteArray& name, pa_sample_spec& sampleFormat);
    // The default sink's sample format and the name of its monitor source.
    int defaultSinkMonitor(QByteArray& monitor, pa_sample_spec& sampleFormat);
    // Runs the loop until `done` returns true; false on time-out or a lost connection.
    template <typename Done>
    bool runUntil(Done done, int timeoutMs);
    // Handles what is pending without waiting; false once the connection has failed.
    bool iterate();

    pa_context* context() const { return ctx; }
    pa_mainloop* mainloop() const { return loop; }

private:
    bool alive() const;
    bool waitStep(int timeoutMs);

    pa_mainloop* loop = nullptr;
    pa_context* ctx = nullptr;
};

template <typename Done>
bool PulseConnection::runUntil(Done done, int timeoutMs)
{
    // Polls in short steps so that the time limit holds even when the server is silent.
    for (int waited = 0; !done(); waited += 10) {
        if (waited >= timeoutMs || !alive() || !waitStep(10))
            return done();
    }
    return true;
}
