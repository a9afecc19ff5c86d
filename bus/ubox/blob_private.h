// Parts of blob.cpp that blobmsg.cpp alone calls.
#pragma once

#include <cstddef>

extern "C" {
#include <libubox/blob.h>
}

// blob_new, whose payload may be of any size.
[[gnu::visibility("hidden")]] blob_attr *blob_append(blob_buf *buf, int id, size_t payload);

// blob_nest_start with room for `payload` bytes in front of the nested attributes, for the caller to fill.
[[gnu::visibility("hidden")]] void *blob_nest_start_after(blob_buf *buf, int id, size_t payload);

// An attribute behind what the container holds, which does not count it until blob_add_placed; null as blob_new.
[[gnu::visibility("hidden")]] blob_attr *blob_place(blob_buf *buf, int id, size_t payload);
// Another length for the attribute placed last; what it holds stays as far as it fits.
[[gnu::visibility("hidden")]] blob_attr *blob_resize_placed(blob_buf *buf, size_t payload);
[[gnu::visibility("hidden")]] void blob_add_placed(blob_buf *buf);
