#include "events.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "client.h"
#include "object.h"

namespace
{

struct Text {
    const char *data;
    size_t length;
};

struct Pattern {
    avl_node in_all; // by `text`, equal ones in the order in which they came
    list_head in_object;
    Object *object;
    bool is_prefix;
    Text text; // without the `*` of a prefix
    char characters[];
};

avl_tree patterns;
uint64_t events_told = 0;

int compare_texts(const void *left, const void *right, void *)
{
    const Text &a = *static_cast<const Text *>(left), &b = *static_cast<const Text *>(right);
    int order = memcmp(a.data, b.data, std::min(a.length, b.length));
    return order != 0 ? order : (a.length > b.length) - (a.length < b.length);
}

size_t common_length(const Text &a, const Text &b)
{
    size_t length = 0;
    while (length < std::min(a.length, b.length) && a.data[length] == b.data[length])
        length++;
    return length;
}

size_t name_bytes(size_t length)
{
    return length + 1;
}

// Counts the pattern as its client's. 0, or -1 where that has too many.
int take_pattern(Holdings &holdings, size_t length)
{
    if (holdings_take(holdings, HELD_PATTERNS, 1) != 0)
        return -1;
    if (holdings_take(holdings, HELD_NAMES, name_bytes(length)) == 0)
        return 0;
    holdings_return(holdings, HELD_PATTERNS, 1);
    return -1;
}

void return_pattern(Holdings &holdings, size_t length)
{
    holdings_return(holdings, HELD_PATTERNS, 1);
    holdings_return(holdings, HELD_NAMES, name_bytes(length));
}

struct Event {
    Text name;
    Message *message;
    const Client *sender; // null for the broker
};

void tell(const Event &event, Object &object)
{
    if (object.client == event.sender || object.last_event == events_told)
        return;
    object.last_event = events_told;
    event.message->set_first_u32(object.id.value);
    client_send(*object.client, *event.message, !event.sender ? 0 : event.sender->id.value);
}

// Tells whoever has a pattern equal to that of `first`, which is a beginning of the event's name.
void tell_equal(const Event &event, Pattern *first)
{
    const Text text = first->text;
    bool is_whole = text.length == event.name.length;
    Pattern *last;
    last = avl_last_element(&patterns, last, in_all);
    for (Pattern *pattern = first; compare_texts(&pattern->text, &text, nullptr) == 0;
         pattern = avl_next_element(pattern, in_all)) {
        if (is_whole || pattern->is_prefix)
            tell(event, *pattern->object);
        if (pattern == last)
            break;
    }
}

// From one pattern that is a beginning of the name to the next longer one: of all the others, which may be many, only
// those are met that stand where a longer one would.
void tell_matching(const Event &event)
{
    for (size_t length = 0; length <= event.name.length;) {
        const Text beginning = {event.name.data, length};
        Pattern *pattern;
        avl_find_ge_element(&patterns, &beginning, pattern, in_all);
        if (!pattern)
            return;
        size_t common = common_length(pattern->text, event.name);
        if (common == pattern->text.length)
            tell_equal(event, pattern);
        else if (compare_texts(&pattern->text, &event.name, nullptr) > 0)
            return;
        length = common + 1;
    }
}

} // namespace

void events_init()
{
    avl_init(&patterns, compare_texts, true, nullptr);
}

int events_register(Object &object, const char *text)
{
    size_t length = strlen(text);
    bool is_prefix = text[length - 1] == '*';
    length -= is_prefix;
    Holdings &holdings = object.client->holdings;
    if (take_pattern(holdings, length) != 0)
        return UBUS_STATUS_NO_MEMORY;
    auto *pattern = static_cast<Pattern *>(malloc(sizeof(Pattern) + length));
    if (!pattern) {
        return_pattern(holdings, length);
        return UBUS_STATUS_NO_MEMORY;
    }
    pattern->object = &object;
    pattern->is_prefix = is_prefix;
    pattern->text = {pattern->characters, length};
    memcpy(pattern->characters, text, length); // NOLINT(bugprone-not-null-terminated-result): the key has its length
    pattern->in_all.key = &pattern->text;
    avl_insert(&patterns, &pattern->in_all);
    list_add_tail(&pattern->in_object, &object.patterns);
    return UBUS_STATUS_OK;
}

void events_send(const char *name, std::span<const uint8_t> data, const Client *sender)
{
    Message message(UBUS_MSG_INVOKE, 0, 0);
    message.put_u32(UBUS_ATTR_OBJID, 0);
    message.put_text(UBUS_ATTR_METHOD, name);
    message.put(UBUS_ATTR_DATA, data.data(), data.size());
    events_told++;
    tell_matching({{name, strlen(name)}, &message, sender});
}

void events_tell_path(const char *event, const Object &object)
{
    if (patterns.count == 0)
        return;
    blob_buf data = {};
    if (blob_buf_init(&data, 0) == 0 && blobmsg_add_u32(&data, "id", object.id.value) == 0 &&
        blobmsg_add_string(&data, "path", object.path) == 0)
        events_send(event, payload_of(data.head), nullptr);
    blob_buf_free(&data);
}

void events_forget(Object &object)
{
    Pattern *pattern, *next;
    list_for_each_entry_safe (pattern, next, &object.patterns, in_object) {
        return_pattern(object.client->holdings, pattern->text.length);
        avl_delete(&patterns, &pattern->in_all);
        list_del(&pattern->in_object);
        free(pattern);
    }
}
