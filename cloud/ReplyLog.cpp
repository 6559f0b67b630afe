#include "ReplyLog.h"

#include <QDebug>
#include <QNetworkReply>

namespace ReplyLog {

void details(QNetworkReply* reply)
{
    qDebug() << "[UP]: Reply:" << reply;
    qDebug() << "[UP]: Headers:";
    for (const auto& pair : reply->rawHeaderPairs())
        qDebug().noquote() << "[UP]:" << pair.first << ":" << pair.second;
    qDebug() << "[UP]: Content:";
    qDebug().noquote() << reply->readAll();
}

} // namespace ReplyLog
