#include "events/event_table.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <pthread.h>

#include "core/log.h"
#include "events/event_records.h"
#include "events/notifications.h"

namespace
{

constexpr size_t kRowCount = std::size(kEvents);

struct EventRow {
    const char *name;
    uint32_t type;
    uint32_t needed; // how much of the record its sender reads
    uint32_t length;
    void *record;
    uint32_t pending;
};

struct EventTable {
    // One slot more than rows: the scans run up to and including the row count. It matches no type and is never
    // pending.
    EventRow rows[kRowCount + 1];
};

consteval EventTable make_table()
{
    EventTable made{};
    for (size_t i = 0; i < kRowCount; i++)
        made.rows[i] = {kEvents[i].name, kEvents[i].type, kEvents[i].size};
    made.rows[kRowCount] = {"", UINT32_MAX};
    return made;
}

constinit EventTable table = make_table();

// Ready before any thread runs: the bus thread is started before those that store.
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

// A copy that its sender can read to its struct's end, and as a text.
void *copy_record(const EventRow &row, const void *record, uint32_t length)
{
    void *copy = calloc(1, size_t{std::max(length, row.needed)} + 1);
    if (copy && length > 0)
        memcpy(copy, record, length);
    return copy;
}

// False where no memory was found: the record is lost, and one that was waiting with it.
bool keep(EventRow &row, const void *record, uint32_t length)
{
    WEXOND_LOG_AS("WEXOND_ServerRecvDeal", "Event : %s\n", row.name);
    free(row.record);
    row.record = copy_record(row, record, length);
    if (!row.record)
        return false;
    row.length = length;
    row.pending = 1;
    return true;
}

void deliver(EventRow &row)
{
    WEXOND_LOG_AS("WEXOND_Event_NotifyDeal", "Notify send : %s \n\n", row.name);
    notify_event(static_cast<size_t>(&row - table.rows), row.record, row.length);
    row.pending = 0;
    free(row.record);
    row.record = nullptr;
}

} // namespace

void event_store(uint32_t type, const void *record, uint32_t length)
{
    pthread_mutex_lock(&mutex);
    for (size_t i = 0; i <= kRowCount; i++)
        if (table.rows[i].type == type && keep(table.rows[i], record, length))
            break;
    pthread_mutex_unlock(&mutex);
}

int WEXOND_Event_NotifyDeal()
{
    pthread_mutex_lock(&mutex);
    for (size_t i = 0; i <= kRowCount; i++)
        if (table.rows[i].pending == 1)
            deliver(table.rows[i]);
    pthread_mutex_unlock(&mutex);
    return 0;
}
