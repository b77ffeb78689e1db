// What holds for every run of every unit, whatever the host looks like.
#pragma once

#include "fuzz/boundary_world.h"

namespace talvora::fuzz {

// Each ends the program with a finding when it does not hold. `host` was furnished with
// the world and has run its unit, which gave `result`.

// Nothing that the recording host watches was violated: records freed once, requests
// inside the sets, no slot, handle or table out of place.
void check_violations(test_support::RecordingHost& host, const World& world);

// A run that fails says why; one that succeeds reports no error of the call.
void check_messages(const test_support::RecordingHost& host, const World& world, bool result);

// Sets and groups that the parameters do not name keep every bit, and shapes change
// where a unit changes shapes.
void check_untouched(const test_support::RecordingHost& host, const World& world);

// Both hosts saw the same calls and hold the same bits.
void check_same(const test_support::RecordingHost& first,
                const test_support::RecordingHost& second);

} // namespace talvora::fuzz
