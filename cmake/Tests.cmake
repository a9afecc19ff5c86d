include(GoogleTest)
find_package(GTest REQUIRED)

# Which flavour a test belongs to stands before its name, so that several build folders can share one CTest run.
if(WEXOND_SANITIZE)
  set(TEST_FLAVOUR ${WEXOND_SANITIZE})
else()
  set(TEST_FLAVOUR release)
endif()

# wexond_test(NAME source... [LIBRARIES library...] [DEPENDS target...] [LABELS label] [SERIAL])
# One GoogleTest program; each of its tests is a test of CTest, run in a process of its own. The label `threads` marks what
# also runs under ThreadSanitizer; that flavour runs nothing else.
function(wexond_test name)
  cmake_parse_arguments(arg "SERIAL" "" "LIBRARIES;DEPENDS;LABELS" ${ARGN})
  if(WEXOND_SANITIZE STREQUAL "thread" AND NOT "threads" IN_LIST arg_LABELS)
    return()
  endif()
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest GTest::gtest_main lab_flags)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE BUILD_BIN_DIR="${CMAKE_BINARY_DIR}/bin")
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()
  set(properties TIMEOUT 120)
  if(arg_LABELS) # one at most: the discovery of tests loses what follows in a list
    list(APPEND properties LABELS ${arg_LABELS})
  endif()
  if(arg_SERIAL)
    list(APPEND properties RUN_SERIAL ON)
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${TEST_FLAVOUR}." DISCOVERY_MODE PRE_TEST PROPERTIES ${properties})
endfunction()
