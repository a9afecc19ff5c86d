// The parts of libubox the broker uses. Its headers are C and carry no linkage guard, so they are included here only.
#pragma once

extern "C" {
#include <libubox/avl-cmp.h>
#include <libubox/avl.h>
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <libubox/list.h>
}
