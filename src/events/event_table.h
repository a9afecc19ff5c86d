// The event table: one row for each known event, holding the latest record of its type that has not been sent yet. The
// receiving thread stores, the bus thread drains; both under the table's mutex.
#pragma once

#include <cstdint>

// Keeps a copy of the record in its type's row, replacing one that was not sent yet. Types without a row are dropped.
void event_store(uint32_t type, const void *record, uint32_t length);

// Sends the notifications of the events that came since the last call. Always 0.
int WEXOND_Event_NotifyDeal();
