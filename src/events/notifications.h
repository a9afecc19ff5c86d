// The notifications: a sender for each event turns its record into a message on the bus. Bus thread only.
#pragma once

#include <cstddef>
#include <cstdint>

// Notifies of the event that stands at this place of kEvents. The record is as the event table keeps it, with zeros
// behind it up to its struct's size and at least one; the length is what arrived. Returns 0 after sending, also when
// the bus refused; 3 when there is no record, or nobody to notify.
int notify_event(size_t event, const void *record, uint32_t length);
