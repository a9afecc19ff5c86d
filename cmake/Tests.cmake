include(GoogleTest)
find_package(GTest REQUIRED)

# Which flavour a test belongs to stands before its name, so that several build folders can share one CTest run.
if(CMAKE_CROSSCOMPILING)
  get_filename_component(TEST_FLAVOUR ${CMAKE_TOOLCHAIN_FILE} NAME_WE)
elseif(WEXOND_SANITIZE)
  set(TEST_FLAVOUR ${WEXOND_SANITIZE})
else()
  set(TEST_FLAVOUR release)
endif()

# Where the tests find the programs that they start, and what runs these.
add_compile_definitions(BUILD_BIN_DIR="${CMAKE_BINARY_DIR}/bin")
set(TEST_TIMEOUT 120)
if(CMAKE_CROSSCOMPILING)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "\",\"" emulator)
  add_compile_definitions(EMULATOR="${emulator}")
  set(TEST_TIMEOUT 600)
endif()

# wexond_test(NAME source... [LIBRARIES library...] [DEPENDS target...] [LABELS label] [PRECOMPILE header...] [SERIAL])
# One GoogleTest program; each of its tests is a test of CTest, run in a process of its own. The label `threads` marks what
# also runs under ThreadSanitizer; that flavour runs nothing else.
function(wexond_test name)
  cmake_parse_arguments(arg "SERIAL" "" "LIBRARIES;DEPENDS;LABELS;PRECOMPILE" ${ARGN})
  if(WEXOND_SANITIZE STREQUAL "thread" AND NOT "threads" IN_LIST arg_LABELS)
    return()
  endif()
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_compile_options(${name} PRIVATE -O0) # what is tested is optimised, the tests are built often and run once
  list(LENGTH arg_UNPARSED_ARGUMENTS source_count)
  if(source_count GREATER 4)
    list(TRANSFORM arg_PRECOMPILE REPLACE "(.+)" "$<$<COMPILE_LANGUAGE:CXX>:${CMAKE_SOURCE_DIR}/\\1>" OUTPUT_VARIABLE precompiled)
    target_precompile_headers(${name} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:<gtest/gtest.h$<ANGLE-R>>"
      ${precompiled})
  endif()
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest GTest::gtest_main lab_flags)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()
  set(properties TIMEOUT ${TEST_TIMEOUT})
  if(arg_LABELS)
    list(APPEND properties LABELS "${arg_LABELS}")
  endif()
  if(arg_SERIAL)
    list(APPEND properties RUN_SERIAL ON)
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${TEST_FLAVOUR}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES ${properties})
endfunction()
