// The backend channel: one request to the configuration service and its answer. Every exchange blocks until the
// messaging library returns, with an answer or after its time limit. A request is never repeated here.
#pragma once

#include <cstdlib>

#include "core/wire.h"

constexpr uint32_t ORV_RET_OK = 0;

// The flag of nearly every request; those that pass 0 say so where they are made.
constexpr uint32_t kRequestFlag = 1;

// What a handler has to report: filled by whatever fails, turned into "result" and "failreason" by the replies.
struct Status {
    uint32_t failed; // 0 success, 1 failure
    char reason[128];
};

// Marks the status as failed for the formatted reason, cut at 127 characters. A null status is passed over.
void wexond_fail(Status *status, const char *format, ...) __attribute__((format(printf, 2, 3)));

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

    // wexond_check_ret on this answer; true when it is usable.
    bool check(const char *action, Status *status) { return wexond_check_ret(&response_, status, action) == 0; }

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

// Sends a request that is answered by a return code alone and checks it as wexond_check_ret does; true when it was
// accepted.
bool exchange(uint32_t type, const void *payload, uint32_t length, const char *action, Status *status);

template <typename Request> bool exchange(uint32_t type, const Request &request, const char *action, Status *status)
{
    return exchange(type, &request, sizeof(request), action, status);
}

// The same for callers that give reasons of their own: true when the request was answered by ORV_RET_OK.
template <typename Request> bool accepts(uint32_t type, const Request &request)
{
    Answer<ReturnCode> answer(wexond_send_msg(type, kRequestFlag, &request, sizeof(request), sizeof(ReturnCode)));
    return answer.accepted();
}
