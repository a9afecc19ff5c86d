// The arguments of a method call: parsed by the method's policy, so that one of another type counts as absent, and
// checked in policy order.
#pragma once

#include "core/backend.h"
#include "core/bus.h"

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

    // True when all of the first `count` arguments are there.
    bool require(Status *status, size_t count = N) const
    {
        return wexond_check_required(policy_, table_, count, status) == 0;
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

// 0 when every element of an array argument has the type; otherwise, also for a malformed one, -1 and the reason
// "unrecognized parameter: <name>" in the status.
int check_elements(const blob_attr *array, int type, const char *name, Status *status);
