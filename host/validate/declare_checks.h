// Checks of the operation `declare`.
#pragma once

#include "host/validate/check.h"

namespace talvora::host {

void check_declaring(Examination& examination);
void check_signatures(Examination& examination);
void check_required(Examination& examination);
void check_repeated_declaring(Examination& examination);
void check_declare_answer(Examination& examination);

} // namespace talvora::host
