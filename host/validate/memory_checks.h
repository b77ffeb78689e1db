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
void check_same_elsewhere(Examination& examination);
// Run by these two, each in a process of its own: as they are, on memory of other contents, in
// another locale, at another time.
void give_digests(Examination& examination);
void give_digests_on_other_memory(Examination& examination);
void give_digests_in_other_locale(Examination& examination);
void give_digests_at_other_time(Examination& examination);

} // namespace talvora::host
