// The library's table as hosts know it, row by row. Hosts address rows by position and
// units by identifier: what stands here stays, and new units are appended.
#pragma once

#include <ostream>
#include <string>

namespace talvora::test_support {

struct ListedUnit {
    const char* identifier;
    const char* description; // null for a legacy identifier
    const char* alias_of;    // the identifier whose operations it has; null for a current one
};

inline constexpr ListedUnit UNIT_TABLE[] = {
    {"signal.set-downsample", nullptr, "orvane.signal.apply-set-downsample"},
    {"signal.set-fill-gap", nullptr, "orvane.signal.apply-set-fill-gap"},
    {"signal.set-butterworth", nullptr, "orvane.signal.apply-set-butterworth"},
    {"signal.set-baseline-offset", nullptr, "orvane.signal.apply-set-baseline-offset"},
    {"signal.set-opposite", nullptr, "orvane.signal.apply-set-opposite"},
    {"signal.set-rectify", nullptr, "orvane.signal.apply-set-rectify"},
    {"orvane.signal.extract-set-maximum-extrema", "Extract the maximum on each component", nullptr},
    {"orvane.signal.apply-set-downsample", "Downsample the signal in place", nullptr},
    {"orvane.signal.apply-set-fill-gap", "Fill gap the signal in place", nullptr},
    {"orvane.signal.apply-set-butterworth", "Apply a Butterworth filter in place on the signal",
     nullptr},
    {"orvane.signal.apply-set-baseline-offset",
     "Compute a baseline offset from the signal and remove it in place", nullptr},
    {"orvane.signal.apply-set-opposite", "Opposite the signal in place", nullptr},
    {"orvane.signal.apply-set-rectify", "Rectify the signal in place", nullptr},
    {"orvane.signal.average-set", "Average all samples of the signal", nullptr},
    {"orvane.signal.average-set-2",
     "Average all samples of the signal and output to a single data set", nullptr},
};

inline void PrintTo(const ListedUnit& unit, std::ostream* out) {
    *out << unit.identifier;
}

// An identifier as part of the name of a test.
inline std::string as_test_name(std::string identifier) {
    for (char& letter : identifier) {
        if (letter == '.' || letter == '-') {
            letter = '_';
        }
    }
    return identifier;
}

} // namespace talvora::test_support
