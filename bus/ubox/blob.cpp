extern "C" {
#include <libubox/blob.h>
}
