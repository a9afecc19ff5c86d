// An HTTP request as far as it can be judged without the bus: who may send it, where it leads, and what it must not be.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

constexpr size_t kMostBody = 65536;

struct Request {
    std::string method;
    std::string target; // as it came
    std::string host;
    std::optional<std::string> origin;
    std::optional<std::string> authorization;
    std::string last_event_id;
    std::string body;
};

struct Answer {
    unsigned status = 200;
    const char *type = "application/json";
    std::string body;
};

enum class Route { RPC, CALL, LIST, SUBSCRIBE, NOTIFICATIONS, REQUESTS, FAULTS, PLAY_FAULT, EVENT, API, PAGE };

struct Destination {
    Route route;
    std::string rest; // an object, a pattern, or the file of the page
};

// The answer where there is no more to it.
using Verdict = std::variant<Answer, Destination>;

// `hosts` are the names by which the gateway may be called, without a port.
Verdict judge(const Request &request, const std::vector<std::string> &hosts);

// Bounds that the body was beyond.
Answer refuse_long_body(Route route);

// The session that the request names; the null session where it names none.
std::string session_of(const Request &request);

std::string_view path_of(std::string_view target);
// Of the target's query, percent-decoded; none where it is not there or not well-formed.
std::optional<std::string> query_value(std::string_view target, std::string_view name);

// Host without its port, and brackets without theirs.
std::string_view host_name(std::string_view host);

const char *content_type(std::string_view file);

// {"error":TEXT}
Answer failure(unsigned status, const std::string &text);
