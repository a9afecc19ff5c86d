// orvcd answers the daemon's message types from the home document (home.h). Every family of types has one source file
// here, named like the daemon's file of that family, which reads from top to bottom like this:
//
//     #include "records.h"
//     #include "service.h"
//     #include "system/led_switch_records.h"
//
//     static void describe(auto &&field, LedSwitchRecord &record) { field("on", record.status, YesNo{}); }
//
//     static Reply get_led_switch(const Json &home) { return to_record<LedSwitchRecord>(home.at("led_switch")); }
//
//     static Reply set_led_switch(Json &home, const LedSwitchRecord &record)
//     {
//         store(home["led_switch"], record);
//         return kOk;
//     }
//
//     static constexpr Row rows[] = {
//         {kGetLedSwitch, "ORVC_GET_LEDSWITCH", serve<get_led_switch>},
//         {kSetLedSwitch, "ORVC_SET_LEDSWITCH", serve<set_led_switch>},
//     };
//     const Family kLedSwitchFamily = rows;
//
// A handler's parameters say what it does. With `const Json &home` it reads; with `Json &home` it changes a copy of the
// home, which is kept and written to the state file when the handler returns kOk and forgotten otherwise. With a record
// as the second parameter, requests of any other length are refused before it is called; without one, what a request
// carries is passed over. Handlers run one at a time.
//
// What a handler sets off besides its answer (events, changes that come a moment later) it asks for by announce() and
// later(), see effects.h.
//
// A new family: its file, its name in kFamilies (service.cpp), below and in CMakeLists.txt, and what it stands on in
// default_home.json.
#pragma once

#include "effects.h"
#include "happenings.h"
#include "state.h"

#include <cstdint>
#include <cstring>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

enum ReturnCode : uint32_t {
    kOk = 0,
    kUnknownType = 1,
    kBadLength = 2, // the request's record is not of its type's length
    kNotFound = 3,  // no entry of that index, no radio of that band
    kFull = 5,      // the list has no room
    kFailed = 4,    // the state could not be written, or holds what means nothing; standard error tells
};

struct Request {
    uint32_t type;
    uint32_t flag;
    uint32_t expected; // bytes of the answer that the requester has room for
    std::string_view payload;
};

struct Reply {
    uint32_t code = kOk;
    std::string record;

    Reply(ReturnCode code) : code(code) {}
    explicit Reply(std::string record) : record(std::move(record)) {}
    template <typename Record>
    requires std::is_class_v<Record> && std::is_trivially_copyable_v<Record> Reply(const Record &record)
        : record(reinterpret_cast<const char *>(&record), sizeof(record))
    {
    }
};

struct Row {
    uint32_t type;
    const char *name;
    Reply (*handle)(State &, const Request &);
};

using Family = std::span<const Row>;

extern const Family kAccessListFamily, kAccessPointFamily, kCommandFamily, kDeviceInfoFamily, kDiagnosticsFamily,
    kDnsFilterFamily, kIptvFamily, kLanInfoFamily, kLedSwitchFamily, kMeshFamily, kNeighbourInfoFamily, kQosFamily,
    kRadioFamily, kRoamingFamily, kServerInfoFamily, kStatisticsFamily, kUrlFilterFamily, kVsieFamily, kWanFamily,
    kWifiTimerFamily;

class Service
{
  public:
    // Events go to the daemon's socket `events`. Where `life` is not zero, things happen by themselves, one at a time
    // and that far apart.
    Service(State &state, std::string events, std::chrono::seconds life);

    // From any thread. What the answer's code does not tell goes to standard error.
    Reply answer(const Request &request);

  private:
    void apply(const Change &change);
    void carry_out_effects();

    State &state_;
    std::string events_;
    std::mutex mutex_;
    Happenings happenings_; // ends first: what it runs uses the others
};

// Something that a home sees happen now and then; each call another. In life.cpp.
void live(Json &home);

// The row of a type, or null.
const Row *find_row(uint32_t type);

// serve<handler>: a row's `handle` for a handler of any of the four forms above.

template <typename Change> Reply reply_of_change(State &state, Change change)
{
    Reply reply = kOk;
    state.change([&](Json &home) {
        reply = change(home);
        return reply.code == kOk;
    });
    return reply;
}

template <typename Record, typename Act> Reply with_record(const Request &request, Act act)
{
    Record record;
    if (request.payload.size() != sizeof(record))
        return kBadLength;
    memcpy(&record, request.payload.data(), sizeof(record));
    return act(record);
}

template <auto handler> struct Serve;

template <Reply (*handler)(const Json &)> struct Serve<handler> {
    static Reply handle(State &state, const Request &) { return handler(state.home()); }
};

template <Reply (*handler)(Json &)> struct Serve<handler> {
    static Reply handle(State &state, const Request &) { return reply_of_change(state, handler); }
};

template <typename Record, Reply (*handler)(const Json &, const Record &)> struct Serve<handler> {
    static Reply handle(State &state, const Request &request)
    {
        return with_record<Record>(request, [&](const Record &record) { return handler(state.home(), record); });
    }
};

template <typename Record, Reply (*handler)(Json &, const Record &)> struct Serve<handler> {
    static Reply handle(State &state, const Request &request)
    {
        return with_record<Record>(request, [&](const Record &record) {
            return reply_of_change(state, [&](Json &home) { return handler(home, record); });
        });
    }
};

template <auto handler> constexpr auto serve = Serve<handler>::handle;
