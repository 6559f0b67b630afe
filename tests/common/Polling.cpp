#include "Polling.h"

#include <QElapsedTimer>
#include <QTest>

bool waitUntil(const std::function<bool()>& condition, int timeoutMs)
{
    QElapsedTimer t;
    t.start();
    while (!condition()) {
        if (t.elapsed() > timeoutMs)
            return false;
        QTest::qWait(50);
    }
    return true;
}
