# talvora_embed_texts(TARGET NAMESPACE HEADER NAME=FILE ...): each file as a constant of the
# program, a std::string_view of that name, declared in the generated HEADER.
function(talvora_embed_texts target namespace header)
  set(texts "")
  foreach(pair IN LISTS ARGN)
    string(REGEX MATCH "^([A-Z_]+)=(.+)$" _ "${pair}")
    set(name ${CMAKE_MATCH_1})
    set(file ${CMAKE_MATCH_2})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} text)
    string(FIND "${text}" ")embedded\"" clash)
    if(NOT clash EQUAL -1)
      message(FATAL_ERROR "${file}: ends the literal that it is to stand in")
    endif()
    string(APPEND texts
      "inline constexpr std::string_view ${name} = R\"embedded(${text})embedded\";\n")
  endforeach()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/generated/${header} @ONLY CONTENT
"#pragma once

#include <string_view>

namespace ${namespace} {

@texts@
} // namespace ${namespace}
")
  target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/generated)
endfunction()
