// The bus libraries, and the daemon's one connection to the bus. The libubox headers have no linkage guard of their
// own, so they are included here and nowhere else.
#pragma once

extern "C" {
#include <libubox/avl-cmp.h>
#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>
#include <libubox/vlist.h>
#include <libubus.h>
}

// Set by the bus thread when it has connected, and used on that thread only.
extern ubus_context *wexond_context;
