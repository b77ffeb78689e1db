# For a C library that goes to machines without the libraries of this one, as in a wheel: all that it
# needs is linked in, but for the run-time libraries of C and C++.
option(TALVORA_STATIC_DEPENDENCIES
  "Link all but the run-time libraries of C and C++ into the C library" OFF)
if(NOT TALVORA_STATIC_DEPENDENCIES)
  return()
endif()

# Found here they are not looked for again.
foreach(name ACL AEC ATTR CRYPTO SZ XXHASH Z)
  string(TOLOWER ${name} file)
  find_library(${name}_LIBRARY lib${file}.a REQUIRED)
endforeach()
set(OPENSSL_USE_STATIC_LIBS ON)

# There is no archive of this one: its functions are compiled in.
set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL ON)
find_package(fmt REQUIRED)
set_target_properties(fmt::fmt PROPERTIES INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY=1)
unset(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL)
