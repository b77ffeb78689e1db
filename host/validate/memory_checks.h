// Checks of `run`: records, buffers, and what stays behind from call to call.
#pragma once

#include "host/validate/check.h"

namespace talvora::host {

void check_records_of_successes(Examination& examination);
void check_records_of_failures(Examination& examination);
void check_buffers(Examination& examination);
void check_memory(Examination& examination);

void check_kept_state(Examination& examination);
void check_same_bits(Examination& examination);
// Run by check_same_bits, each in a process of its own and on memory of other contents.
void give_digests(Examination& examination);
void give_digests_on_other_memory(Examination& examination);

} // namespace talvora::host
