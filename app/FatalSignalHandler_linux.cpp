#include "FatalSignalHandler.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <ctime>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

const int fatalSignals[] = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL};

char eventPath[4096];
char eventHead[2048];
// Two slots so that a new user object never appears half-written to the handler.
char userJson[2][1024] = {"{}", "{}"};
std::atomic<int> userSlot{0};
// backtrace_symbols_fd writes into this pipe; the handler reads it back to
// escape each frame into the JSON text.
int framePipe[2] = {-1, -1};
std::atomic_flag handling = ATOMIC_FLAG_INIT;
char alternateStack[64 * 1024];

void put(int fd, const char* text, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(fd, text, length);
        if (written <= 0)
            return;
        text += written;
        length -= size_t(written);
    }
}

void put(int fd, const char* text)
{
    put(fd, text, strlen(text));
}

void putNumber(int fd, long value, int width)
{
    char digits[24];
    int n = 0;
    do {
        digits[n++] = char('0' + value % 10);
        value /= 10;
    } while (value > 0 || n < width);
    char text[24];
    for (int i = 0; i < n; ++i)
        text[i] = digits[n - 1 - i];
    put(fd, text, size_t(n));
}

// UTC time as "YYYY-MM-DDTHH:MM:SSZ", by arithmetic only (gmtime is not signal-safe).
void putTimestamp(int fd)
{
    const long seconds = long(time(nullptr));
    const long z = seconds / 86400 + 719468;
    const long era = z / 146097;
    const long dayOfEra = z - era * 146097;
    const long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const long mp = (5 * dayOfYear + 2) / 153;
    const long day = dayOfYear - (153 * mp + 2) / 5 + 1;
    const long month = mp < 10 ? mp + 3 : mp - 9;
    const long year = yearOfEra + era * 400 + (month <= 2);
    const long secondOfDay = seconds % 86400;
    put(fd, "\"");
    putNumber(fd, year, 4);
    put(fd, "-");
    putNumber(fd, month, 2);
    put(fd, "-");
    putNumber(fd, day, 2);
    put(fd, "T");
    putNumber(fd, secondOfDay / 3600, 2);
    put(fd, ":");
    putNumber(fd, secondOfDay / 60 % 60, 2);
    put(fd, ":");
    putNumber(fd, secondOfDay % 60, 2);
    put(fd, "Z\"");
}

void putJsonStringBody(int fd, const char* text, size_t length)
{
    for (size_t i = 0; i < length; ++i) {
        const char c = text[i];
        if (c == '"' || c == '\\') {
            const char escaped[2] = {'\\', c};
            put(fd, escaped, 2);
        } else if (static_cast<unsigned char>(c) >= 0x20) {
            put(fd, &c, 1);
        }
    }
}

void putBacktrace(int fd)
{
    void* frames[64];
    const int count = backtrace(frames, 64);
    put(fd, "[");
    for (int i = 0; i < count; ++i) {
        char line[1024];
        backtrace_symbols_fd(&frames[i], 1, framePipe[1]);
        ssize_t length = read(framePipe[0], line, sizeof line);
        if (length < 0)
            length = 0;
        while (length > 0 && line[length - 1] == '\n')
            --length;
        put(fd, i ? ",\"" : "\"");
        putJsonStringBody(fd, line, size_t(length));
        put(fd, "\"");
    }
    put(fd, "]");
}

const char* signalName(int signal)
{
    switch (signal) {
    case SIGSEGV: return "SIGSEGV";
    case SIGABRT: return "SIGABRT";
    case SIGBUS: return "SIGBUS";
    case SIGFPE: return "SIGFPE";
    case SIGILL: return "SIGILL";
    default: return "signal";
    }
}

void onFatalSignal(int signal, siginfo_t*, void*)
{
    // Only the first crashing thread writes; the disposition is already the default again.
    if (!handling.test_and_set()) {
        const int fd = open(eventPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd >= 0) {
            put(fd, eventHead);
            put(fd, "\"user\":");
            put(fd, userJson[userSlot.load()]);
            put(fd, ",\"message\":\"Fatal signal ");
            putNumber(fd, signal, 1);
            put(fd, " (");
            put(fd, signalName(signal));
            put(fd, ")\",\"timestamp\":");
            putTimestamp(fd);
            put(fd, ",\"backtrace\":");
            putBacktrace(fd);
            put(fd, "}\n");
            fsync(fd);
            close(fd);
        }
    }
    // The handler was installed with SA_RESETHAND: this raise ends the process
    // with the signal's own default action once the handler returns.
    raise(signal);
}

void copyInto(char* target, size_t size, const QByteArray& text)
{
    const size_t length = qMin(size - 1, size_t(text.size()));
    memcpy(target, text.constData(), length);
    target[length] = '\0';
}

} // namespace

namespace FatalSignalHandler {

void install(const QByteArray& path, const QByteArray& head)
{
    copyInto(eventPath, sizeof eventPath, path);
    copyInto(eventHead, sizeof eventHead, head);

    if (framePipe[0] < 0 && pipe2(framePipe, O_NONBLOCK | O_CLOEXEC) != 0)
        framePipe[0] = framePipe[1] = -1;
    // The first backtrace() loads the unwinder, which allocates: do that now, not in the handler.
    void* warmUp[2];
    backtrace(warmUp, 2);

    // A stack of its own lets the handler run after a stack overflow of the main thread.
    stack_t stack = {};
    stack.ss_sp = alternateStack;
    stack.ss_size = sizeof alternateStack;
    sigaltstack(&stack, nullptr);

    struct sigaction action = {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_RESETHAND | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (int signal : fatalSignals)
        sigaction(signal, &action, nullptr);
}

void setUserJson(const QByteArray& json)
{
    const int next = 1 - userSlot.load();
    if (json.size() >= int(sizeof userJson[next]))
        copyInto(userJson[next], sizeof userJson[next], "{}");
    else
        copyInto(userJson[next], sizeof userJson[next], json);
    userSlot.store(next);
}

} // namespace FatalSignalHandler
