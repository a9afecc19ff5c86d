// Stands in for the messaging library: one function that records what it is given and answers what the test wants.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/bytes.h"

struct SentRequest {
    std::string path;
    uint32_t type;
    uint32_t flag;
    std::optional<test_support::Bytes> payload; // none: a null pointer
    uint32_t length;
    uint32_t expected;

    bool operator==(const SentRequest &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const SentRequest &request);

// The body of an answer: the return code and the record.
test_support::Bytes answer(uint32_t code, const test_support::Bytes &record = {});

// For one thread at a time, but for what other threads send.
struct FakeService {
    // Answers in order; none is no answer. After the last, what the rule says; without a rule nothing is answered.
    std::deque<std::optional<test_support::Bytes>> answers;
    std::function<std::optional<test_support::Bytes>(const SentRequest &)> rule;
    std::vector<SentRequest> requests;
    void *last_response = nullptr;
};

extern FakeService fake_service;

// Waits until `count` requests were sent, by other threads too; returns them. Gives up in the end.
std::vector<SentRequest> wait_for_sent(size_t count);
