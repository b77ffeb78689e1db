// What the tests of the units that summarise sets share.
#pragma once

#include "tests/support/recording_host.h"
#include "tests/support/special_values.h"
#include "tests/units/sample_patterns.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvora::test_support {

inline constexpr char AVERAGE_SET[] = "orvane.signal.average-set";
inline constexpr char AVERAGE_SET_2[] = "orvane.signal.average-set-2";
inline constexpr char MAXIMUM_EXTREMA[] = "orvane.signal.extract-set-maximum-extrema";

// From the sets of "Imu" to the group, or the set, "Out".
inline void choose_places(RecordingHost& host) {
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("DestinationGroup", "Out");
    host.set_parameter("DestinationSet", "Out");
}

// What the host was asked to create or to change.
inline std::vector<std::string> find_changes(const RecordingHost& host) {
    return host.calls_of({"create_dataset", "write_samples", "resize_dataset", "copy_attribute",
                          "write_float_attribute", "write_string_attribute",
                          "write_string_list_attribute"});
}

inline std::string join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

} // namespace talvora::test_support
