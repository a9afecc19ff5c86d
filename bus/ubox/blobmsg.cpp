extern "C" {
#include <libubox/blobmsg.h>
}
