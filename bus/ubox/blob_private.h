// What blob.cpp has for blobmsg.cpp alone.
#pragma once

#include <cstddef>

extern "C" {
#include <libubox/blob.h>
}

// blob_nest_start with room for `payload` bytes in front of the nested attributes, for the caller to fill.
[[gnu::visibility("hidden")]] void *blob_nest_start_after(blob_buf *buf, int id, size_t payload);
