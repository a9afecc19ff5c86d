extern "C" {
#include <libubox/vlist.h>
}
