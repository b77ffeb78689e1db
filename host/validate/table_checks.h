// Checks of the entry and of the tables that it gives.
#pragma once

#include "host/validate/check.h"

namespace talvora::host {

void check_descriptor(Examination& examination);
void check_unit_rows(Examination& examination);
void check_null_rules(Examination& examination);
void check_texts(Examination& examination);
void check_reserved_bytes(Examination& examination);
void check_repeated_entry(Examination& examination);
void check_unknown_kinds(Examination& examination);

} // namespace talvora::host
