// Every method of every object, with any arguments and any answers of the service.
//
// The input is a sequence of steps after a byte of switches (1 log lines, 2 begin with the daemon's start, 4 factory
// settings; for 2 answers follow). A step is a byte (what to do, modulo 16) and what it needs:
//     0 to 11  a call: the object's name, the method's, arguments, answers
//     12       an entry: list, index
//     13       so many objects are refused from now on
//     14       a scan of the channels of a band
//     15       an event: its type, its record; then all are sent
// A name is a byte of length and its text; one that nobody has stands for any. Arguments begin with a byte: 255 a
// message of these bytes (16-bit length), 254 none; otherwise one selector for each argument of the method: modulo 4, 0
// absent, 1 a value, 2 a value of another type, 3 two values. Answers (see daemon.h) begin with their length in 16
// bits.

#include <iterator>
#include <set>

#include "core/catalogue.h"
#include "core/entry.h"
#include "core/startup.h"
#include "events/event_table.h"
#include "fuzz/daemon.h"
#include "tests/support/description.h"
#include "wifi/radios.h"

namespace
{

constexpr size_t kMostSteps = 32;

bool requires_every_method;

// --- Arguments ---

void add_text(blob_buf *message, const char *name, FuzzInput &input)
{
    blobmsg_add_string(message, name, input.text().c_str());
}

void add_table(blob_buf *message, FuzzInput &input)
{
    void *table = blobmsg_open_table(message, nullptr);
    for (size_t members = input.choice(4); members > 0; members--) {
        std::string name = input.text();
        if (input.u8() % 2 == 0)
            add_text(message, name.c_str(), input);
        else
            blobmsg_add_u32(message, name.c_str(), input.u32());
    }
    blobmsg_close_table(message, table);
}

// An element of an array: a text, a number, a table; now and then one that is cut short or of any type.
void add_element(blob_buf *message, uint8_t kind, FuzzInput &input)
{
    enum { TEXT, TEXT_TOO, SMALL_NUMBER, NUMBER, TABLE, TABLE_TOO, TYPED_BYTES, BYTES };
    kind %= 8;
    if (kind == TEXT || kind == TEXT_TOO) {
        add_text(message, nullptr, input);
    } else if (kind == SMALL_NUMBER || kind == NUMBER) {
        blobmsg_add_u32(message, nullptr, kind == NUMBER ? input.u32() : input.u8());
    } else if (kind == TABLE || kind == TABLE_TOO) {
        add_table(message, input);
    } else {
        int type = static_cast<int>(input.choice(BLOBMSG_TYPE_LAST + 1));
        std::span<const uint8_t> bytes = input.short_bytes();
        auto length = static_cast<unsigned>(bytes.size());
        if (kind == TYPED_BYTES)
            blobmsg_add_field(message, type, nullptr, bytes.data(), length);
        else
            blob_put(message, type, bytes.data(), length);
    }
}

// Groups of equal elements.
void add_array(blob_buf *message, const char *name, FuzzInput &input)
{
    void *array = blobmsg_open_array(message, name);
    for (size_t groups = input.choice(8); groups > 0; groups--) {
        uint8_t kind = input.u8();
        size_t repetitions = kind >= 128 ? input.u8() : 1;
        FuzzInput first = input;
        add_element(message, kind, input);
        for (size_t i = 1; i < repetitions; i++) {
            FuzzInput again = first;
            add_element(message, kind, again);
        }
    }
    blobmsg_close_array(message, array);
}

void add_value(blob_buf *message, const blobmsg_policy &argument, FuzzInput &input)
{
    switch (argument.type) {
    case BLOBMSG_TYPE_STRING:
        return add_text(message, argument.name, input);
    case BLOBMSG_TYPE_ARRAY:
        return add_array(message, argument.name, input);
    case BLOBMSG_TYPE_INT32:
        blobmsg_add_u32(message, argument.name, input.u32());
        return;
    default:
        REQUIRE(!"a type that policies use");
    }
}

void add_argument(blob_buf *message, const blobmsg_policy &argument, FuzzInput &input)
{
    blobmsg_policy other = {argument.name,
                            argument.type == BLOBMSG_TYPE_INT32 ? BLOBMSG_TYPE_STRING : BLOBMSG_TYPE_INT32};
    uint8_t selector = input.u8() % 4;
    if (selector != 0)
        add_value(message, selector == 2 ? other : argument, input);
    if (selector == 3)
        add_value(message, argument, input);
}

// The message as it stands in the received one: an attribute, of whatever content.
ExactCopy make_message(const ubus_method &method, FuzzInput &input)
{
    blob_buf buf = {};
    blob_buf_init(&buf, UBUS_ATTR_DATA);
    const blob_attr *message = buf.head;
    uint8_t form = input.u8();
    if (form == 255) {
        std::span<const uint8_t> bytes = input.bytes(input.u16());
        message = blob_put(&buf, UBUS_ATTR_DATA, bytes.data(), static_cast<unsigned>(bytes.size()));
    } else if (form != 254) {
        for (int i = 0; i < method.n_policy; i++)
            add_argument(&buf, method.policy[i], input);
        message = buf.head;
    }
    ExactCopy copy({reinterpret_cast<const uint8_t *>(message), blob_raw_len(message)});
    blob_buf_free(&buf);
    return copy;
}

// --- Steps ---

// Which methods were called, by the objects' names in the description.
std::set<std::pair<std::string, std::string>> reached;

// The same on every machine.
uint32_t hash_of(const std::string &name)
{
    uint32_t hash = 2166136261;
    for (unsigned char byte : name)
        hash = (hash ^ byte) * 16777619;
    return hash;
}

// An object that nobody has called so is one of entries or of the others, so that what is changed by chance still calls
// everything.
ubus_object *choose_object(const std::string &name)
{
    const std::vector<ubus_object *> &objects = daemon_objects();
    for (ubus_object *object : objects)
        if (name == object->name)
            return object;
    uint32_t hash = hash_of(name) >> 8;
    size_t fixed = std::min(families.objects.size(), objects.size());
    size_t first = hash % 2 ? fixed : 0;
    size_t count = hash % 2 ? objects.size() - fixed : fixed;
    return count > 0 ? objects[first + hash / 2 % count] : nullptr;
}

const ubus_method &choose_method(const ubus_object &object, const std::string &name)
{
    for (int i = 0; i < object.n_methods; i++)
        if (name == object.methods[i].name)
            return object.methods[i];
    return object.methods[(hash_of(name) >> 8) % static_cast<uint32_t>(object.n_methods)];
}

FuzzInput take_answers(FuzzInput &input)
{
    std::span<const uint8_t> bytes = input.bytes(input.u16());
    return {bytes.data(), bytes.size()};
}

void call(FuzzInput &input)
{
    ubus_object *object = choose_object(input.text());
    std::string name = input.text();
    if (!object)
        return;
    const ubus_method &method = choose_method(*object, name);
    if (requires_every_method)
        reached.emplace(test_support::describe(object->name)->name, method.name);
    ExactCopy message = make_message(method, input);
    daemon_call(*object, method, reinterpret_cast<blob_attr *>(message.data()), take_answers(input));
}

void add_entry(FuzzInput &input)
{
    vlist_tree *lists[] = {&entry_lists.wifi_aps[0], &entry_lists.wifi_aps[1], &entry_lists.wifi_timers,
                           &entry_lists.url_filters, &entry_lists.dns_filters, &entry_lists.lan_hosts};
    size_t list = input.choice(std::size(lists));
    entry_add(lists[list], input.u16(), list < 2 ? static_cast<uint32_t>(list + 1) : 0);
}

void deliver_event(FuzzInput &input)
{
    uint32_t type = input.u8();
    std::span<const uint8_t> record = input.short_bytes();
    event_store(type, record.data(), static_cast<uint32_t>(record.size()));
    daemon_drain(input.u8());
}

void step(FuzzInput &input)
{
    uint8_t action = input.u8() % 16;
    if (action < 12)
        call(input);
    else if (action == 12)
        add_entry(input);
    else if (action == 13)
        daemon_refuse_objects(input.u8());
    else if (action == 14)
        scan_channels(input.u8());
    else
        deliver_event(input);
}

// --- That the seeds reach everything ---

void require_every_method()
{
    int missing = 0;
    for (const test_support::DescribedObject &object : test_support::described_objects())
        for (const auto &[method, described] : object.methods().items())
            if (!reached.contains({object.name, method})) {
                fprintf(stderr, "Not called by any input: %s %s\n", object.name.c_str(), method.c_str());
                missing++;
            }
    if (missing)
        _Exit(EXIT_FAILURE);
}

} // namespace

// With --require-every-method, which libFuzzer does not get to see, the inputs are to call every method.
extern "C" int LLVMFuzzerInitialize(int *count, char ***arguments)
{
    char **end = *arguments + *count;
    char **kept = std::remove_if(*arguments, end,
                                 [](const char *argument) { return !strcmp(argument, "--require-every-method"); });
    if (kept != end) {
        requires_every_method = true;
        test_support::described_objects(); // read before the end is arranged for, so that they are still there then
        atexit(require_every_method);
        *kept = nullptr;
    }
    *count = static_cast<int>(kept - *arguments);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    uint8_t switches = input.u8();
    daemon_log(switches & 1);
    if (switches & 2)
        daemon_begin_by_start(take_answers(input));
    else
        daemon_begin();
    wexond_factory_flag = switches & 4 ? 1 : 0;
    for (size_t i = 0; i < kMostSteps && !input.empty(); i++)
        step(input);
    daemon_end();
    return 0;
}
