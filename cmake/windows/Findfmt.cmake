# fmt from the system's headers alone, which are the same for every platform. They lie
# beside those of the system's C library, which must not be seen: so they are shown through
# a folder of their own.
find_path(fmt_HEADERS fmt/format.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(fmt REQUIRED_VARS fmt_HEADERS)

set(fmt_folder ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${fmt_folder})
file(CREATE_LINK ${fmt_HEADERS}/fmt ${fmt_folder}/fmt SYMBOLIC)

add_library(fmt::fmt INTERFACE IMPORTED)
target_include_directories(fmt::fmt SYSTEM INTERFACE ${fmt_folder})
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
