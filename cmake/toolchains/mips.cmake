# 32 bits, the most significant byte first, as many older routers have.
set(CMAKE_SYSTEM_PROCESSOR mips)
set(triplet mips-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
