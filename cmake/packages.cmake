# Debian packages of the plug-in, the host, the headers, the C library and the Python package:
# `cpack` in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME talvora-signal)
set(CPACK_PACKAGE_CONTACT "Orvane Solution inc. <maintainers@orvane.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL headers plugin)
if(TARGET talvora-host)
  list(APPEND CPACK_COMPONENTS_ALL packaged_host library library_development python)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
if(CMAKE_CROSSCOMPILING)
  # What the tools say would be of this machine; made on one of the architecture, they ask there.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(plugin_depends "libc6 (>= 2.36), libgcc-s1 (>= 4.5), libstdc++6 (>= 12)")
  set(host_depends "${plugin_depends}, libacl1, libattr1, libcsv3, libfmt9, libhdf5-103-1, libssl3"
    ", libxxhash0, libyaml-cpp0.7")
  list(JOIN host_depends "" host_depends)
  set(library_depends ", ${host_depends}")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://www.orvane.example/)

set(CPACK_DEBIAN_PLUGIN_PACKAGE_NAME kpl-talvora-signal)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_DEPENDS "${plugin_depends}")
set(CPACK_DEBIAN_PLUGIN_DESCRIPTION "signal-processing units as a plug-in library
Rectifies, negates, repairs, filters, downsamples and summarises measured
signals for a host application that keeps them as data sets in a tree of
groups.")

set(CPACK_DEBIAN_PACKAGED_HOST_PACKAGE_NAME talvora-host)
set(CPACK_DEBIAN_PACKAGED_HOST_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGED_HOST_PACKAGE_DEPENDS "kpl-talvora-signal (= ${PROJECT_VERSION})")
if(host_depends)
  string(APPEND CPACK_DEBIAN_PACKAGED_HOST_PACKAGE_DEPENDS ", ${host_depends}")
endif()
set(CPACK_DEBIAN_PACKAGED_HOST_DESCRIPTION "runs signal-processing units on HDF5 files
The reference host of the plug-in kpl-talvora_signal: imports recordings,
runs units and recipes on one or many files, shows, plots and exports what
came of them.")

set(CPACK_DEBIAN_HEADERS_PACKAGE_NAME talvora-signal-dev)
set(CPACK_DEBIAN_HEADERS_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HEADERS_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_HEADERS_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_HEADERS_DESCRIPTION "interface between signal-processing hosts and plug-ins
The two headers in which a host and a plug-in meet, with a CMake package
for those who write one of them.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libtalvora0)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS
  "kpl-talvora-signal (= ${PROJECT_VERSION})${library_depends}")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "zero-phase filters and signal-processing units on arrays
A library in C that filters arrays of the calling program forward and
backward, fills their gaps, and runs the units of plug-in libraries on trees
in memory.")
# What packages of programs that are linked to it depend on, and that the loader finds it.
set(library_control ${PROJECT_BINARY_DIR}/libtalvora0)
file(WRITE ${library_control}/shlibs "libtalvora 0 libtalvora0 (>= ${PROJECT_VERSION})\n")
file(WRITE ${library_control}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${library_control}/shlibs ${library_control}/triggers)

set(CPACK_DEBIAN_LIBRARY_DEVELOPMENT_PACKAGE_NAME libtalvora-dev)
set(CPACK_DEBIAN_LIBRARY_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_DEVELOPMENT_PACKAGE_DEPENDS "libtalvora0 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBRARY_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_LIBRARY_DEVELOPMENT_DESCRIPTION "zero-phase filters and signal-processing units, development files
The header of libtalvora, with a CMake package and a file for pkg-config.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-talvora)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "kpl-talvora-signal (= ${PROJECT_VERSION}), libtalvora0 (= ${PROJECT_VERSION}), python3 (>= 3.9)"
  "python3-cffi, python3-numpy")
list(JOIN CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ", " CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "zero-phase filters and signal-processing units for Python 3
Filters NumPy arrays and pandas objects forward and backward, many times as
fast as SciPy and over missing samples, fills gaps, and runs the units of
kpl-talvora-signal.")

include(CPack)
