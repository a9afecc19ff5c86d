// The bus libraries of June 2017 and later, and the daemon's one connection to the bus. The libubox headers have no
// linkage guard of their own, so they are included here and nowhere else.
#pragma once

#include <cstddef>

extern "C" {
#include <libubox/avl-cmp.h>
#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>
#include <libubox/vlist.h>
#include <libubus.h>
}

// In place of UBUS_OBJECT_TYPE, which names its fields in the order of the structure since 2024 only: before, it is no
// C++.
template <size_t Count>
constexpr ubus_object_type bus_object_type(const char *name, const ubus_method (&methods)[Count])
{
    return {.name = name, .id = 0, .methods = methods, .n_methods = Count};
}

#ifndef vlist_for_each_element_safe // since 2021
#define vlist_for_each_element_safe(tree, element, node_member, ptr)                                                   \
    avl_for_each_element_safe (&(tree)->avl, element, node_member.avl, ptr)
#endif

// UBUS_STATUS_NO_MEMORY, since 2022: an older library reports no such thing.
constexpr int kBusNoMemory = 11;

// Set by the bus thread when it has connected, and used on that thread only.
extern ubus_context *wexond_context;
