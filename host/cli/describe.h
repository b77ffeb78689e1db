// What describe tells of a unit, for the help of a command that runs one.
#pragma once

#include "host/cli/session.h"
#include "host/interface/plugin_library.h"

namespace talvora::host {

// Its parameters, what it reads and writes, an example to copy.
void print_unit(Session& session, const Unit& unit);

} // namespace talvora::host
