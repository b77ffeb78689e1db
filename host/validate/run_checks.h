// Checks of the operation `run`: what it does with values, trees and refusals, with the
// memory that it is given, and with the process it is called in.
#pragma once

#include "host/validate/check.h"

namespace talvora::host {

void check_ordinary_runs(Examination& examination);
void check_runs_without_values(Examination& examination);
void check_runs_with_wrong_texts(Examination& examination);
void check_runs_with_extreme_numbers(Examination& examination);
void check_runs_on_odd_trees(Examination& examination);
void check_runs_with_refusals(Examination& examination);
void check_reported_failures(Examination& examination);
void check_extents(Examination& examination);
void check_sources(Examination& examination);

void check_records_of_successes(Examination& examination);
void check_records_of_failures(Examination& examination);
void check_buffers(Examination& examination);
void check_memory(Examination& examination);

void check_kept_state(Examination& examination);
void check_same_bits(Examination& examination);
// Run by check_same_bits, each in a process of its own and on memory of other contents.
void give_digests(Examination& examination);
void give_digests_on_other_memory(Examination& examination);

void check_silence(Examination& examination);
void check_threads(Examination& examination);
void check_files(Examination& examination);
void check_floating_point(Examination& examination);
void check_locale(Examination& examination);
void check_signals(Examination& examination);
void check_surroundings(Examination& examination);

} // namespace talvora::host
