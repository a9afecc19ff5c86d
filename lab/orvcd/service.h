// orvcd answers the daemon's message types from the home document (home.h). Every family of types has one source file
// here, named like the daemon's file of that family, which reads from top to bottom like this:
//
//     #include "records.h"
//     #include "service.h"
//     #include "system/led_switch_records.h"
//
//     static void describe(auto &&field, LedSwitchRecord &record) { field("on", record.status, YesNo{}); }
//
//     namespace
//     {
//
//     Reply get_led_switch(const Json &home) { return to_record<LedSwitchRecord>(home.at("led_switch")); }
//
//     Reply set_led_switch(Json &home, const LedSwitchRecord &record)
//     {
//         store(home["led_switch"], record);
//         return kOk;
//     }
//
//     constexpr Row kRows[] = {
//         {kGetLedSwitch, "ORVC_GET_LEDSWITCH", serve<get_led_switch>},
//         {kSetLedSwitch, "ORVC_SET_LEDSWITCH", serve<set_led_switch>},
//     };
//     const Family family = {kRows};
//
//     } // namespace
//
// Descriptions are looked up by their record, in its namespace: they stand outside of the unnamed one.
//
// A handler's parameters say what it does. With `const Json &home` it reads; with `Json &home` it changes a copy of the
// home, which is kept and written to the state file when the handler returns kOk and forgotten otherwise. With a record
// as the second parameter, requests of any other length are refused before it is called; without one, what a request
// carries is passed over. Handlers run one at a time.
//
// A row may name a check as well, serve<set_led_switch, check_led_switch>, which has `(const Json &home, const Record
// &)` or the record alone as its parameters and returns the code of what no router takes, or kOk. It is asked before
// the handler, unless the service runs with --lenient.
//
// Effects besides its answer (events, changes that come a moment later) a handler asks for by announce() and
// later(), see effects.h.
//
// A new family: its file, what it stands on in default_home.json, and what may stand there in api/home.schema.json.
#pragma once

#include <cstdint>
#include <cstring>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "effects.h"
#include "events.h"
#include "happenings.h"
#include "records.h"
#include "return_codes.h"
#include "state.h"

struct Request {
    uint32_t type;
    uint32_t flag;
    uint32_t expected; // bytes of the answer that the requester has room for
    std::string_view payload;
};

// The fields of a record in its bytes.
using Decode = Json (*)(std::string_view bytes);

struct Reply {
    uint32_t code = kOk;
    std::string record;
    Decode decode = nullptr; // null where there is no record, or nothing to say of it

    Reply(ReturnCode code) : code(code) {}
    explicit Reply(std::string record, Decode decode) : record(std::move(record)), decode(decode) {}
    template <typename Record>
    requires std::is_class_v<Record> && std::is_trivially_copyable_v<Record> Reply(const Record &record)
        : record(reinterpret_cast<const char *>(&record), sizeof(record)), decode(fields_of<Record>)
    {
    }
};

// The treatment of a type's requests. See serve<> below.
struct Operation {
    Reply (*handle)(State &, const Request &);
    ReturnCode (*check)(const Json &home, const Request &); // null where nothing is refused
    Decode decode;                                          // of the request; null where it has no record
};

struct Row {
    uint32_t type;
    const char *name;
    Operation operation;
};

// The message types of a file, and the events that it describes (events.h). What is defined is known.
struct Family {
    Family(std::span<const Row> rows, std::span<const Event> events = {}) noexcept;
};

class Journal;

class Service
{
  public:
    // Events go to the daemon's socket `events`. Where `life` is not zero, things happen by themselves, one at a time
    // and that far apart. A lenient service takes what no router does.
    Service(State &state, Journal &journal, std::string events, std::chrono::seconds life, bool lenient);

    // From any thread. What the answer's code does not tell goes to standard error.
    Reply answer(const Request &request);

    bool has_state_file() const { return state_.has_file(); }
    void look_at_state_file();

  private:
    void apply(const Change &change);
    void carry_out_effects();

    State &state_;
    Journal &journal_;
    std::string events_;
    const bool lenient_;
    std::mutex mutex_;
    Happenings happenings_; // ends first: what it runs uses the others
};

// Something that a home sees happen now and then; each call another. In life.cpp.
void live(Json &home);

// The row of a type, or null.
const Row *find_row(uint32_t type);

// serve<handler> or serve<handler, check>: a row's operation, for a handler of any of the four forms above.

template <typename Change> Reply reply_of_change(State &state, Change change)
{
    Reply reply = kOk;
    state.change([&](Json &home) {
        reply = change(home);
        return reply.code == kOk;
    });
    return reply;
}

template <typename Handler> struct Form;

template <typename Home> struct Form<Reply (*)(Home &)> {
    static constexpr bool kChanges = !std::is_const_v<Home>;
    using Record = void;
};

template <typename Home, typename Request> struct Form<Reply (*)(Home &, const Request &)> {
    static constexpr bool kChanges = !std::is_const_v<Home>;
    using Record = Request;
};

template <auto handler, typename... Record> Reply reply_of(State &state, const Record &...record)
{
    if constexpr (Form<decltype(handler)>::kChanges)
        return reply_of_change(state, [&](Json &home) { return handler(home, record...); });
    else
        return handler(state.home(), record...);
}

// Has `act` judge the record of a request; kBadLength where it is none.
template <typename Record, typename Act> auto with_record(const Request &request, Act act) -> decltype(act(Record{}))
{
    Record record;
    if (request.payload.size() != sizeof(record))
        return kBadLength;
    memcpy(&record, request.payload.data(), sizeof(record));
    return act(record);
}

template <auto handler> Reply handle_request(State &state, const Request &request)
{
    using Record = typename Form<decltype(handler)>::Record;
    if constexpr (std::is_void_v<Record>)
        return reply_of<handler>(state);
    else
        return with_record<Record>(request, [&](const Record &record) { return reply_of<handler>(state, record); });
}

template <auto check, typename Record> ReturnCode check_request(const Json &home, const Request &request)
{
    return with_record<Record>(
        request,
        [&](const Record &record) -> ReturnCode {
            if constexpr (std::is_invocable_v<decltype(check), const Record &>)
                return check(record);
            else
                return check(home, record);
        });
}

template <auto handler, auto check> constexpr Operation make_operation()
{
    using Record = typename Form<decltype(handler)>::Record;
    Operation operation = {handle_request<handler>, nullptr, nullptr};
    if constexpr (!std::is_void_v<Record>)
        operation.decode = Form<decltype(handler)>::kChanges ? fields_of<Record> : named_fields_of<Record>;
    if constexpr (!std::is_null_pointer_v<decltype(check)>)
        operation.check = check_request<check, Record>;
    return operation;
}

template <auto handler, auto check = nullptr> constexpr Operation serve = make_operation<handler, check>();
