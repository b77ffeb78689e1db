# What `cmake --install` puts where, by components: the plug-in, the host, the headers, the C library,
# the Python package.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Where the program looks for the plug-in, seen from its own folder.
install(TARGETS kpl-talvora_signal
  LIBRARY DESTINATION lib/talvora COMPONENT plugin
  RUNTIME DESTINATION lib/talvora COMPONENT plugin
  ARCHIVE DESTINATION lib/talvora COMPONENT plugin EXCLUDE_FROM_ALL)

# The two headers in which host and plug-in meet, for those who write one of them.
add_library(talvora_interface INTERFACE)
set_target_properties(talvora_interface PROPERTIES EXPORT_NAME interface)
target_compile_features(talvora_interface INTERFACE cxx_std_17)
target_sources(talvora_interface INTERFACE FILE_SET HEADERS
  BASE_DIRS ${PROJECT_SOURCE_DIR}
  FILES plugin/host_interfaces.h plugin/plugin_api.h)
install(TARGETS talvora_interface EXPORT talvora_signal
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/talvora_signal COMPONENT headers)

set(package_folder ${CMAKE_INSTALL_DATADIR}/cmake/talvora_signal)
install(EXPORT talvora_signal NAMESPACE talvora_signal:: FILE talvora_signalConfig.cmake
  DESTINATION ${package_folder} COMPONENT headers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/talvora_signalConfigVersion.cmake
  COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/talvora_signalConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT headers)

include(cmake/copyright.cmake)
if(NOT WIN32)
  set(plugin_copyright ${PROJECT_BINARY_DIR}/copyright/kpl-talvora-signal)
  if(NOT TALVORA_X86_64)
    set(simde "SIMDe, compiled in=${SIMDE_INCLUDE_DIR}/../share/doc/libsimde-dev/copyright")
  endif()
  write_copyright(${plugin_copyright}
    "Eigen, compiled in=${DEBIAN_TERMS}/libeigen3-dev/copyright"
    ${simde}
    "libstdc++ and libgcc, linked to=${DEBIAN_TERMS}/libstdc++6/copyright"
    "libc and libm, linked to=${DEBIAN_TERMS}/libc6/copyright")
  install(FILES ${plugin_copyright} RENAME copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kpl-talvora-signal COMPONENT plugin)
endif()

find_program(GZIP gzip)
if(GZIP)
  set(changelog ${PROJECT_BINARY_DIR}/changelog.gz)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
  execute_process(COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    OUTPUT_FILE ${changelog} COMMAND_ERROR_IS_FATAL ANY)
  foreach(pair plugin=kpl-talvora-signal headers=talvora-signal-dev)
    string(REPLACE "=" ";" pair ${pair})
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
      COMPONENT ${component})
  endforeach()
endif()

if(NOT TARGET talvora-host OR NOT GZIP)
  return()
endif()

# The C library, and what programs are built with that call it.
install(TARGETS talvora EXPORT talvora
  LIBRARY DESTINATION lib COMPONENT library NAMELINK_COMPONENT library_development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT library_development)
install(EXPORT talvora NAMESPACE talvora:: FILE talvoraConfig.cmake
  DESTINATION lib/cmake/talvora COMPONENT library_development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/talvoraConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
configure_file(library/talvora.pc.in ${PROJECT_BINARY_DIR}/talvora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/talvoraConfigVersion.cmake
  DESTINATION lib/cmake/talvora COMPONENT library_development)
install(FILES ${PROJECT_BINARY_DIR}/talvora.pc
  DESTINATION lib/pkgconfig COMPONENT library_development)
install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libtalvora0 COMPONENT library)
install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libtalvora-dev
  COMPONENT library_development)

# The Python package over it, which finds it three folders up.
install(FILES ${TALVORA_PYTHON_FILES}
  DESTINATION lib/python3/dist-packages/talvora COMPONENT python)
install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-talvora
  COMPONENT python)

install(TARGETS talvora-host RUNTIME COMPONENT host)
# What packages hold: the program that takes the shared library of HDF5, so that what the
# distribution mends in it reaches the program, and all that comes with either.
install(TARGETS talvora-host-packaged RUNTIME COMPONENT packaged_host EXCLUDE_FROM_ALL)
macro(install_with_host)
  install(${ARGN} COMPONENT host)
  install(${ARGN} COMPONENT packaged_host EXCLUDE_FROM_ALL)
