# Cross-builds for Linux on 64-bit ARM, with Debian's g++-aarch64-linux-gnu and the libraries that
# cmake/arm64/fetch-libraries has unpacked.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

cmake_path(SET libraries NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/arm64-libraries)
set(CMAKE_FIND_ROOT_PATH ${libraries} /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_INIT "-idirafter ${libraries}/usr/include/aarch64-linux-gnu")
endforeach()
# What libraries are linked to in their turn.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${libraries}/usr/lib/aarch64-linux-gnu")
endforeach()

# HDF5 is found by the script that compiles with it, which is the other architecture's.
set(HDF5_C_COMPILER_EXECUTABLE "" CACHE FILEPATH "none: it would be this machine's")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${libraries})
