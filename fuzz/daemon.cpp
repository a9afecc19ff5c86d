#include "fuzz/daemon.h"

#include <cstdarg>

#include <domainsocket.h>
#include <poll.h>

#include "core/backend.h"
#include "core/catalogue.h"
#include "core/entry.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/startup.h"
#include "core/threads.h"
#include "events/event_table.h"
#include "tests/support/description.h"
#include "wifi/deferred_settings.h"

namespace
{

constexpr Paths kPaths = {.service = "/service"};

constexpr size_t kMessageLimit = UBUS_MAX_MSGLEN;
// A start asks for each of 1024 access points of both bands up to three times; the longest list of stations, for fewer.
constexpr unsigned kMostRequests = 2 * 1024 * 3 + 20;

bool logging;
unsigned refused_objects;
unsigned notifications;
uint32_t refused_notifications; // a bit for each
uint32_t next_id;
ubus_context context;
std::vector<ubus_object *> objects;

// The call that is being handled.
struct RunningCall {
    const ubus_method *method;
    ubus_request_data *request;
    FuzzInput answers;
    ubus_request_data *deferred; // where the answer was put off: what it will be given by
    unsigned replies;
    unsigned completions;
    unsigned requests;
    bool sender_failed; // the deferred sender's thread could not be started
};

RunningCall running;

const ubus_method *find_method(const ubus_object &object, const char *name)
{
    for (int i = 0; i < object.n_methods; i++)
        if (strcmp(object.methods[i].name, name) == 0)
            return &object.methods[i];
    return nullptr;
}

const ubus_method &static_method(const char *object, const char *method)
{
    return *find_method(*static_object(object), method);
}

bool may_be_silent(const std::string &object, const char *method)
{
    return test_support::may_be_silent(test_support::describe(object)->methods()[method]);
}

// Deliberate: after some failures a table is never closed, and nobody can read the reply.
bool may_be_unreadable()
{
    static const ubus_method &unreadable = static_method("wexond.devinfo", "get");
    return running.method && running.method->handler == unreadable.handler;
}

// --- What leaves the daemon ---

void check_values(const blob_attr *container, bool array);

void check_value(blob_attr *value, bool array)
{
    REQUIRE(blobmsg_check_attr(value, !array));
    REQUIRE((blobmsg_name(value)[0] == '\0') == array);
    switch (blobmsg_type(value)) {
    case BLOBMSG_TYPE_STRING:
        return REQUIRE(strlen(blobmsg_get_string(value)) + 1 == blobmsg_data_len(value));
    case BLOBMSG_TYPE_ARRAY:
        return check_values(value, true);
    case BLOBMSG_TYPE_TABLE:
        return check_values(value, false);
    case BLOBMSG_TYPE_INT32:
    case BLOBMSG_TYPE_INT64:
        return;
    default:
        REQUIRE(!"a type that the daemon uses");
    }
}

void check_values(const blob_attr *container, bool array)
{
    blob_attr *value;
    size_t rem;
    blobmsg_for_each_attr (value, container, rem)
        check_value(value, array);
    REQUIRE(rem == 0);
}

void check_message(const blob_attr *message)
{
    REQUIRE(blob_pad_len(message) < kMessageLimit);
    if (blob_is_extended(message) && may_be_unreadable())
        return;
    REQUIRE(!blob_is_extended(message));
    check_values(message, false);
}

std::string text_of(blob_attr *value)
{
    REQUIRE(blobmsg_type(value) == BLOBMSG_TYPE_STRING);
    return blobmsg_get_string(value);
}

// A failure has a reason and a success has none.
void check_outcome(const blob_attr *message)
{
    static const blobmsg_policy policy[] = {{"result", BLOBMSG_TYPE_UNSPEC}, {"failreason", BLOBMSG_TYPE_UNSPEC}};
    blob_attr *table[2];
    blobmsg_parse(policy, 2, table, blob_data(message), static_cast<unsigned>(blob_len(message)));
    std::string result = table[0] ? text_of(table[0]) : "0", reason = table[1] ? text_of(table[1]) : "";
    REQUIRE(result == (reason.empty() ? "0" : "1"));
    REQUIRE(reason.size() < sizeof(Status::reason));
}

bool is_on_bus(const ubus_object *object)
{
    return std::find(objects.begin(), objects.end(), object) != objects.end();
}

bool is_taken(const char *name)
{
    return std::any_of(
        objects.begin(), objects.end(), [name](const ubus_object *object) { return strcmp(object->name, name) == 0; });
}

// --- What comes in ---

// The bytes of the input, then again and again those of them that come after the first `once`.
void repeat(std::span<uint8_t> record, std::span<const uint8_t> bytes, size_t once)
{
    size_t filled = std::min(record.size(), bytes.size());
    std::copy_n(bytes.begin(), filled, record.begin());
    size_t period = filled > once ? filled - once : 0;
    for (; period > 0 && filled < record.size(); filled += period)
        std::copy_n(record.begin() + once, std::min(period, record.size() - filled), record.begin() + filled);
}

// A piece of memory of exactly the length that the daemon may read.
void *make_answer(size_t length)
{
    enum Kind { NONE, ZEROS_AFTER, ONES_AFTER, RECORD_AGAIN, ENTRIES_AGAIN, ALL_ONES, ALL_ZEROS, REFUSAL };
    auto kind = static_cast<Kind>(running.answers.choice(8));
    if (kind == NONE)
        return nullptr;
    auto *answer = static_cast<uint8_t *>(malloc(length));
    bool ones = kind == ONES_AFTER || kind == ALL_ONES;
    memset(answer, ones ? 0xFF : 0, length);
    le32 code = kind == REFUSAL ? running.answers.u8() : ORV_RET_OK;
    memcpy(answer, &code, sizeof(code));
    std::span<uint8_t> record(answer + sizeof(code), length - sizeof(code));
    if (kind == RECORD_AGAIN || kind == ENTRIES_AGAIN) {
        repeat(record, running.answers.short_bytes(), kind == ENTRIES_AGAIN ? sizeof(le32) : 0);
    } else if (kind != ALL_ONES && kind != ALL_ZEROS) {
        std::span<const uint8_t> bytes = running.answers.short_bytes();
        std::copy_n(bytes.begin(), std::min(bytes.size(), record.size()), record.begin());
    }
    return answer;
}

void clear(vlist_tree &list)
{
    Entry *entry, *next;
    vlist_for_each_element_safe (&list, entry, node, next)
        entry_remove(&list, entry);
}

// With a service that has no stations the table of their addresses is empty too.
void forget_stations()
{
    static constexpr uint8_t kZeros[] = {6, 6};
    blob_attr nothing = {cpu_to_be32(sizeof(blob_attr))};
    static ubus_object &object = *static_object("wexond.laninfo");
    static const ubus_method &list = static_method("wexond.laninfo", "list");
    daemon_call(object, list, &nothing, FuzzInput(kZeros, sizeof(kZeros)));
}

} // namespace

