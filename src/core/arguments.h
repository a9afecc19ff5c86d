// The arguments of a method call: parsed by the method's policy, so that one of another type counts as absent, and
// checked in policy order.
#pragma once

#include "core/backend.h"
#include "core/bus.h"
#include "core/call.h"
#include "core/vocabulary.h"

// 0 when the first `count` policy entries were supplied; otherwise -1 and, in the status (which may be null), the
// reason "required parameter: <name of the first missing one>".
int wexond_check_required(const blobmsg_policy *policy, blob_attr *const *table, size_t count, Status *status);

template <size_t N> class Arguments
{
  public:
    // Of a call's message.
    Arguments(const blobmsg_policy (&policy)[N], blob_attr *message)
        : Arguments(policy, blob_data(message), blob_len(message))
    {
    }

    // Of the content of a table.
    Arguments(const blobmsg_policy (&policy)[N], void *data, size_t length) : policy_(policy)
    {
        blobmsg_parse(policy, N, table_, data, length);
    }

    bool has(size_t index) const { return table_[index]; }
    const char *text(size_t index) const { return blobmsg_get_string(table_[index]); }
    uint32_t number(size_t index) const { return blobmsg_get_u32(table_[index]); }
    const blob_attr *array(size_t index) const { return table_[index]; }

    blob_attr *value(size_t index) const { return table_[index]; }
    const char *name(size_t index) const { return policy_[index].name; }

    // True when all of the first `count` arguments are there; otherwise the call has failed.
    bool require(Call &call, size_t count = N) const
    {
        return wexond_check_required(policy_, table_, count, &call.status) == 0;
    }

  private:
    const blobmsg_policy *policy_;
    blob_attr *table_[N];
};

// The one argument of the methods that act on an entry by its number.
enum { IDX };

inline const blobmsg_policy index_policy[] = {
    {.name = "idx", .type = BLOBMSG_TYPE_INT32},
};

// The elements of an array argument, whose types and lengths the parse has not looked at. The walk ends at the first
// malformed one. For use in a range-based for.
class Elements
{
  public:
    explicit Elements(const blob_attr *array);

    struct Iterator {
        blob_attr *element;
        size_t left; // bytes from the element to the end of the array

        blob_attr *operator*() const { return element; }
        Iterator &operator++();
        bool operator!=(const Iterator &end) const { return left != end.left; }
    };
    Iterator begin() const;
    // NOLINTNEXTLINE(readability-convert-member-functions-to-static): one of a pair
    Iterator end() const { return {nullptr, 0}; }

  private:
    const blob_attr *array_;
};

// An element read as a string; null where it is none.
const char *element_text(const blob_attr *element);

// The first 32 bits of an element's value, whatever its declared type; a shorter value counts as followed by zeros.
uint32_t element_number(const blob_attr *element);

// Of an array argument whose elements all count.
constexpr size_t kNoLimit = SIZE_MAX;

// Walks the first `limit` elements of an array argument; further ones do not count, whatever they are. Each is judged
// before the next is looked at: by its type (BLOBMSG_TYPE_UNSPEC takes any) and by take(element, position), which
// returns 0 to go on, 1 where no more count, -1 where it has made the call fail. Returns 0, or -1 for the first wrong
// element: where it is malformed or of another type, the call has failed for "unrecognized parameter: <name>".
template <typename Take>
int take_elements(Call &call, const blob_attr *array, size_t limit, int type, const char *name, Take take)
{
    size_t left = blobmsg_data_len(array), position = 0;
    for (blob_attr *element : Elements(array)) {
        if (position == limit || (type != BLOBMSG_TYPE_UNSPEC && blobmsg_type(element) != type))
            break;
        if (int result = take(element, position))
            return std::min(result, 0);
        left -= blob_pad_len(element);
        position++;
    }
    if (left == 0 || position == limit)
        return 0;
    fail(call, "unrecognized parameter: %s", name);
    return -1;
}

// The same by type alone, for arguments that are to be sound before anything is done with them.
int check_elements(Call &call, const blob_attr *array, size_t limit, int type, const char *name);

// --- Optional arguments ---

// An argument that may be left out: where it is given, it fills a field of the request and sets its bit in the mask of
// what the request changes.
template <typename Record> struct Option {
    size_t argument;
    uint32_t bit;
    bool (*fill)(const Call &call, Record &record, blob_attr *value); // false: the value is refused
};

// The record whose member a pointer names.
template <typename Record, typename Field> Record record_of(Field Record::*);

template <auto field> using RecordOf = decltype(record_of(field));

// The targets of options: an integer, a text cut at its field's end, the code of a word, the code of a number.
template <auto field> bool fill_number(const Call &, RecordOf<field> &record, blob_attr *value)
{
    record.*field = blobmsg_get_u32(value);
    return true;
}

template <auto field> bool fill_text(const Call &, RecordOf<field> &record, blob_attr *value)
{
    copy_text(record.*field, blobmsg_get_string(value));
    return true;
}

template <auto field, uint32_t vocabulary> bool fill_word(const Call &, RecordOf<field> &record, blob_attr *value)
{
    record.*field = wexond_str_to_code(vocabulary, blobmsg_get_string(value));
    return true;
}

template <auto field, uint32_t vocabulary> bool fill_code(const Call &, RecordOf<field> &record, blob_attr *value)
{
    record.*field = wexond_ubus_to_code(vocabulary, blobmsg_get_u32(value));
    return true;
}

// Logs a given text or number: "<name>:<value>".
void log_argument(const Call &call, const char *name, const blob_attr *value, const char *number_format);

// Fills what was given, in the order of the options, and its bits in the mask. 0, or -1 with the first refused argument
// as the call's failure: "unrecognized parameter: <name>".
template <typename Record, size_t N, size_t Options>
int fill_options(Call &call, const Arguments<N> &arguments, const Option<Record> (&options)[Options], Record &record,
                 le32 Record::*mask, const char *number_format = "%s:%d \n\n")
{
    for (const Option<Record> &option : options) {
        blob_attr *value = arguments.value(option.argument);
        if (!value)
            continue;
        log_argument(call, arguments.name(option.argument), value, number_format);
        if (!option.fill(call, record, value)) {
            fail(call, "unrecognized parameter: %s", arguments.name(option.argument));
            return -1;
        }
        record.*mask |= option.bit;
    }
    return 0;
}
