# The bus libraries as bus::ubox, bus::blobmsg_json and bus::ubus: the installed ones, or ours from bus/. The router's carry
# no pkg-config or CMake files, so they are looked for by header and library name.

find_path(UBOX_INCLUDE_DIR libubox/uloop.h)
find_path(UBUS_INCLUDE_DIR libubus.h)
find_library(UBOX_LIBRARY ubox)
find_library(BLOBMSG_JSON_LIBRARY blobmsg_json)
find_library(UBUS_LIBRARY ubus)

set(bus_found FALSE)
if(UBOX_INCLUDE_DIR AND UBUS_INCLUDE_DIR AND UBOX_LIBRARY AND UBUS_LIBRARY)
  set(bus_found TRUE)
endif()
if(WEXOND_BUS STREQUAL "system" AND NOT bus_found)
  message(FATAL_ERROR "WEXOND_BUS=system: libubox and libubus are not installed")
endif()

if(WEXOND_BUS STREQUAL "system" OR (WEXOND_BUS STREQUAL "auto" AND bus_found))
  set(WEXOND_BUS_IS_BUNDLED FALSE)
  foreach(library ubox ubus blobmsg_json)
    string(TOUPPER ${library} upper)
    if(${upper}_LIBRARY)
      add_library(bus::${library} UNKNOWN IMPORTED)
      set_target_properties(bus::${library} PROPERTIES
        IMPORTED_LOCATION ${${upper}_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES "${UBOX_INCLUDE_DIR};${UBUS_INCLUDE_DIR}")
    endif()
  endforeach()
elseif(WEXOND_BUS MATCHES "^(auto|bundled)$")
  set(WEXOND_BUS_IS_BUNDLED TRUE)
  add_subdirectory(${CMAKE_SOURCE_DIR}/bus)
else()
  message(FATAL_ERROR "WEXOND_BUS: '${WEXOND_BUS}' is none of 'auto', 'system', 'bundled'")
endif()
message(STATUS "Bus libraries: bundled is ${WEXOND_BUS_IS_BUNDLED}")
