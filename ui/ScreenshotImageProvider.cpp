#include "ScreenshotImageProvider.h"

#include <QDebug>
#include <QGuiApplication>
#include <QScreen>

ScreenshotImageProvider::ScreenshotImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Pixmap)
{
}

QPixmap ScreenshotImageProvider::requestPixmap(const QString& id, QSize* size, const QSize& requestedSize)
{
    bool ok = false;
    const int index = id.toInt(&ok);
    if (!ok) {
        qWarning() << "[SIP]:"
                   << "requestPixmap"
                   << "not a screen index:" << id;
        return QPixmap();
    }
    return requestPixmap(index, size, requestedSize);
}

QPixmap ScreenshotImageProvider::requestPixmap(int id, QSize* size, const QSize& requestedSize)
{
    qDebug() << "[SIP]:"
             << "requestPixmap" << id;
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (id < 0 || id >= screens.size()) {
        qWarning() << "[SIP]:"
                   << "requestPixmap"
                   << "no screen at index" << id << "of" << screens.size();
        return QPixmap();
    }
    m_cache.insert(key(id), screens[id]->grabWindow(0));
    const QPixmap pixmap = m_cache.value(key(id));
    if (size)
        *size = pixmap.size();
    return pixmap;
}

QPixmap ScreenshotImageProvider::snapshot(int screenIndex) const
{
    return m_cache.value(key(screenIndex));
}

void ScreenshotImageProvider::clear()
{
    qDebug() << "[SIP]:"
             << "clear" << m_cache.size() << "snapshots";
    m_cache.clear();
}
