/* Blobmsg from and to JSON. */
#ifndef LIBUBOX_BLOBMSG_JSON_H
#define LIBUBOX_BLOBMSG_JSON_H

#include <stdbool.h>

#include "blobmsg.h"

struct json_object;

/*
 * Adds the members of the JSON object in `str` to the container being filled: booleans as int8, integers as int32 or,
 * beyond its range, int64, null as a value of no type. False where the text is no JSON object or not all could be
 * added.
 */
bool blobmsg_add_json_from_string(struct blob_buf *buf, const char *str);
bool blobmsg_add_json_from_file(struct blob_buf *buf, const char *file);
/* The members of an object of json-c's, and one value under a name (null in arrays). */
bool blobmsg_add_object(struct blob_buf *buf, struct json_object *obj);
bool blobmsg_add_json_element(struct blob_buf *buf, const char *name, struct json_object *obj);

/*
 * The attribute as JSON text, to be freed by the caller; null out of memory or where tables and arrays are nested more
 * than 128 deep. With `list` it is a message (or table or array) whose contents make an object (or array); without,
 * one value, after its name where it has one. Malformed attributes are left out. An `indent` below 0 gives one line,
 * otherwise every value has a line of its own, with one tab more than its surroundings, which have `indent` tabs.
 */
char *blobmsg_format_json_indent(struct blob_attr *attr, bool list, int indent);

/* The text to print instead of a value, or null for the usual one: asked for every value, nested ones too. */
typedef const char *(*blobmsg_json_format_t)(void *priv, struct blob_attr *attr);

char *blobmsg_format_json_with_cb(struct blob_attr *attr, bool list, blobmsg_json_format_t cb, void *priv, int indent);
/* One value without its name. */
char *blobmsg_format_json_value_with_cb(struct blob_attr *attr, blobmsg_json_format_t cb, void *priv, int indent);

static inline char *blobmsg_format_json(struct blob_attr *attr, bool list)
{
    return blobmsg_format_json_indent(attr, list, -1);
}

static inline char *blobmsg_format_json_value(struct blob_attr *attr)
{
    return blobmsg_format_json_value_with_cb(attr, NULL, NULL, -1);
}

static inline char *blobmsg_format_json_value_indent(struct blob_attr *attr, int indent)
{
    return blobmsg_format_json_value_with_cb(attr, NULL, NULL, indent);
}

#endif
