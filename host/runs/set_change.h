// What a step did to a data set, told in a line.
#pragma once

#include "host/tree/observed_tree.h"

#include <string>

namespace talvora::host {

// "Imu/Acceleration: 7560 samples at 100 Hz, missing 30 before, 0 after, gaps 3 filled, 0
// left"
std::string describe_set_change(const SetObservation& set);

} // namespace talvora::host
