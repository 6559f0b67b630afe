#include "MovingPicture.h"

#include <QTest>

MovingPicture::~MovingPicture()
{
    player.kill();
    player.waitForFinished(5000);
}

bool MovingPicture::start(QSize size)
{
    player.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    player.start("ffplay", {"-loglevel", "quiet", "-noborder", "-left", "0", "-top", "0", "-f", "lavfi",
                            QString("testsrc2=size=%1x%2:rate=25").arg(size.width()).arg(size.height())});
    if (!player.waitForStarted(5000))
        return false;
    QTest::qWait(1500);
    return player.state() == QProcess::Running;
}
