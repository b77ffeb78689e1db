// Checks that a plug-in leaves the process as it found it: a tour of all its operations
// under each kind of watch.
#pragma once

#include "host/validate/check.h"

namespace talvora::host {

void check_silence(Examination& examination);
void check_threads(Examination& examination);
void check_files(Examination& examination);
void check_floating_point(Examination& examination);
void check_locale(Examination& examination);
void check_signals(Examination& examination);
void check_surroundings(Examination& examination);
void check_handlers(Examination& examination);
void check_limits(Examination& examination);

} // namespace talvora::host
