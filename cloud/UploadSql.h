#pragma once

#include <QSqlQuery>
#include <QString>

// The uploader's statements: built by the caller, run on this thread's
// connection, each committing alone.
namespace UploadSql {
// Runs a statement whose result nobody looks at; true when it succeeded.
bool exec(const QString& statement);
// Runs a SELECT and leaves the query before its first row.
QSqlQuery select(const QString& statement);
} // namespace UploadSql
