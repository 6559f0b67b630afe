#include "LibraryStatement.h"

#include "MediaDatabase.h"

#include <QDebug>
#include <QSqlError>

namespace LibraryStatement {

bool exec(const QString& statement)
{
    QSqlQuery query(connectionForCurrentThread());
    return query.exec(statement);
}

QSqlQuery select(const QString& statement, const char* logTag)
{
    QSqlQuery query(connectionForCurrentThread());
    query.setForwardOnly(true);
    if (!query.exec(statement) && logTag)
        qDebug().noquote() << logTag << "SQL failed:" << query.lastError().text();
    return query;
}

} // namespace LibraryStatement
