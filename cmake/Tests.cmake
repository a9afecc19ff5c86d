include(GoogleTest)
find_package(GTest REQUIRED)

# Which flavour a test belongs to stands before its name, so that several build folders can share one CTest run.
if(CMAKE_CROSSCOMPILING)
  get_filename_component(TEST_FLAVOUR ${CMAKE_TOOLCHAIN_FILE} NAME_WE)
elseif(WEXOND_SANITIZE)
  set(TEST_FLAVOUR ${WEXOND_SANITIZE})
elseif(NOT WEXOND_BUS_IS_BUNDLED)
  set(TEST_FLAVOUR system)
else()
  set(TEST_FLAVOUR release)
endif()

# Runs the tests and the programs that they start.
set(TEST_TIMEOUT 120)
if(WEXOND_SANITIZE)
  set(TEST_TIMEOUT 300)
endif()
if(CMAKE_CROSSCOMPILING)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "\",\"" emulator)
  add_compile_definitions(EMULATOR="${emulator}")
  set(TEST_TIMEOUT 600)
endif()

# The installed broker and the tool find the libraries that they were installed with.
set(TEST_ENVIRONMENT "")
if(NOT WEXOND_BUS_IS_BUNDLED)
  get_filename_component(folder ${UBUS_LIBRARY} DIRECTORY)
  set(TEST_ENVIRONMENT LD_LIBRARY_PATH=${folder})
endif()

# Headers, compiled once for all test programs, by their options: GoogleTest's, and with it what tests of the daemon include.
foreach(headers gtest daemon_test)
  add_library(precompiled_${headers} OBJECT ${CMAKE_SOURCE_DIR}/tests/precompiled.cpp)
  set_target_properties(precompiled_${headers} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(precompiled_${headers} PRIVATE -fPIE -O0)
  target_link_libraries(precompiled_${headers} PRIVATE GTest::gtest Threads::Threads lab_flags)
  target_precompile_headers(precompiled_${headers} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:<gtest/gtest.h$<ANGLE-R>>")
endforeach()
target_link_libraries(precompiled_daemon_test PRIVATE test_support)
target_precompile_headers(precompiled_daemon_test PRIVATE
  "$<$<COMPILE_LANGUAGE:CXX>:${CMAKE_SOURCE_DIR}/tests/support/daemon_test.h>")

# wexond_test(NAME source... [LIBRARIES library...] [DEPENDS target...] [LABELS label] [DAEMON] [SERIAL] [WAITS])
# One GoogleTest program; each of its tests is a test of CTest, run in a process of its own. The label `threads` marks what
# also runs under ThreadSanitizer; that flavour runs nothing else. DAEMON: the sources include daemon_test.h. WAITS: the
# tests wait more than they work, and begin first, beside those that work.
function(wexond_test name)
  cmake_parse_arguments(arg "DAEMON;SERIAL;WAITS" "" "LIBRARIES;DEPENDS;LABELS" ${ARGN})
  if(WEXOND_SANITIZE STREQUAL "thread" AND NOT "threads" IN_LIST arg_LABELS)
    return()
  endif()
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_compile_options(${name} PRIVATE -O0) # what is tested is optimised, the tests are built often and run once
  if(arg_DAEMON)
    target_precompile_headers(${name} REUSE_FROM precompiled_daemon_test)
  elseif(NOT arg_UNPARSED_ARGUMENTS MATCHES "\\.c(;|$)") # it is a header of C++
    target_precompile_headers(${name} REUSE_FROM precompiled_gtest)
  endif()
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest GTest::gtest_main lab_flags)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()
  set(properties TIMEOUT ${TEST_TIMEOUT})
  if(TEST_ENVIRONMENT)
    list(APPEND properties ENVIRONMENT ${TEST_ENVIRONMENT})
  endif()
  if(arg_LABELS)
    list(APPEND properties LABELS "${arg_LABELS}")
  endif()
  if(arg_SERIAL)
    list(APPEND properties RUN_SERIAL ON)
  endif()
  if(arg_WAITS)
    list(APPEND properties COST 100)
  endif()
  # The described interface that it meets is collected: see tests/api/met.py.
  if(arg_LIBRARIES MATCHES "(^|;|event_)test_support")
    list(APPEND properties FIXTURES_REQUIRED ${TEST_FLAVOUR}.api_met)
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${TEST_FLAVOUR}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES ${properties})
  # Nothing that a test leaves in its process may matter to the next: all of the program's tests in one process, three times,
  # each time in another order. The output names its seed.
  if(TEST_FLAVOUR STREQUAL "release")
    set(test ${TEST_FLAVOUR}.Shuffled.${name})
    add_test(NAME ${test} COMMAND ${name} --gtest_shuffle --gtest_repeat=3 CONFIGURATIONS Long)
    set_tests_properties(${test} PROPERTIES TIMEOUT 3600 RUN_SERIAL ${arg_SERIAL})
  endif()
endfunction()
