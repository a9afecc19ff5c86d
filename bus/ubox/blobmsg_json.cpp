extern "C" {
#include <libubox/blobmsg_json.h>
}
