#include "Mp4Boxes.h"

#include <QFile>

QStringList topLevelBoxes(const QString& path)
{
    QFile f(path);
    QStringList boxes;
    if (!f.open(QIODevice::ReadOnly))
        return boxes;
    const qint64 end = f.size();
    qint64 at = 0;
    while (at + 8 <= end) {
        f.seek(at);
        const QByteArray head = f.read(16);
        quint64 size = (quint64(quint8(head[0])) << 24) | (quint64(quint8(head[1])) << 16)
                       | (quint64(quint8(head[2])) << 8) | quint64(quint8(head[3]));
        if (size == 1 && head.size() == 16) {
            size = 0;
            for (int i = 8; i < 16; ++i)
                size = (size << 8) | quint8(head[i]);
        } else if (size == 0) {
            size = quint64(end - at);
        }
        boxes << QString::fromLatin1(head.mid(4, 4));
        if (size < 8)
            break;
        at += qint64(size);
    }
    return boxes;
}
