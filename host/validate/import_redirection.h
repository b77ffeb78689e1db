// Sends the calls that libraries make to functions of other libraries somewhere else, in
// this process alone and without touching their files: on ELF by their relocations, on
// Windows by their import tables.
//
// What is reached in another way (a system call made directly, an address looked up by
// name at run time) is not redirected.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace talvora::host {

// By name: what is called instead.
using Redirections = std::map<std::string, void*, std::less<>>;

// The files of the libraries in this process.
std::set<std::string> list_loaded_libraries();

// In every library that `is_meant` says yes to, by its file. Returns the number of calls
// sent elsewhere.
std::size_t redirect_imports(const Redirections& redirections,
                             const std::function<bool(std::string_view file)>& is_meant);

} // namespace talvora::host
