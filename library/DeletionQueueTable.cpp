#include "DeletionQueueTable.h"

#include "LibraryStatement.h"

#include <QVariant>

using LibraryStatement::exec;

namespace {

std::optional<DeletionQueueTable::Entry> entryOf(const QString& statement, const char* logTag)
{
    QSqlQuery row = LibraryStatement::select(statement, logTag);
    if (!row.next())
        return std::nullopt;
    return DeletionQueueTable::Entry{row.value(0).toUInt(), row.value(1).toString(), row.value(2).toString(),
                                     row.value(3).toString()};
}

} // namespace

namespace DeletionQueueTable {

std::optional<Entry> find(uint fileId, const char* logTag)
{
    return entryOf(QString("SELECT `file_id`,`file_name`,`file_pseudoname`, `file_uploadkey` FROM `deletion_queue` "
                           "WHERE `file_id` = %1 LIMIT 1;")
                       .arg(fileId),
                   logTag);
}

std::optional<Entry> first(const char* logTag)
{
    return entryOf(QString("SELECT `file_id`,`file_name`,`file_pseudoname`, `file_uploadkey` FROM `deletion_queue` "
                           "LIMIT 1;"),
                   logTag);
}

void remove(uint fileId)
{
    exec(QString("DELETE FROM `deletion_queue` WHERE `file_id` = %1").arg(fileId));
}

void removeFirst()
{
    exec("DELETE FROM `deletion_queue` WHERE rowid IN (SELECT rowid FROM `deletion_queue` LIMIT 1);");
}

} // namespace DeletionQueueTable
