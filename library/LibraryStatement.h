#pragma once

#include <QSqlQuery>
#include <QString>

// How the table classes run their statements: on this thread's own
// connection, each committing alone, without bound parameters.
namespace LibraryStatement {

// Runs a statement whose rows nobody reads; true when it succeeded.
bool exec(const QString& statement);
// Runs a SELECT whose rows are read once, front to back; the query stands
// before its first row. With a tag, a failure is logged under it.
QSqlQuery select(const QString& statement, const char* logTag = nullptr);

} // namespace LibraryStatement
