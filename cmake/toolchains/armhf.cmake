# 32 bits, as most routers of today have.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # of what GCC passed in another way before its release 7
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
