# 32 bits and musl, as most routers of today have.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(gnu arm-linux-gnueabihf-)
set(musl arm-linux-musleabihf)
include(${CMAKE_CURRENT_LIST_DIR}/debian_musl.cmake)
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-psabi")
