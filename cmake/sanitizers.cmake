add_library(talvora_sanitizers INTERFACE)
if(TALVORA_SANITIZE)
  set(talvora_sanitize_flags
    -fsanitize=${TALVORA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # The recording host lays out its tables by slot number, with types of its own.
    list(APPEND talvora_sanitize_flags -fno-sanitize=function)
  endif()
  target_compile_options(talvora_sanitizers INTERFACE ${talvora_sanitize_flags})
  target_link_options(talvora_sanitizers INTERFACE ${talvora_sanitize_flags})
  if(TALVORA_SANITIZE MATCHES address)
    # Each compiler tells of it in another way.
    target_compile_definitions(talvora_sanitizers INTERFACE TALVORA_ADDRESS_SANITIZER)
  endif()
endif()
