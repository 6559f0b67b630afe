#pragma once

#include <QHash>
#include <QPixmap>
#include <QQuickImageProvider>

// Snapshots of the screens, taken when a selection opens, by screen index.
// The selection overlays paint them, the still image is cut out of them and
// QML reads them as "image://screenshot/<index>".
class ScreenshotImageProvider : public QQuickImageProvider
{
public:
    ScreenshotImageProvider();

    // Grabs the screen whose index `id` gives as decimal text, keeps the
    // picture under "screenshot<index>" and returns it; null for no such screen.
    QPixmap requestPixmap(const QString& id, QSize* size, const QSize& requestedSize) override;
    // The same with the index as a number.
    QPixmap requestPixmap(int id, QSize* size = nullptr, const QSize& requestedSize = QSize());
    // The kept snapshot of a screen, without a new grab; null when there is none.
    QPixmap snapshot(int screenIndex) const;
    // Forgets every snapshot.
    void clear();

private:
    static QString key(int screenIndex) { return QStringLiteral("screenshot%1").arg(screenIndex); }
    QHash<QString, QPixmap> m_cache;
};