// --- In place of the bus library ---

extern "C" int ubus_add_object(ubus_context *, ubus_object *object)
{
    REQUIRE(!is_on_bus(object) && object->type && object->n_methods > 0);
    object->id = 0;
    if (refused_objects > 0) {
        refused_objects--;
        return kBusNoMemory;
    }
    if (is_taken(object->name))
        return UBUS_STATUS_INVALID_ARGUMENT;
    object->id = ++next_id;
    objects.push_back(object);
    return UBUS_STATUS_OK;
}

extern "C" int ubus_remove_object(ubus_context *, ubus_object *object)
{
    REQUIRE(is_on_bus(object));
    std::erase(objects, object);
    object->id = 0;
    return UBUS_STATUS_OK;
}

extern "C" int ubus_send_reply(ubus_context *, ubus_request_data *request, blob_attr *message)
{
    REQUIRE(request == (running.deferred ? running.deferred : running.request));
    REQUIRE(running.completions == 0);
    REQUIRE(++running.replies == 1);
    check_message(message);
    if (!blob_is_extended(message))
        check_outcome(message);
    return UBUS_STATUS_OK;
}

extern "C" void ubus_defer_request(ubus_context *, ubus_request_data *request, ubus_request_data *deferred)
{
    REQUIRE(request == running.request && running.replies == 0);
    *deferred = *request;
    request->deferred = true;
    running.deferred = deferred;
}

extern "C" void ubus_complete_deferred_request(ubus_context *, ubus_request_data *request, int)
{
    REQUIRE(request == running.deferred);
    REQUIRE(++running.completions == 1);
}

extern "C" int ubus_notify(ubus_context *, ubus_object *object, const char *name, blob_attr *message, int timeout)
{
    REQUIRE(is_on_bus(object) && name[0] != '\0' && timeout < 0);
    check_message(message);
    bool refused = refused_notifications >> notifications++ % 32 & 1;
    return refused ? UBUS_STATUS_CONNECTION_FAILED : UBUS_STATUS_OK;
}

