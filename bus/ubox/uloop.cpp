extern "C" {
#include <libubox/uloop.h>
}
