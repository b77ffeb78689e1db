// The callable units, in alphabetical order. What each of them is stands at the end of its
// file; which row of the library's table it has is the entry's to say.
#pragma once

#include "plugin/unit_description.h"

namespace talvora::units {

// The mean of each source set along an axis, as a set of the same name elsewhere.
extern const UnitDescription AVERAGE_SET;

// The means of many sets, a labelled column for each, gathered into one set.
extern const UnitDescription AVERAGE_SET_2;

// Takes the median of its first samples off each line.
extern const UnitDescription BASELINE_OFFSET;

// Zero-lag Butterworth filtering.
extern const UnitDescription BUTTERWORTH;

// Keeps every k-th sample, to come near a hinted sample rate.
extern const UnitDescription DOWNSAMPLE;

// Fills stretches of missing samples by linear interpolation.
extern const UnitDescription FILL_GAP;

// The greatest sample of each component, as a feature set.
extern const UnitDescription MAXIMUM_EXTREMA;

// Changes the sign of whole sets or of chosen components.
extern const UnitDescription OPPOSITE;

// Takes absolute values.
extern const UnitDescription RECTIFY;

} // namespace talvora::units
