# Common to the toolchains for musl: a compiler of Debian's that knows the GNU C library, with the headers and
# libraries of musl-dev below MUSL_ROOT (nothing: this machine's own). `gnu` is the compiler's triplet, or empty; `musl` that
# of the library.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${gnu}gcc)
set(CMAKE_CXX_COMPILER ${gnu}g++)
# The compiler's own C++ library is not there to be linked: nor do libraries and daemon need it.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MUSL_ROOT)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_FIND_ROOT_PATH ${CMAKE_BINARY_DIR}/nothing)

# In front of the compiler's C++ headers stand two that say of the C library what is true of musl.
set(front ${CMAKE_BINARY_DIR}/musl)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -E -x c++ -v /dev/null OUTPUT_QUIET ERROR_VARIABLE searched)
string(REGEX MATCHALL "\n /[^\n]*/c\\+\\+/[^\n]*" folders "${searched}")
set(behind "")
foreach(folder ${folders})
  string(STRIP "${folder}" folder)
  string(APPEND behind " -isystem ${folder}")
  if(EXISTS ${folder}/bits/c++config.h)
    file(READ ${folder}/bits/c++config.h config)
  endif()
endforeach()
string(REGEX REPLACE "#define _GLIBCXX_USE_PTHREAD_[A-Z]*_CLOCK[A-Z]* 1" "" config "${config}")
if(NOT EXISTS ${front}/bits/os_defines.h)
  file(WRITE ${front}/bits/c++config.h "${config}")
  file(WRITE ${front}/bits/os_defines.h "#ifndef _GLIBCXX_OS_DEFINES\n#define _GLIBCXX_OS_DEFINES 1\n#endif\n")
endif()

set(specs "-specs=${MUSL_ROOT}/usr/lib/${musl}/musl-gcc.specs")
set(CMAKE_C_FLAGS_INIT "${specs}")
set(CMAKE_CXX_FLAGS_INIT "${specs} -nostdinc++ -isystem ${front}${behind} -D__locale_t=locale_t")