endmacro()
install_with_host(FILES host/cli/completion.bash RENAME talvora-host
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
set(documents ${CMAKE_INSTALL_DATADIR}/doc/talvora-host)
install_with_host(FILES ${changelog} DESTINATION ${documents})
# The program carries these texts and this library in it.
install_with_host(FILES third_party/uplot/LICENSE RENAME uplot_license DESTINATION ${documents})
if(TALVORA_STATIC_HDF5)
  install(FILES /usr/share/doc/libhdf5-dev/copyright RENAME hdf5_license
    DESTINATION ${documents} COMPONENT host OPTIONAL)
endif()

set(host_copyright ${PROJECT_BINARY_DIR}/copyright/talvora-host)
write_copyright(${host_copyright}
  "HDF5, linked to or compiled in=${DEBIAN_TERMS}/libhdf5-dev/copyright"
  "libaec, linked to=${DEBIAN_TERMS}/libaec0/copyright"
  "zlib, linked to=${DEBIAN_TERMS}/zlib1g/copyright"
  "fmt, linked to and compiled in=${DEBIAN_TERMS}/libfmt-dev/copyright"
  "CLI11, compiled in=${DEBIAN_TERMS}/libcli11-dev/copyright"
  "JSON for Modern C++, compiled in=${DEBIAN_TERMS}/nlohmann-json3-dev/copyright"
  "yaml-cpp, linked to=${DEBIAN_TERMS}/libyaml-cpp-dev/copyright"
  "libcsv, linked to=${DEBIAN_TERMS}/libcsv-dev/copyright"
  "OpenSSL, linked to=${DEBIAN_TERMS}/libssl-dev/copyright"
  "xxHash, linked to=${DEBIAN_TERMS}/libxxhash-dev/copyright"
  "libacl, linked to=${DEBIAN_TERMS}/libacl1-dev/copyright"
  "libattr, linked to=${DEBIAN_TERMS}/libattr1-dev/copyright"
  "libstdc++ and libgcc, linked to=${DEBIAN_TERMS}/libstdc++6/copyright"
  "libc and libm, linked to=${DEBIAN_TERMS}/libc6/copyright"
  "uPlot, carried in the program=${PROJECT_SOURCE_DIR}/third_party/uplot/LICENSE")
install_with_host(FILES ${host_copyright} RENAME copyright DESTINATION ${documents})

set(library_copyright ${PROJECT_BINARY_DIR}/copyright/libtalvora0)
write_copyright(${library_copyright}
  "Eigen, compiled in=${DEBIAN_TERMS}/libeigen3-dev/copyright"
  ${simde}
  "HDF5, linked to=${DEBIAN_TERMS}/libhdf5-dev/copyright"
  "libaec, linked to=${DEBIAN_TERMS}/libaec0/copyright"
  "zlib, linked to=${DEBIAN_TERMS}/zlib1g/copyright"
  "fmt, linked to and compiled in=${DEBIAN_TERMS}/libfmt-dev/copyright"
  "JSON for Modern C++, compiled in=${DEBIAN_TERMS}/nlohmann-json3-dev/copyright"
  "yaml-cpp, linked to=${DEBIAN_TERMS}/libyaml-cpp-dev/copyright"
  "OpenSSL, linked to=${DEBIAN_TERMS}/libssl-dev/copyright"
  "xxHash, linked to=${DEBIAN_TERMS}/libxxhash-dev/copyright"
  "libacl, linked to=${DEBIAN_TERMS}/libacl1-dev/copyright"
  "libattr, linked to=${DEBIAN_TERMS}/libattr1-dev/copyright"
  "libstdc++ and libgcc, linked to=${DEBIAN_TERMS}/libstdc++6/copyright"
  "libc and libm, linked to=${DEBIAN_TERMS}/libc6/copyright")
# Of a wheel, which goes where there is no /usr/share/common-licenses.
write_copyright(${PROJECT_BINARY_DIR}/copyright/talvora-wheel
  "Eigen, compiled in=${DEBIAN_TERMS}/libeigen3-dev/copyright"
  ${simde}
  "HDF5, compiled in=${DEBIAN_TERMS}/libhdf5-dev/copyright"
  "libaec, compiled in=${DEBIAN_TERMS}/libaec-dev/copyright"
  "zlib, compiled in=${DEBIAN_TERMS}/zlib1g-dev/copyright"
  "fmt, compiled in=${DEBIAN_TERMS}/libfmt-dev/copyright"
  "JSON for Modern C++, compiled in=${DEBIAN_TERMS}/nlohmann-json3-dev/copyright"
  "OpenSSL, compiled in=${DEBIAN_TERMS}/libssl-dev/copyright"
  "xxHash, compiled in=${DEBIAN_TERMS}/libxxhash-dev/copyright"
  "libacl, a file of its own, as Debian's package libacl1 has it=${DEBIAN_TERMS}/libacl1/copyright"
  "libattr, a file of its own, as Debian's package libattr1 has it=${DEBIAN_TERMS}/libattr1/copyright"
  "libstdc++ and libgcc, linked to=${DEBIAN_TERMS}/libstdc++6/copyright"
  "libc and libm, linked to=${DEBIAN_TERMS}/libc6/copyright"
  "Apache License, version 2.0=${COMMON_TERMS}/Apache-2.0"
  "GNU Lesser General Public License, version 2.1=${COMMON_TERMS}/LGPL-2.1"
  "GNU General Public License, version 2=${COMMON_TERMS}/GPL-2"
  "GNU General Public License, version 3=${COMMON_TERMS}/GPL-3"
  "Mozilla Public License, version 2.0=${COMMON_TERMS}/MPL-2.0")
install(FILES ${library_copyright} RENAME copyright
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libtalvora0 COMPONENT library)

# A page for the program and one for each command, written by the program itself.
set(man_folder ${PROJECT_BINARY_DIR}/man)
add_custom_command(OUTPUT ${man_folder}/talvora-host.1.gz
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${man_folder}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${man_folder}
  COMMAND talvora-host manual ${man_folder}
  COMMAND ${GZIP} -9nr ${man_folder}
  DEPENDS talvora-host
  VERBATIM)
add_custom_target(talvora_manual ALL DEPENDS ${man_folder}/talvora-host.1.gz)
install_with_host(DIRECTORY ${man_folder}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
