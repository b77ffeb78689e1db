// Checks of the library's file.
#pragma once

#include "host/validate/check.h"

namespace talvora::host {

void check_loading(Examination& examination);
void check_exported_names(Examination& examination);

} // namespace talvora::host
