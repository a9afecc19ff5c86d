// Replies and notifications are built in one process-wide buffer, on the bus thread only: started, filled, sent, freed.
// Additions that find no memory are remembered, and the reply then says so instead of leaving keys out; that it can say
// so needs none.
#pragma once

#include "core/backend.h"
#include "core/bus.h"

// An empty message. Every get-style handler calls it before it builds its table.
void reply_start();

// A nest stays open until reply_close. The elements of an array have the empty name.
void *reply_open_table(const char *name);
void *reply_open_array(const char *name);
void reply_close(void *nest);

void reply_string(const char *name, const char *text);
void reply_int(const char *name, uint32_t value); // INT32: the bits, signed or not
void reply_int64(const char *name, uint64_t value);
void reply_counter(const char *name, uint64_t value); // unsigned decimal text

// A text field of a record, up to its NUL or its full width.
template <size_t N> void reply_text(const char *name, const char (&field)[N])
{
    reply_string(name, read_text(field).data);
}

// The word for a code, and a MAC address of a record in its compact form.
void reply_word(const char *name, uint32_t vocabulary, uint32_t code);
void reply_compact_mac(const char *name, char *text);

template <size_t N> void reply_mac(const char *name, const char (&field)[N])
{
    reply_compact_mac(name, read_text(field).data);
}

// Sends the message as a notification of the object, waiting for no answers. 0, or -1 when it was not sent.
int reply_notify(ubus_object *object, const char *name);

// Sends the message as it is, whatever a status says. What cannot be sent becomes a failure reply.
void reply_send(ubus_request_data *request);

// "result" ("0" success, "1" failure: it is the failure flag, not a yes) and "failreason". Returns -1 for a null
// status.
int wexond_send_for_set(ubus_request_data *request, const Status *status);

// The table that the handler built; where the status has failed = 1, only "result" "1" and "failreason". A table that
// passes what the bus carries in one message, or that memory did not suffice for, becomes such a failure too. Returns
// -1 for a null status.
int wexond_send_for_get(ubus_request_data *request, const Status *status);

// The replies of a call, logged under its handler's name. What a handler returns to the bus: always 0.
int send_for_set(const Call &call);
int send_for_get(const Call &call);

// Of the methods that add an entry: "result", "idx" where an index is given, "failreason".
int send_for_add(const Call &call, const uint32_t *index);
