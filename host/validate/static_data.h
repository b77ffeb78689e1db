// The static data of libraries: what touches the memory behind it shows.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// Has the library that is loaded next stand below closed pages, where the system gives out
// addresses from the top: what stands there else may be this program's own.
void make_place_below_closed_pages();

// Closes the pages behind the static data of the libraries that `is_meant` says yes to, by their
// files, and remembers the bytes between its end and there. In place of those before.
void guard_static_data(const std::function<bool(std::string_view file)>& is_meant);

// A sentence for each library whose bytes behind its static data are others than they were since
// the last time it was asked.
std::vector<std::string> take_overruns_of_static_data();

// One line on the library that a closed address stands behind; empty when there is none.
// Allocates nothing.
const char* explain_static_data(const void* address, bool is_write);

} // namespace talvora::host
