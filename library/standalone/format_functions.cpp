// The functions of the library of fmt, of which there is no archive: compiled from its headers,
// none left out for not being called here, where the linker finds them before it comes to that
// library.
#include <fmt/format.h>

#include <locale>

// One that only others call.
template std::locale fmt::detail::locale_ref::get<std::locale>() const;
