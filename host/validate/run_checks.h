// Checks of the operation `run`: what it does with values, trees and refusals.
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
void check_small_stack(Examination& examination);
void check_made_up_inputs(Examination& examination);
void check_sources(Examination& examination);

} // namespace talvora::host
