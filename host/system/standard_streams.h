// Standard input, output and error, whatever the program was started with.
#pragma once

#include <string_view>

namespace talvora::host {

// Takes the places of streams that are closed, so that no file which is opened gets one of them
// and with it what is printed. Using them fails as before. To be called before any file is opened;
// throws a Failure of the output where that cannot be done.
void hold_standard_streams();

// What standard error cannot take, being full, closed or without a reader, is lost: the work that
// it tells of goes on.
void write_to_standard_error(std::string_view text);

} // namespace talvora::host
