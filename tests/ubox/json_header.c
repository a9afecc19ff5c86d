/* The header is C. */
#include <libubox/blobmsg_json.h>

/* How many values it read. */
int json_from_c(void)
{
    static struct blob_buf buf;
    struct blob_attr *pos;
    size_t rem;
    int count = 0;

    blob_buf_init(&buf, 0);
    if (!blobmsg_add_json_from_string(&buf, "{\"a\":1,\"b\":2}"))
        return -1;
    blobmsg_for_each_attr (pos, buf.head, rem)
        count++;
    blob_buf_free(&buf);
    return count;
}
