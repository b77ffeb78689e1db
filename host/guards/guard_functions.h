// The guards, one function each; guards.cpp has the table of their names. Findings come without
// names.
#pragma once

#include "host/guards/guard_finding.h"
#include "host/guards/guarded_step.h"

#include <vector>

namespace talvora::host {

// What helps where the downsample unit scales sets by the rates of others.
constexpr char SET_BY_SET_REMEDY[] = "sets of several rates are scaled by each other's: "
                                     "--set-by-set, or set_by_set: true at a step, "
                                     "takes each by itself";

// Before samples: one for each rate at which the filter is of no use, or another one than its
// parameters name.
std::vector<GuardFinding> find_unusable_filters(const GuardedStep& step);

// Before samples: one for each set whose time seems to run along another dimension than the last,
// which the unit takes for it.
std::vector<GuardFinding> find_time_first_sets(const GuardedStep& step);

// Before samples: one for each set of which the filter would take samples of several components
// in a row, or gaps would be filled along a dimension that seems to be no time.
std::vector<GuardFinding> find_mixed_components(const GuardedStep& step);

// Before samples: one for each set that the step would reduce along another dimension than the
// last: the unit's request for a line has the new length in another place than the count of that,
// so the samples that are kept come to lie elsewhere, or the request fits no set.
std::vector<GuardFinding> find_misplaced_samples(const GuardedStep& step);

// One for each set of numbers that is chosen and not taken. Before samples: those in a source
// group, or that a pattern matches, that units are not offered, and those that keep a rate above
// the one that is wanted; after the step: those that the unit left.
std::vector<GuardFinding> foresee_left_sets(const GuardedStep& step);
std::vector<GuardFinding> find_left_sets(const GuardedStep& step);

// One for each set whose samples, at its new rate, take another time than before, by more than a
// thousandth and a sample, or whose new rate is more than a thousandth from that of the samples
// that are kept, where it is known how many are left out between them. Before samples, of the units
// whose rates can be foreseen; after the step, of every unit that changed a rate.
std::vector<GuardFinding> foresee_time_bases(const GuardedStep& step);
std::vector<GuardFinding> find_changed_time_bases(const GuardedStep& step);

// After the step: one for each set with lines that had valid samples and have none.
std::vector<GuardFinding> find_lost_lines(const GuardedStep& step);

// After the step: one for each set with infinities where it, or the sources of a new one, had none,
// and for each in which infinite samples that were there made others so, or missing.
std::vector<GuardFinding> find_infinities(const GuardedStep& step);

// After the step: one for each set with lines whose means, which the step made, are more than a
// thousandth of their range off: the sum of many samples with a large offset has few digits left
// for what differs among them.
std::vector<GuardFinding> find_means_off(const GuardedStep& step);

// After the step: one for each set of another type than 32-bit floats that rounding to these
// changes by more than LARGE_PART_OF_RANGE, or that is replaced by them in the input; and for each
// of integers that was filtered where such floats are that far apart.
std::vector<GuardFinding> find_narrowed_sets(const GuardedStep& step);

// After the step: one for each dimension scale that is attached along a dimension which the step
// resized, and has another length than that has now; and one for each set along a dimension of
// which a resized scale is attached, where that has another length.
std::vector<GuardFinding> find_stale_scales(const GuardedStep& step);

// After the step: one for each attribute of a set that the step wrote with numbers of several
// dimensions in a file of netCDF.
std::vector<GuardFinding> find_netcdf_attributes(const GuardedStep& step);

// After the step: one for the errors that the unit told of, when it returned success all the same.
std::vector<GuardFinding> find_unit_errors(const GuardedStep& step);

// After the step: no samples of a set were worked on. That values happen to be what they were
// before is no matter.
std::vector<GuardFinding> find_nothing_done(const GuardedStep& step);

} // namespace talvora::host
