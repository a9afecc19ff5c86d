#include "tests/ubox/ubox.h"

#include <gtest/gtest.h>
#include <type_traits>

extern "C" {
int vlist_from_c(void);
int message_from_c(void);
int loop_from_c(void);
}

namespace
{

TEST(Headers, AreC)
{
    EXPECT_EQ(vlist_from_c(), 12);
    EXPECT_EQ(message_from_c(), 42);
    EXPECT_EQ(loop_from_c(), 0);
}

// Fixed by other programs that are built against these names.
static_assert(sizeof(blob_attr) == 4 && alignof(blob_attr) == 1);
static_assert(sizeof(blobmsg_hdr) == 2 && alignof(blobmsg_hdr) == 1);
static_assert(BLOB_ATTR_NESTED == 1 && BLOB_ATTR_BINARY == 2 && BLOB_ATTR_STRING == 3 && BLOB_ATTR_INT8 == 4 &&
              BLOB_ATTR_INT16 == 5 && BLOB_ATTR_INT32 == 6 && BLOB_ATTR_INT64 == 7 && BLOB_ATTR_DOUBLE == 8);
static_assert(BLOBMSG_TYPE_UNSPEC == 0 && BLOBMSG_TYPE_ARRAY == 1 && BLOBMSG_TYPE_TABLE == 2 &&
              BLOBMSG_TYPE_STRING == 3 && BLOBMSG_TYPE_INT64 == 4 && BLOBMSG_TYPE_INT32 == 5 &&
              BLOBMSG_TYPE_INT16 == 6 && BLOBMSG_TYPE_INT8 == 7 && BLOBMSG_TYPE_BOOL == 7 && BLOBMSG_TYPE_DOUBLE == 8 &&
              BLOBMSG_TYPE_LAST == 8);
static_assert(ULOOP_READ == 1 && ULOOP_WRITE == 2 && ULOOP_EDGE_TRIGGER == 4 && ULOOP_BLOCKING == 8);

// The getters take what every router's take: an error of that kind shows here.
template <typename Getter> constexpr bool takes_const(Getter)
{
    return std::is_invocable_v<Getter, const blob_attr *>;
}
static_assert(!takes_const(blobmsg_get_u8) && !takes_const(blobmsg_get_bool) && !takes_const(blobmsg_get_u16) &&
              !takes_const(blobmsg_get_u32) && !takes_const(blobmsg_get_u64) && !takes_const(blobmsg_get_double) &&
              !takes_const(blobmsg_get_string) && !takes_const(blobmsg_add_blob));
static_assert(takes_const(blobmsg_name) && takes_const(blobmsg_type) && takes_const(blobmsg_data) &&
              takes_const(blobmsg_data_len) && takes_const(blob_data) && takes_const(blob_get_u32) &&
              takes_const(blob_next));

} // namespace
