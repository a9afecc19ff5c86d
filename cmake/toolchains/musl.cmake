# This machine's processor, and musl in place of the GNU C library, as most routers have it.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(gnu "")
set(musl x86_64-linux-musl)
include(${CMAKE_CURRENT_LIST_DIR}/debian_musl.cmake)
