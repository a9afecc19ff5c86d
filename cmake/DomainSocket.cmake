# The messaging library as the target domainsocket: the installed one, the router maker's say, or ours from libdomainsocket/.

if(NOT WEXOND_DOMAINSOCKET MATCHES "^(auto|system|bundled)$")
  message(FATAL_ERROR "WEXOND_DOMAINSOCKET: '${WEXOND_DOMAINSOCKET}' is none of 'auto', 'system', 'bundled'")
endif()

set(WEXOND_DOMAINSOCKET_IS_BUNDLED TRUE)
if(NOT WEXOND_DOMAINSOCKET STREQUAL "bundled")
  find_library(DOMAINSOCKET_LIBRARY domainsocket)
  find_path(DOMAINSOCKET_INCLUDE_DIR domainsocket.h)
  if(DOMAINSOCKET_LIBRARY)
    set(WEXOND_DOMAINSOCKET_IS_BUNDLED FALSE)
  elseif(WEXOND_DOMAINSOCKET STREQUAL "system")
    message(FATAL_ERROR "WEXOND_DOMAINSOCKET=system: libdomainsocket is not installed")
  endif()
endif()

if(WEXOND_DOMAINSOCKET_IS_BUNDLED)
  add_subdirectory(${CMAKE_SOURCE_DIR}/libdomainsocket)
else()
  if(NOT DOMAINSOCKET_INCLUDE_DIR) # a library without its header: the interface is the same
    set(DOMAINSOCKET_INCLUDE_DIR ${CMAKE_SOURCE_DIR}/libdomainsocket/include)
  endif()
  add_library(domainsocket UNKNOWN IMPORTED)
  set_target_properties(domainsocket PROPERTIES
    IMPORTED_LOCATION ${DOMAINSOCKET_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${DOMAINSOCKET_INCLUDE_DIR})
endif()
message(STATUS "Messaging library: bundled is ${WEXOND_DOMAINSOCKET_IS_BUNDLED}")
