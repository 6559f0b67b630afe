#pragma once

#include <QString>
#include <optional>

// The statements on `deletion_queue`: cloud removals that the user asked for
// locally, taken in the order they were entered.
namespace DeletionQueueTable {

struct Entry
{
    uint fileId = 0;
    QString name;
    QString pseudoname;
    QString uploadKey;
};

// The entry of one file, or the first entry; a failed SELECT is logged under logTag.
std::optional<Entry> find(uint fileId, const char* logTag);
std::optional<Entry> first(const char* logTag);
void remove(uint fileId);
void removeFirst();

} // namespace DeletionQueueTable
