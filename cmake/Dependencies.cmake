# Imported targets for the cached static dependency builds.
foreach(var XERCES_PREFIX XSEC_PREFIX GTEST_PREFIX)
  if(NOT ${var} OR NOT EXISTS "${${var}}/lib")
    message(FATAL_ERROR "${var} is not set or missing; run tools/deps/build-deps.sh <build-dir> first")
  endif()
endforeach()

add_library(dep::xerces STATIC IMPORTED GLOBAL)
set_target_properties(dep::xerces PROPERTIES
  IMPORTED_LOCATION "${XERCES_PREFIX}/lib/libxerces-c.a"
  INTERFACE_INCLUDE_DIRECTORIES "${XERCES_PREFIX}/include"
  INTERFACE_COMPILE_DEFINITIONS "XERCES_STATIC_LIBRARY"
  INTERFACE_LINK_LIBRARIES "advapi32")

add_library(dep::xsec STATIC IMPORTED GLOBAL)
set_target_properties(dep::xsec PROPERTIES
  IMPORTED_LOCATION "${XSEC_PREFIX}/lib/libxml-security-c.a"
  INTERFACE_INCLUDE_DIRECTORIES "${XSEC_PREFIX}/include"
  INTERFACE_LINK_LIBRARIES "dep::xerces")

add_library(dep::gtest STATIC IMPORTED GLOBAL)
set_target_properties(dep::gtest PROPERTIES
  IMPORTED_LOCATION "${GTEST_PREFIX}/lib/libgtest.a"
  INTERFACE_INCLUDE_DIRECTORIES "${GTEST_PREFIX}/include")

add_library(dep::gtest_main STATIC IMPORTED GLOBAL)
set_target_properties(dep::gtest_main PROPERTIES
  IMPORTED_LOCATION "${GTEST_PREFIX}/lib/libgtest_main.a"
  INTERFACE_LINK_LIBRARIES "dep::gtest")

# Botan (GOST modules only), for the test provider in tools/softgost-csp. Optional: a build
# directory whose deps.cmake predates it simply builds without that provider.
if(BOTAN_PREFIX AND EXISTS "${BOTAN_PREFIX}/lib/libbotan-2.a")
  add_library(dep::botan STATIC IMPORTED GLOBAL)
  set_target_properties(dep::botan PROPERTIES
    IMPORTED_LOCATION "${BOTAN_PREFIX}/lib/libbotan-2.a"
    INTERFACE_INCLUDE_DIRECTORIES "${BOTAN_PREFIX}/include/botan-2"
    INTERFACE_LINK_LIBRARIES "advapi32")
endif()
