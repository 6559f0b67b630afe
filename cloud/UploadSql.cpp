#include "UploadSql.h"

#include "MediaDatabase.h"

#include <QDebug>
#include <QSqlError>

namespace UploadSql {

bool exec(const QString& statement)
{
    QSqlQuery query(connectionForCurrentThread());
    return query.exec(statement);
}

QSqlQuery select(const QString& statement)
{
    QSqlQuery query(connectionForCurrentThread());
    query.setForwardOnly(true);
    if (!query.exec(statement))
        qDebug().noquote() << "[UP]: SQL failed:" << query.lastError().text();
    return query;
}

} // namespace UploadSql