// --- In place of the messaging library ---

extern "C" void *SOCKET_SendMsgByType(const char *path, uint32_t type, uint32_t flag, const void *payload,
                                      uint32_t length, uint32_t expected)
{
    REQUIRE(path == kPaths.service && type < 300 && flag <= 1);
    REQUIRE(length <= SOCKET_LENGTH_LIMIT && expected <= SOCKET_LENGTH_LIMIT);
    REQUIRE(!payload == (length == 0));
    REQUIRE(++running.requests <= kMostRequests);
    ExactCopy sent({static_cast<const uint8_t *>(payload), length}); // reads all of it
    return make_answer(std::max<size_t>(expected, sizeof(uint32_t)));
}

// --- In place of parts of the daemon: where it is, its log, its pauses and threads ---

const Paths &paths()
{
    return kPaths;
}

bool log_is_enabled()
{
    return logging;
}

void log_line(const char *, int, const char *format, ...)
{
    char line[4096];
    va_list arguments;
    va_start(arguments, format);
    REQUIRE(vsnprintf(line, sizeof(line), format, arguments) >= 0);
    va_end(arguments);
}

// Start-up pauses by watching the bus for its end, and for nothing else.
extern "C" int poll(pollfd *entries, nfds_t count, int milliseconds)
{
    if (count == 1 && entries->events == POLLRDHUP)
        return 0;
    timespec limit = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    return ppoll(entries, count, milliseconds < 0 ? nullptr : &limit, nullptr);
}

int WEXOND_Apbasic_ThreadInit(const ApBasicRecord &basic, const char *)
{
    if (running.answers.u8() == 0) {
        running.sender_failed = true;
        return 1;
    }
    free(wexond_send_msg(kSetApBasic, kRequestFlag, &basic, sizeof(basic), sizeof(ReturnCode)));
    return 0;
}

// --- For the fuzzers ---

namespace
{

void hand_in_families()
{
    wexond_context = &context;
    families = kAllFamilies;
}

} // namespace

// Once they are added, the static objects are the same for each input.
void daemon_begin()
{
    hand_in_families();
    entry_lists_init();
    static const std::vector<ubus_object *> added = [] {
        for (ubus_object *object : families.objects)
            REQUIRE(ubus_add_object(wexond_context, object) == UBUS_STATUS_OK);
        return objects;
    }();
    objects = added;
    next_id = 0;
    for (ubus_object *object : objects)
        object->id = ++next_id;
}

void daemon_begin_by_start(FuzzInput answers)
{
    hand_in_families();
    uloop_timeout ender = {.cb = [](uloop_timeout *) { uloop_end(); }}; // the start ends where the event loop runs
    uloop_timeout_set(&ender, 0);
    running = {.answers = answers};
    REQUIRE(wexond_main() == 0);
    uloop_timeout_cancel(&ender);
    uloop_done();
}

void daemon_end()
{
    refused_objects = 0;
    daemon_drain(0);
    forget_stations();
    for (vlist_tree *list :
         {&entry_lists.wifi_aps[0], &entry_lists.wifi_aps[1], &entry_lists.wifi_timers, &entry_lists.classifications,
          &entry_lists.lan_hosts, &entry_lists.url_filters, &entry_lists.dns_filters})
        clear(*list);
    REQUIRE(objects.size() <= families.objects.size()); // every entry's object went with it
    objects.clear();
    next_id = 0;
    wexond_factory_flag = 0;
    logging = false;
}

void daemon_log(bool on)
{
    logging = on;
}

void daemon_refuse_objects(unsigned count)
{
    refused_objects = count;
}

const std::vector<ubus_object *> &daemon_objects()
{
    return objects;
}

void daemon_call(ubus_object &object, const ubus_method &method, blob_attr *message, FuzzInput answers)
{
    ubus_request_data request = {.object = object.id, .peer = 1, .seq = 1, .fd = -1, .req_fd = -1};
    running = {.method = &method, .request = &request, .answers = answers};
    const std::string name = object.name; // which may be gone afterwards
    int result = method.handler(wexond_context, &object, &request, method.name, message);
    REQUIRE(result == 0 || running.sender_failed);
    REQUIRE(running.replies == 1 || running.sender_failed || may_be_silent(name, method.name));
    REQUIRE(running.completions == (request.deferred ? 1 : 0));
    running = {};
}

unsigned daemon_drain(uint32_t refused)
{
    notifications = 0;
    refused_notifications = refused;
    REQUIRE(WEXOND_Event_NotifyDeal() == 0);
    return notifications;
}
