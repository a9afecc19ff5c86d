// Shared by the URL filter and the DNS filter: the course of each method, the entry objects, the reconciliation with
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

// One method: the type of its request, and the reason when it fails.
struct FilterMethod {
    uint32_t type;
    const char *failure;
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
    // Fills the record from the call's arguments; -1 where the call has failed. An add parses time ranges always, a set
    // only where there are weekdays.
    int (*parse)(Call &call, bool is_add, Record &record);
    // The keys of a rule but "idx", with the lowest `weekday_bits` bits of its weekday mask.
    void (*add_keys)(const Record &record, uint32_t weekday_bits);
};

// Deliberate: `list` looks at one more weekday bit than entry `get`.
constexpr uint32_t kListWeekdayBits = 8;
constexpr uint32_t kGetWeekdayBits = 7;

// The rule index of a called entry object; 0 where it has none.
inline uint32_t filter_find_index(const Call &call, vlist_tree *entries)
{
    const Entry *entry = entry_find_named(entries, call.object->name);
    if (entry && entry->index != 0)
        return entry->index;
    CALL_LOG(call, "%s:  %s can not found\n", call.function, call.object->name);
    return 0;
}

template <typename Record> Record filter_record_of(uint32_t index)
{
    Record record{};
    record.index = index;
    return record;
}

template <typename Record> void filter_fail_unknown(Call &call, const FilterKind<Record> &kind)
{
    if (kind.unknown_object)
        fail(call, "%s", kind.unknown_object);
    else
        fail(call, "%s can not found", call.object->name);
}

template <typename Record> int filter_add(Call &call, const FilterKind<Record> &kind)
{
    Record record{};
    if (kind.parse(call, true, record))
        return send_for_add(call, nullptr);
    Answer<Record> answer = ask<Record>(kind.add.type, record);
    if (!answer.accepted())
        fail(call, "%s", kind.add.failure);
    uint32_t index = 0;
    if (answer.present()) {
        index = answer->index;
        entry_add(kind.entries, index);
    }
    return send_for_add(call, answer.accepted() ? &index : nullptr);
}

template <typename Record> int filter_delete(Call &call, const FilterKind<Record> &kind)
{
    Arguments<1> arguments(index_policy, call.message);
    if (!arguments.require(call))
        return send_for_set(call);
    uint32_t index = arguments.number(IDX);
    CALL_LOG(call, "idx:%d \n\n", index);
    if (Entry *entry = entry_find(kind.entries, index)) {
        entry_remove(kind.entries, entry);
        if (!accepts(kind.remove.type, filter_record_of<Record>(index)))
            fail(call, "%s", kind.remove.failure);
    } else {
        fail(call, "not found");
    }
    return send_for_set(call);
}

// List is the answer's type; it holds Records.
template <typename List, typename Record> int filter_list(Call &call, const FilterKind<Record> &kind)
{
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
        fail(call, "%s", kind.list.failure);
    }
    return send_for_get(call);
}

template <typename Record> int filter_entry_set(Call &call, const FilterKind<Record> &kind)
{
    uint32_t index = filter_find_index(call, kind.entries);
    auto record = filter_record_of<Record>(index);
    if (index == 0) {
        filter_fail_unknown(call, kind);
    } else if (kind.parse(call, false, record) == 0) {
        Answer<Record> answer = ask<Record>(kind.set.type, record);
        if (!answer.accepted())
            fail(call, "%s", kind.set.failure);
    }
    return send_for_set(call);
}

template <typename Record> int filter_entry_get(Call &call, const FilterKind<Record> &kind)
{
    uint32_t index = filter_find_index(call, kind.entries);
    if (index == 0) {
        if (!kind.unknown_object)
            return 0;
        filter_fail_unknown(call, kind);
        return send_for_get(call);
    }
    Answer<Record> answer = ask<Record>(kind.get.type, filter_record_of<Record>(index));
    if (answer.accepted()) {
        reply_start();
        void *table = reply_open_table(call.object->name);
        kind.add_keys(*answer, kGetWeekdayBits);
        reply_close(table);
    } else {
        fail(call, "%s", kind.get.failure);
    }
    return send_for_get(call);
}

// Texts of an array argument into slots, each up to `limit` characters.
template <typename Slots>
int take_slots(Call &call, const blob_attr *texts, Slots &slots, size_t limit, const char *name)
{
    return take_elements(
        call, texts, std::size(slots), BLOBMSG_TYPE_STRING, name,
        [&](const blob_attr *element, size_t position) {
            CALL_LOG(call, "%s[%zu]:%s \n\n", name, position, element_text(element));
            copy_text(slots[position], element_text(element), limit);
            return 0;
        });
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
