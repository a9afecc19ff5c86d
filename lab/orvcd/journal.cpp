#include "journal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "event_command.h"

namespace
{

constexpr const char *kSecrets[] = {"key", "password", "devtoken"};
constexpr const char *kMask = "********";

// An empty secret stays: that there is none is no secret.
void mask_secrets(Json &value)
{
    if (value.is_array()) {
        for (Json &inner : value)
            mask_secrets(inner);
    } else if (value.is_object()) {
        for (const auto &[key, inner] : value.items()) {
            bool is_secret = std::find(std::begin(kSecrets), std::end(kSecrets), key) != std::end(kSecrets);
            if (!is_secret)
                mask_secrets(inner);
            else if (inner != "")
                inner = kMask;
        }
    }
}

// The fields of a record, or its bytes where it has none; null where it is empty.
Json fields_or_bytes(Decode decode, std::string_view bytes)
{
    if (bytes.empty())
        return nullptr;
    Json fields = decode ? decode(bytes) : nullptr;
    return fields.is_null() ? Json(hex_of(bytes)) : fields;
}

std::string dump(const Json &value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// "" for nothing.
std::string dump_after(const char *lead, const Json &value)
{
    return value.is_null() || (value.is_object() && value.empty()) ? "" : lead + dump(value);
}

double now()
{
    using namespace std::chrono;
    return static_cast<double>(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count()) / 1e6;
}

} // namespace

Journal::Journal(const Options &options) : options_(options)
{
    if (options_.file.empty())
        return;
    recording_ = fopen(options_.file.c_str(), "ae");
    if (!recording_)
        throw std::runtime_error(options_.file + ": " + strerror(errno));
}

Journal::~Journal()
{
    if (recording_)
        fclose(recording_);
}

void Journal::add_request(const Request &request, const Reply &reply, std::chrono::microseconds latency,
                          const std::string &fault)
{
    if (!is_kept())
        return;
    const Row *row = find_row(request.type);
    const char *name = row ? row->name : "unknown";
    Json asked = fields_or_bytes(row ? row->operation.decode : nullptr, request.payload);
    Json answered = fields_or_bytes(reply.decode, reply.record);
    if (!options_.show_secrets) {
        mask_secrets(asked);
        mask_secrets(answered);
    }
    if (options_.log) {
        std::string reason = reply.code == kOk ? "" : std::string(" (") + name_of(reply.code) + ")";
        printf("%u %s flag %u request %zu expected %u code %u%s%s%s%s%s\n", request.type, name, request.flag,
               request.payload.size(), request.expected, reply.code, reason.c_str(), fault.empty() ? "" : " fault ",
               fault.c_str(), dump_after(" ", asked).c_str(), dump_after(" -> ", answered).c_str());
    }
    if (!recording_)
        return;
    Json line = {{"time", now()},
                 {"type", request.type},
                 {"name", name},
                 {"flag", request.flag},
                 {"expected", request.expected},
                 {"request", std::move(asked)},
                 {"code", reply.code},
                 {"reason", name_of(reply.code)},
                 {"answer", std::move(answered)},
                 {"latency_us", latency.count()}};
    if (!fault.empty())
        line["fault"] = fault;
    write_line(line);
}

void Journal::add_event(uint32_t type, const std::string &record)
{
    if (recording_)
        write_line(
            {{"time", now()}, {"event", type}, {"name", event_name(type)}, {"fields", event_fields(type, record)}});
}

void Journal::write_line(const Json &line)
{
    std::lock_guard lock(mutex_);
    fprintf(recording_, "%s\n", dump(line).c_str());
    fflush(recording_);
}

void replay(const std::string &file, const std::string &socket, double speed)
{
    std::ifstream stream(file);
    if (!stream)
        throw std::runtime_error(file + ": " + strerror(errno));
    const auto start = std::chrono::steady_clock::now();
    double first = 0;
    std::string text;
    for (size_t number = 1; std::getline(stream, text); number++) {
        const Json line = Json::parse(text, nullptr, false);
        if (!line.is_object() || !line.contains("time") || !line.at("time").is_number())
            throw std::runtime_error(file + ":" + std::to_string(number) + ": no line of a recording");
        if (!line.contains("event"))
            continue;
        double time = line.at("time");
        if (first == 0)
            first = time;
        if (speed > 0)
            std::this_thread::sleep_until(start + std::chrono::duration<double>((time - first) / speed));
        try {
            push_fields(socket, line.at("event"), line.at("fields"));
        } catch (const std::exception &error) {
            throw std::runtime_error(file + ":" + std::to_string(number) + ": " + error.what());
        }
    }
}
