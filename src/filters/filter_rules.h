// What the URL filter and the DNS filter share: the course of each method, the entry objects, the reconciliation with
// the service's list. What differs stands in each filter's FilterKind row and in the two functions that it names.
//
// Deliberate in both: `add` makes an entry whenever an answer came back, also a refusal, with the index that stands in
// it (the next `list` puts that right); `delete` takes the entry out before it asks, whatever the answer.
#pragma once

#include "core/arguments.h"
#include "core/call.h"
#include "core/entry.h"
#include "core/reply.h"
#include "core/vocabulary.h"
#include "filters/filter_records.h"
#include "filters/schedule.h"

// One method: the type of its request, the reason when it fails, its handler's name in the log.
struct FilterMethod {
    uint32_t type;
    const char *failure;
    const char *function;
};

template <typename Record> struct FilterKind {
    const char *object;
    vlist_tree *entries;
    FilterMethod add;
    FilterMethod remove;
    FilterMethod list;
    FilterMethod set;
    FilterMethod get;
    // Why an object that is no rule's, or one of index 0, cannot be called. Null: the reason names the object, and
    // `get` does not reply at all.
    const char *unknown_object;
    // Fills the record from the arguments; -1 with the reason in the status. An add parses time ranges always, a set
    // only where there are weekdays.
    int (*parse)(blob_attr *message, bool is_add, const char *function, Record &record, Status *status);
    // The keys of a rule but "idx", with the lowest `weekday_bits` bits of its weekday mask.
    void (*add_keys)(const Record &record, uint32_t weekday_bits);
};

// Deliberate: `list` looks at one more weekday bit than entry `get`.
constexpr uint32_t kListWeekdayBits = 8;
constexpr uint32_t kGetWeekdayBits = 7;

// The rule index of a called entry object; 0 where it has none.
inline uint32_t filter_find_index(vlist_tree *entries, const ubus_object *object, const char *function)
{
    const Entry *entry = entry_find_named(entries, object->name);
    if (entry && entry->index != 0)
        return entry->index;
    WEXOND_LOG_AS(function, "%s:  %s can not found\n", function, object->name);
    return 0;
}

template <typename Record> Record filter_record_of(uint32_t index)
{
    Record record{};
    record.index = index;
    return record;
}

template <typename Record>
void filter_fail_unknown(const FilterKind<Record> &kind, const ubus_object *object, Status *status)
{
    if (kind.unknown_object)
        wexond_fail(status, "%s", kind.unknown_object);
    else
        wexond_fail(status, "%s can not found", object->name);
}

template <typename Record>
int filter_add(const FilterKind<Record> &kind, ubus_object *object, ubus_request_data *request, const char *method,
               blob_attr *message)
{
    Call call(object, method, kind.add.function);
    Record record{};
    if (kind.parse(message, true, kind.add.function, record, &call.status))
        return send_for_add(request, call.status, kind.add.function, nullptr);
    Answer<Record> answer = ask<Record>(kind.add.type, record);
    if (!answer.accepted())
        wexond_fail(&call.status, "%s", kind.add.failure);
    uint32_t index = 0;
    if (answer.present()) {
        index = answer->index;
        entry_add(kind.entries, index);
    }
    return send_for_add(request, call.status, kind.add.function, answer.accepted() ? &index : nullptr);
}

template <typename Record>
int filter_delete(const FilterKind<Record> &kind, ubus_object *object, ubus_request_data *request, const char *method,
                  blob_attr *message)
{
    Call call(object, method, kind.remove.function);
    Arguments<1> arguments(index_policy, message);
    if (!arguments.require(&call.status))
        return wexond_send_for_set(request, &call.status);
    uint32_t index = arguments.number(IDX);
    WEXOND_LOG_AS(kind.remove.function, "idx:%d \n\n", index);
    if (Entry *entry = entry_find(kind.entries, index)) {
        entry_remove(kind.entries, entry);
        if (!accepts(kind.remove.type, filter_record_of<Record>(index)))
            wexond_fail(&call.status, "%s", kind.remove.failure);
    } else {
        wexond_fail(&call.status, "not found");
    }
    return wexond_send_for_set(request, &call.status);
}

// List is the answer's type; it holds Records.
template <typename Record, typename List>
int filter_list(const FilterKind<Record> &kind, ubus_object *object, ubus_request_data *request, const char *method,
                blob_attr *)
{
    Call call(object, method, kind.list.function);
    Answer<List> answer = ask<List>(kind.list.type);
    if (answer.accepted()) {
        reply_start();
        void *array = reply_open_array(kind.object);
        for (size_t i = 0; i < entry_count(*answer); i++) {
            void *table = reply_open_table("");
            reply_int("idx", answer->entries[i].index);
            kind.add_keys(answer->entries[i], kListWeekdayBits);
            reply_close(table);
        }
        reply_close(array);
        entry_reconcile(kind.entries, *answer);
    } else {
        wexond_fail(&call.status, "%s", kind.list.failure);
    }
    return wexond_send_for_get(request, &call.status);
}

template <typename Record>
int filter_entry_set(const FilterKind<Record> &kind, ubus_object *object, ubus_request_data *request,
                     const char *method, blob_attr *message)
{
    Call call(object, method, kind.set.function);
    uint32_t index = filter_find_index(kind.entries, object, kind.set.function);
    auto record = filter_record_of<Record>(index);
    if (index == 0) {
        filter_fail_unknown(kind, object, &call.status);
    } else if (kind.parse(message, false, kind.set.function, record, &call.status) == 0) {
        Answer<Record> answer = ask<Record>(kind.set.type, record);
        if (!answer.accepted())
            wexond_fail(&call.status, "%s", kind.set.failure);
    }
    return wexond_send_for_set(request, &call.status);
}

template <typename Record>
int filter_entry_get(const FilterKind<Record> &kind, ubus_object *object, ubus_request_data *request,
                     const char *method, blob_attr *)
{
    Call call(object, method, kind.get.function);
    uint32_t index = filter_find_index(kind.entries, object, kind.get.function);
    if (index == 0) {
        if (!kind.unknown_object)
            return 0;
        filter_fail_unknown(kind, object, &call.status);
        return wexond_send_for_get(request, &call.status);
    }
    Answer<Record> answer = ask<Record>(kind.get.type, filter_record_of<Record>(index));
    if (answer.accepted()) {
        reply_start();
        void *table = reply_open_table(object->name);
        kind.add_keys(*answer, kGetWeekdayBits);
        reply_close(table);
    } else {
        wexond_fail(&call.status, "%s", kind.get.failure);
    }
    return wexond_send_for_get(request, &call.status);
}

// Texts of an array argument into slots, each up to `limit` characters; further ones are passed over.
template <typename Slots>
void copy_slots(const blob_attr *texts, Slots &slots, size_t limit, const char *function, const char *name)
{
    size_t count = 0;
    for (const blob_attr *element : Elements(texts)) {
        if (count == std::size(slots))
            break;
        WEXOND_LOG_AS(function, "%s[%zu]:%s \n\n", name, count, element_text(element));
        copy_text(slots[count++], element_text(element), limit);
    }
}

// Slots of text: the first empty one ends them.
template <typename Slots> void reply_slots(const char *key, const Slots &slots)
{
    void *array = reply_open_array(key);
    for (const auto &slot : slots) {
        if (!slot[0])
            break;
        reply_text("", slot);
    }
    reply_close(array);
}
