// Commands that read files which others made: a damaged one may crash the library that reads it,
// or keep it for ever.
#pragma once

#include "host/cli/session.h"

#include <functional>
#include <string>

namespace talvora::host {

// Does the work in a process of its own, under the session's limits; it prints there, and what it
// changes is not seen here. What it throws is printed, and its exit code joins the session's.
// Throws a Failure of the input, with the file's name, where the process broke off.
//
// `made` is a file that the work makes, or adds to, by way of an unfinished one: it is told of in
// the place of that, which is removed. Where the process broke off behind that, with the result in
// its place, the Failure is one of the output, and says so.
void read_apart(Session& session, const std::function<void()>& work, const std::string& made = "");

} // namespace talvora::host
