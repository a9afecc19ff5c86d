// The daemon's code in the fuzzer's own process. What is around it is the input: the service's answers, the bus that
// takes objects and messages or does not, the thread of the deferred sender. Everything that leaves the daemon is
// checked.
#pragma once

#include <string>
#include <vector>

#include "core/bus.h"
#include "fuzz/input.h"

// The static objects are on the bus, the entry lists empty.
void daemon_begin();

// The same by the daemon's own start, which reads the entry lists from the service.
void daemon_begin_by_start(FuzzInput answers);

// Everything is as it was before, but for objects' ids.
void daemon_end();

// While it is on, the arguments of log lines are read and formatted.
void daemon_log(bool on);

// The next `count` objects are refused by the bus.
void daemon_refuse_objects(unsigned count);

// The objects on the bus: the static ones, then those of entries.
const std::vector<ubus_object *> &daemon_objects();

// Calls a method as the bus does. The object may be gone afterwards.
//
// The service's answers are given one after another; after the last it is gone. An answer begins with its kind, modulo
// 8, then what belongs to it of: a return code (one byte, 0 where there is none), the record's first bytes (one byte of
// length, then these), and what fills the rest of the record:
//     0  none: the service cannot be reached
//     1  record, zeros
//     2  record, ones
//     3  record, the record again and again
//     4  record, all but its first word again and again: a count and entries
//     5  no record, ones
//     6  no record, zeros
//     7  code, record, zeros
void daemon_call(ubus_object &object, const ubus_method &method, blob_attr *message, FuzzInput answers);

// Sends the events that were stored; the bus refuses those whose bit is set. How many were sent.
unsigned daemon_drain(uint32_t refused);
