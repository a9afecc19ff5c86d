#include "tests/core/fake_service.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <domainsocket.h>
#include <mutex>

#include "tests/support/process.h"

using test_support::Bytes;

FakeService fake_service;

static std::mutex mutex;
static std::condition_variable arrival;

std::ostream &operator<<(std::ostream &stream, const SentRequest &request)
{
    stream << "{" << request.path << ", type " << request.type << ", flag " << request.flag << ", ";
    if (request.payload)
        stream << *request.payload;
    else
        stream << "null";
    return stream << ", length " << request.length << ", expected " << request.expected << "}";
}

Bytes answer(uint32_t code, const Bytes &record)
{
    return Bytes(4 + record.size()).u32(0, code).text(4, record.data());
}

static std::optional<Bytes> next_answer(const SentRequest &request)
{
    if (fake_service.answers.empty())
        return fake_service.rule ? fake_service.rule(request) : std::nullopt;
    std::optional<Bytes> answer = fake_service.answers.front();
    fake_service.answers.pop_front();
    return answer;
}

extern "C" void *SOCKET_SendMsgByType(const char *path, uint32_t type, uint32_t flag, const void *payload,
                                      uint32_t length, uint32_t expected)
{
    std::optional<Bytes> bytes;
    if (payload)
        bytes = Bytes({static_cast<const char *>(payload), length});
    SentRequest request = {path, type, flag, bytes, length, expected};
    std::lock_guard lock(mutex);
    arrival.notify_all();
    fake_service.requests.push_back(request);
    fake_service.last_response = nullptr;
    std::optional<Bytes> body = next_answer(request);
    if (!body)
        return nullptr;
    // As the library does it: exactly the bytes asked for, cut or filled up with zeros.
    size_t size = std::max<size_t>(expected, 4);
    void *response = calloc(1, size);
    memcpy(response, body->data().data(), std::min(size, body->size()));
    return fake_service.last_response = response;
}

std::vector<SentRequest> wait_for_sent(size_t count)
{
    std::unique_lock lock(mutex);
    arrival.wait_for(lock, test_support::kPatience, [count] { return fake_service.requests.size() >= count; });
    return fake_service.requests;
}
