#include "faults.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <strings.h>
#include <vector>

#include "core/wire.h"
#include "domainsocket.h"
#include "service.h"

namespace
{

struct KindName {
    Fault::Kind kind;
    const char *name;
    bool has_value;
    uint32_t most;
};

constexpr uint32_t kMostDelay = 3'600'000;

constexpr KindName kKinds[] = {
    {Fault::SILENT, "silent", false, 0},       {Fault::DROP, "drop", false, 0},
    {Fault::CLOSE, "close", false, 0},         {Fault::CODE, "code", true, UINT32_MAX},
    {Fault::DELAY, "delay", true, kMostDelay}, {Fault::SHORT, "short", true, SOCKET_LENGTH_LIMIT},
    {Fault::LONG, "long", true, 64 * 1024},    {Fault::GARBAGE, "garbage", false, 0},
};

constexpr const char *kUsage = "orvcd fault TYPE|NAME|all silent|drop|close|code=N|delay=MS|short=N|long=N|garbage "
                               "[for N requests|for S seconds]";

[[noreturn]] void refuse(const std::string &reason)
{
    throw std::runtime_error(reason);
}

std::optional<uint32_t> parse_number(std::string_view text)
{
    uint32_t number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// A type by its number or its name; none for all.
std::optional<uint32_t> parse_target(const std::string &word)
{
    if (word == "all")
        return std::nullopt;
    if (std::optional<uint32_t> type = parse_number(word))
        return type;
    for (uint32_t type = 0; type < 256; type++)
        if (const Row *row = find_row(type); row && strcasecmp(row->name, word.c_str()) == 0)
            return type;
    refuse("there is no message type '" + word + "'");
}

Fault parse_fault(const std::string &word)
{
    size_t equals = word.find('=');
    for (const KindName &kind : kKinds) {
        if (word.substr(0, equals) != kind.name)
            continue;
        if (!kind.has_value && equals == std::string::npos)
            return {kind.kind, 0};
        std::optional<uint32_t> value =
            kind.has_value && equals != std::string::npos ? parse_number(word.substr(equals + 1)) : std::nullopt;
        if (value && *value <= kind.most)
            return {kind.kind, *value};
        refuse(kind.has_value ? std::string(kind.name) + "=N takes a number up to " + std::to_string(kind.most)
                              : std::string(kind.name) + " takes no value");
    }
    refuse("there is no fault '" + word + "': " + kUsage);
}

std::string name_of_target(const std::optional<uint32_t> &type)
{
    if (!type)
        return "all";
    const Row *row = find_row(*type);
    return row ? row->name : std::to_string(*type);
}

} // namespace

std::string text_of(const Fault &fault)
{
    for (const KindName &kind : kKinds)
        if (kind.kind == fault.kind)
            return kind.has_value ? std::string(kind.name) + "=" + std::to_string(fault.value) : kind.name;
    return "";
}

std::string Faults::command(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    std::lock_guard lock(mutex_);
    if (words.size() == 1 && words[0] == "list")
        return list();
    if (words.size() == 1 && words[0] == "clear") {
        plans_.clear();
        return "";
    }
    if (words.size() != 2 && words.size() != 5)
        refuse(std::string("usage: ") + kUsage);
    Plan plan = {parse_target(words[0]), parse_fault(words[1]), {}, {}};
    if (words.size() == 5) {
        std::optional<uint32_t> number = parse_number(words[3]);
        bool is_requests = words[4] == "requests" || words[4] == "request";
        bool is_seconds = words[4] == "seconds" || words[4] == "second";
        if (words[2] != "for" || !number || *number == 0 || is_requests == is_seconds)
            refuse(std::string("usage: ") + kUsage);
        if (is_requests)
            plan.requests = *number;
        else
            plan.end = Clock::now() + std::chrono::seconds(*number);
    }
    set(std::move(plan));
    return list();
}

// A target has one fault: the last that was asked for.
void Faults::set(Plan plan)
{
    plans_.remove_if([&](const Plan &other) { return other.type == plan.type; });
    if (plan.type)
        plans_.push_front(std::move(plan));
    else
        plans_.push_back(std::move(plan));
}

void Faults::drop_finished()
{
    plans_.remove_if(
        [now = Clock::now()](const Plan &plan) { return plan.requests == 0 || (plan.end && *plan.end <= now); });
}

std::string Faults::list()
{
    drop_finished();
    std::string text;
    for (const Plan &plan : plans_) {
        text += name_of_target(plan.type) + " " + text_of(plan.fault);
        if (plan.requests)
            text += " for " + std::to_string(*plan.requests) + " requests";
        if (plan.end) {
            auto left = std::chrono::ceil<std::chrono::seconds>(*plan.end - Clock::now());
            text += " for " + std::to_string(left.count()) + " seconds";
        }
        text += "\n";
    }
    return text;
}

Fault Faults::take(uint32_t type)
{
    std::lock_guard lock(mutex_);
    if (plans_.empty())
        return {};
    drop_finished();
    for (Plan &plan : plans_) {
        if (plan.type && *plan.type != type)
            continue;
        if (plan.requests)
            --*plan.requests;
        return plan.fault;
    }
    return {};
}

void send_fault_command(const std::string &socket, const std::string &words)
{
    constexpr uint32_t kRoom = 64 * 1024;
    auto length = static_cast<uint32_t>(words.size());
    std::unique_ptr<void, decltype(&free)> body(
        SOCKET_SendMsgByType(socket.c_str(), kFaultCommand, 1, words.data(), length, kRoom), free);
    if (!body)
        refuse(socket + ": nobody serves this socket");
    le32 code;
    memcpy(&code, body.get(), sizeof(code));
    const char *text = static_cast<const char *>(body.get()) + sizeof(code);
    std::string said(text, strnlen(text, kRoom - sizeof(code)));
    if (code != kOk)
        refuse(said.empty() ? "this service plays no faults" : said);
    fputs(said.c_str(), stdout);
}
