// The backend channel: one request to the configuration service and its answer. Every exchange blocks until the
// messaging library returns, with an answer or after its time limit. A request is never repeated here.
#pragma once

#include <cstdlib>

#include "core/call.h"
#include "core/wire.h"

constexpr uint32_t ORV_RET_OK = 0;

// The flag of nearly every request; those that pass 0 say so where they are made.
constexpr uint32_t kRequestFlag = 1;

// Sends one request of `length` bytes (null and 0 for none). Returns a malloc buffer that the caller frees: the return
// code as a little-endian word, then the answer record, together at least max(expected, 4) bytes and zero-filled beyond
// what came; null where no answer was obtained.
void *wexond_send_msg(uint32_t type, uint32_t flag, const void *payload, uint32_t length, uint32_t expected);

// 0 when the response is there and its return code is ORV_RET_OK. Otherwise -1, with the reason "failed to <action>" in
// the status (each may be null) and a response that came freed and set to null.
int wexond_check_ret(void **response, Status *status, const char *action);

// The return code as it stands on the wire, before every answer record.
struct ReturnCode {
    le32 code;
};

// An answer and its record, freed on every way out. Record is read only where an answer is present.
template <typename Record> class Answer
{
  public:
    static constexpr uint32_t kExpected = sizeof(ReturnCode) + sizeof(Record);

    explicit Answer(void *response) : response_(response) {}
    ~Answer() { free(response_); }
    Answer(const Answer &) = delete;
    Answer &operator=(const Answer &) = delete;

    bool present() const { return response_; }
    bool accepted() const { return present() && static_cast<const ReturnCode *>(response_)->code == ORV_RET_OK; }

    // wexond_check_ret on this answer, which a refusal takes away; true when it is usable.
    bool check(const char *action, Status *status = nullptr)
    {
        return wexond_check_ret(&response_, status, action) == 0;
    }

    explicit operator bool() const { return present(); }
    const Record &operator*() const
    {
        return *reinterpret_cast<const Record *>(static_cast<const uint8_t *>(response_) + sizeof(ReturnCode));
    }
    const Record *operator->() const { return &**this; }

  private:
    void *response_;
};

// Asks with a request record, or without one, for an answer record.
template <typename Record, typename Request> Answer<Record> ask(uint32_t type, const Request &request)
{
    return Answer<Record>(wexond_send_msg(type, kRequestFlag, &request, sizeof(request), Answer<Record>::kExpected));
}

template <typename Record> Answer<Record> ask(uint32_t type)
{
    return Answer<Record>(wexond_send_msg(type, kRequestFlag, nullptr, 0, Answer<Record>::kExpected));
}

// The same for a call: an answer that is present was accepted; otherwise the call has failed for "failed to <action>".
void *ask_for(Call &call, uint32_t type, const void *payload, uint32_t length, uint32_t expected, const char *action);

template <typename Record, typename Request>
Answer<Record> ask(Call &call, uint32_t type, const Request &request, const char *action)
{
    return Answer<Record>(ask_for(call, type, &request, sizeof(request), Answer<Record>::kExpected, action));
}

template <typename Record> Answer<Record> ask(Call &call, uint32_t type, const char *action)
{
    return Answer<Record>(ask_for(call, type, nullptr, 0, Answer<Record>::kExpected, action));
}

// One of several records that a handler reads in order: what its request is, and what is logged where it fails.
struct Reading {
    uint32_t type;
    const char *action;  // null: the return code is not looked at, and the call does not fail
    const char *failure; // log line
};

// True when the answer's record was copied to its place.
bool read_record(Call &call, const Reading &reading, const void *payload, uint32_t length, void *record, uint32_t size);

template <typename Record> bool read(Call &call, const Reading &reading, Record &record)
{
    return read_record(call, reading, nullptr, 0, &record, sizeof(record));
}

// With a request of its own, which may be the record itself.
template <typename Record, typename Request>
bool read(Call &call, const Reading &reading, const Request &request, Record &record)
{
    return read_record(call, reading, &request, sizeof(request), &record, sizeof(record));
}

// Sends a request that is answered by a return code alone; true when it was accepted, otherwise the call has failed for
// "failed to <action>".
bool exchange(Call &call, uint32_t type, const void *payload, uint32_t length, const char *action);

template <typename Request> bool exchange(Call &call, uint32_t type, const Request &request, const char *action)
{
    return exchange(call, type, &request, sizeof(request), action);
}

// The same for callers that give reasons of their own: true when the request was answered by ORV_RET_OK.
bool accepts(uint32_t type, const void *payload, uint32_t length);

template <typename Request> bool accepts(uint32_t type, const Request &request)
{
    return accepts(type, &request, sizeof(request));
}
