// Build step: writes the web channel's page script, which the toolkit keeps
// among the resources of its web channel library, to the file named on the
// command line. The program carries that copy as ":/qwebchannel.js" and runs
// it in the pages of its web views.
#include <QByteArray>
#include <QFile>
#include <QWebChannel>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT\n", argv[0]);
        return 2;
    }
    // A use of the library, so that it is loaded together with its resources.
    QWebChannel channel;
    QFile script(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
    QFile out(QString::fromLocal8Bit(argv[1]));
    const QByteArray text = script.open(QIODevice::ReadOnly) ? script.readAll() : QByteArray();
    if (text.isEmpty() || !out.open(QIODevice::WriteOnly) || out.write(text) != text.size()) {
        std::fprintf(stderr, "%s: the web channel script could not be copied to %s\n", argv[0], argv[1]);
        return 1;
    }
    return 0;
}
