#include "service.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "journal.h"

// The effects that the running handler has asked for; handlers run one at a time.
struct Effects {
    struct Event {
        uint32_t type;
        std::string record;
    };
    struct Later {
        std::chrono::milliseconds delay;
        Change change;
    };
    std::vector<Event> events;
    std::vector<Later> changes;
};

namespace
{

Effects effects;

} // namespace

void announce(uint32_t event, std::string record)
{
    effects.events.push_back({event, std::move(record)});
}

void later(std::chrono::milliseconds delay, Change change)
{
    effects.changes.push_back({delay, std::move(change)});
}

uint64_t seconds_up()
{
    static const auto start = Happenings::Clock::now();
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::seconds>(Happenings::Clock::now() - start).count());
}

// By type. Families fill it before main begins.
template <typename Row> static std::array<const Row *, 256> &all_rows()
{
    static std::array<const Row *, 256> rows = {};
    return rows;
}

template <typename Row> static void enter(std::span<const Row> rows)
{
    for (const Row &row : rows) {
        const Row *&place = all_rows<Row>().at(row.type);
        if (place) {
            fprintf(stderr, "orvcd: %s and %s are both of type %u\n", place->name, row.name, row.type);
            abort();
        }
        place = &row;
    }
}

namespace
{

template <typename Row> const Row *find(uint32_t type)
{
    return type < all_rows<Row>().size() ? all_rows<Row>()[type] : nullptr;
}

} // namespace

Family::Family(std::span<const Row> rows, std::span<const Event> events) noexcept
{
    enter(rows);
    enter(events);
}

const Row *find_row(uint32_t type)
{
    return find<Row>(type);
}

const Event *find_event(uint32_t type)
{
    return find<Event>(type);
}

Reply Service::answer(const Request &request)
{
    const Row *row = find_row(request.type);
    if (!row) {
        fprintf(stderr, "orvcd: unknown message type %u (flag %u, %zu bytes, %u expected)\n", request.type,
                request.flag, request.payload.size(), request.expected);
        return kUnknownType;
    }
    std::lock_guard lock(mutex_);
    effects = {};
    try {
        const Operation &operation = row->operation;
        ReturnCode verdict = operation.check && !lenient_ ? operation.check(state_.home(), request) : kOk;
        if (verdict != kOk)
            return verdict;
        Reply reply = operation.handle(state_, request);
        if (reply.code == kOk)
            carry_out_effects();
        return reply;
    } catch (const std::exception &error) {
        fprintf(stderr, "orvcd: %s: %s\n", row->name, error.what());
        return kFailed;
    }
}

Service::Service(State &state, Journal &journal, std::string events, std::chrono::seconds life, bool lenient)
    : state_(state), journal_(journal), events_(std::move(events)), lenient_(lenient)
{
    seconds_up();
    if (life.count() == 0)
        return;
    std::lock_guard lock(mutex_);
    effects = {};
    static Change happen; // sets itself off again
    happen = [life](Json &home) {
        live(home);
        later(life, happen);
    };
    later(life, happen);
    carry_out_effects();
}

void Service::apply(const Change &change)
{
    std::lock_guard lock(mutex_);
    effects = {};
    try {
        state_.change([&](Json &home) {
            change(home);
            return true;
        });
        carry_out_effects();
    } catch (const std::exception &error) {
        fprintf(stderr, "orvcd: %s\n", error.what());
    }
}

void Service::look_at_state_file()
{
    std::lock_guard lock(mutex_);
    state_.look_at_file();
}

void Service::carry_out_effects()
{
    auto now = Happenings::Clock::now();
    for (const Effects::Event &event : effects.events)
        happenings_.at(now, [this, event] {
            journal_.add_event(event.type, event.record);
            push_event(events_, event.type, event.record);
        });
    for (const Effects::Later &later : effects.changes)
        happenings_.at(now + later.delay, [this, change = later.change] { apply(change); });
}
