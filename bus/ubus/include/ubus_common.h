/* Agreements between clients and broker besides the messages. */
#ifndef UBUS_COMMON_H
#define UBUS_COMMON_H

/* The bus socket where none is named; a non-empty environment variable takes its place. */
#define UBUS_UNIX_SOCKET "/var/run/ubus/ubus.sock"
#define UBUS_SOCKET_VARIABLE "UBUS_SOCKET"

#endif
