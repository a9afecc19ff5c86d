/* The messages on the bus socket: header, types, attributes and status codes, as broker and clients share them. */
#ifndef UBUSMSG_H
#define UBUSMSG_H

#include <stdint.h>

/* Longest blob of one message, the header not counted. A receiver drops the connection that sends a longer one. */
#define UBUS_MAX_MSGLEN 1048576

/* Object ids below the maximum are the broker's own: 1 takes the registrations for events and distributes them. */
#define UBUS_SYSTEM_OBJECT_EVENT 1
#define UBUS_SYSTEM_OBJECT_ACL 2
#define UBUS_SYSTEM_OBJECT_MONITOR 3
#define UBUS_SYSTEM_OBJECT_MAX 1024

/* Most subscribers whose answers a notification waits for. */
#define UBUS_MAX_NOTIFY_PEERS 16

/* Precedes the blob of every message; `seq` and `peer` are big-endian. `peer` is an object id in what a client sends
 * and in what answers it, the caller's client id in what the owner of an object receives. */
struct ubus_msghdr {
    uint8_t version;
    uint8_t type;
    uint16_t seq;
    uint32_t peer;
} __attribute__((packed, aligned(4)));

enum ubus_msg_type {
    UBUS_MSG_HELLO,         /* broker, at once after accept; peer is the client's id */
    UBUS_MSG_STATUS,        /* ends a request: STATUS */
    UBUS_MSG_DATA,          /* answer data, before the status */
    UBUS_MSG_PING,          /* echoed as data */
    UBUS_MSG_LOOKUP,        /* OBJPATH: none, a prefix ending in '*', or exact */
    UBUS_MSG_INVOKE,        /* OBJID, METHOD, DATA; towards the owner also USER, GROUP, NO_REPLY */
    UBUS_MSG_ADD_OBJECT,    /* nothing, or OBJPATH with OBJTYPE or SIGNATURE */
    UBUS_MSG_REMOVE_OBJECT, /* OBJID */
    UBUS_MSG_SUBSCRIBE,     /* OBJID (the subscriber's), TARGET */
    UBUS_MSG_UNSUBSCRIBE,   /* OBJID, TARGET; from the broker when the target went away */
    UBUS_MSG_NOTIFY,        /* OBJID, METHOD, DATA, NO_REPLY; from the broker OBJID, ACTIVE */
    UBUS_MSG_MONITOR,
    /* NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the name is the interface's */
    __UBUS_MSG_LAST,
};

enum ubus_msg_attr {
    UBUS_ATTR_UNSPEC,
    UBUS_ATTR_STATUS,      /* int32 */
    UBUS_ATTR_OBJPATH,     /* string */
    UBUS_ATTR_OBJID,       /* int32 */
    UBUS_ATTR_METHOD,      /* string */
    UBUS_ATTR_OBJTYPE,     /* int32 */
    UBUS_ATTR_SIGNATURE,   /* nested: a table per method, in it an int32 (the blobmsg type) per argument */
    UBUS_ATTR_DATA,        /* nested: blobmsg */
    UBUS_ATTR_TARGET,      /* int32 */
    UBUS_ATTR_ACTIVE,      /* int8 */
    UBUS_ATTR_NO_REPLY,    /* int8 */
    UBUS_ATTR_SUBSCRIBERS, /* nested: an int32 of id 0 per subscriber */
    UBUS_ATTR_USER,        /* string */
    UBUS_ATTR_GROUP,       /* string */
    UBUS_ATTR_MAX,
};

/* Attributes by which a MONITOR message tells of another message. */
enum ubus_monitor_attr {
    UBUS_MONITOR_CLIENT, /* int32: the client it came from or goes to */
    UBUS_MONITOR_PEER,   /* int32 */
    UBUS_MONITOR_SEND,   /* int8: 1 sent by the broker */
    UBUS_MONITOR_SEQ,    /* int32 */
    UBUS_MONITOR_TYPE,   /* int32 */
    UBUS_MONITOR_DATA,   /* nested: its attributes */
    UBUS_MONITOR_MAX,
};

enum ubus_msg_status {
    UBUS_STATUS_OK,
    UBUS_STATUS_INVALID_COMMAND,
    UBUS_STATUS_INVALID_ARGUMENT,
    UBUS_STATUS_METHOD_NOT_FOUND,
    UBUS_STATUS_NOT_FOUND,
    UBUS_STATUS_NO_DATA,
    UBUS_STATUS_PERMISSION_DENIED,
    UBUS_STATUS_TIMEOUT,
    UBUS_STATUS_NOT_SUPPORTED,
    UBUS_STATUS_UNKNOWN_ERROR,
    UBUS_STATUS_CONNECTION_FAILED,
    UBUS_STATUS_NO_MEMORY,
    UBUS_STATUS_PARSE_ERROR,
    UBUS_STATUS_SYSTEM_ERROR,
    /* NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the name is the interface's */
    __UBUS_STATUS_LAST,
};

#endif
