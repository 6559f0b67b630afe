#pragma once

#include <QStringList>
#include <QtGlobal>

// Every message of this process, as its text, collected while one exists
// (a new one starts empty). Messages are still passed on.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    static QStringList lines();
    // How many lines contain the text.
    static int count(const QString& text);
    static bool contains(const QString& text) { return count(text) > 0; }
    // How many lines are exactly the line.
    static int lineCount(const QString& line) { return int(lines().count(line)); }
    static void clear();

private:
    static void collect(QtMsgType type, const QMessageLogContext& context, const QString& message);
};
