# GoogleTest built along, from the sources that come with libgtest-dev: the built library of
# the system is for the system alone.
set(INSTALL_GTEST OFF)
set(gtest_disable_pthreads ON) # the tests start no threads
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(target gtest gmock gtest_main)
  target_compile_options(${target} PRIVATE -O0)
endforeach()
