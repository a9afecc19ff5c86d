extern "C" {
#include <libubox/avl.h>
}
