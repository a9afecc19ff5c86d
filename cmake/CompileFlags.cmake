# Two interface targets: `embedded_flags` for what runs on the router (src/, libdomainsocket/, bus/), `lab_flags` for what
# runs beside it (lab/, tests/, bench/), which may use the standard library whole.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON) # the bus headers' macros use the bare `typeof`

add_library(lab_flags INTERFACE)
target_compile_options(lab_flags INTERFACE -Wall -Wextra)
# Static tables of policies and methods leave fields out; the bus headers' byte-order macros are statement expressions.
target_compile_options(lab_flags INTERFACE -Wno-missing-field-initializers
                                           $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-statement-expression>)
# On 32-bit processors stat fails on a file whose number needs 64 bits. The bus libraries' structures hold nothing of that width.
target_compile_definitions(lab_flags INTERFACE _FILE_OFFSET_BITS=64)
if(WEXOND_WERROR)
  target_compile_options(lab_flags INTERFACE -Werror)
endif()
if(WEXOND_SANITIZE STREQUAL "address")
  # Clang's check of function types needs a part of its run-time library that the C driver does not link.
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
                 $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
elseif(WEXOND_SANITIZE STREQUAL "thread")
  set(sanitizers -fsanitize=thread)
elseif(NOT WEXOND_SANITIZE STREQUAL "")
  message(FATAL_ERROR "WEXOND_SANITIZE: '${WEXOND_SANITIZE}' is none of '', 'address', 'thread'")
endif()
target_compile_options(lab_flags INTERFACE ${sanitizers})
target_link_options(lab_flags INTERFACE ${sanitizers})

add_library(embedded_flags INTERFACE)
target_link_libraries(embedded_flags INTERFACE lab_flags)
target_compile_options(embedded_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti
                                                -fno-threadsafe-statics> -ffunction-sections -fdata-sections)
target_link_options(embedded_flags INTERFACE -Wl,--gc-sections -Wl,--as-needed)
if(WEXOND_FUZZ)
  target_compile_options(embedded_flags INTERFACE -fsanitize=fuzzer-no-link) # what guides the fuzzers
endif()

# Programs of the router are hardened: programs that load anywhere, overrun stack buffers and library calls found out when
# they happen, and no table of function pointers that stays writable. How far, the flags of an SDK may say otherwise.
include(CheckPIESupported)
check_pie_supported(LANGUAGES C)
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
set(given_flags "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${build_type}}")
if(NOT given_flags MATCHES "-f(no-)?stack-protector")
  target_compile_options(embedded_flags INTERFACE -fstack-protector-strong)
endif()
target_link_options(embedded_flags INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
# Sanitizers intercept the plain functions, not the checking ones, fuzzers replace them, and without optimisation there are none of these.
if(NOT WEXOND_SANITIZE AND NOT WEXOND_FUZZ AND given_flags MATCHES "-O[1-9sgz]" AND NOT given_flags MATCHES "_FORTIFY_SOURCE")
  # A distribution's compiler may define another level by itself.
  target_compile_options(embedded_flags INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

# Programs of the router are C++ without the C++ run-time library: linked by the C driver.
function(link_without_cxx_runtime target)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
endfunction()
