# Warnings are errors in our own code.
add_library(talvora_warnings INTERFACE)
target_compile_options(talvora_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wnull-dereference
  -Wdouble-promotion -Wformat=2 -Werror)
