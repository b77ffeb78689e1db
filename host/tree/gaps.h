// Gaps: missing samples (NaN) in a row along a line, a line being what lies along the
// last dimension of a data set.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace talvora::host {

struct Gap {
    std::uint64_t first = 0; // position of its first sample, row-major in the whole set
    std::uint64_t count = 0;
    friend bool operator==(const Gap&, const Gap&) = default;
};

// By which netCDF marks floats and doubles that were never written.
constexpr float NEVER_WRITTEN = 15 * 0x1p119F;

// The gaps of a set, found while its samples go by, and how many of them are infinite, or were
// never written. Costs little more than reading them where nearly all are smaller than these.
class GapList {
  public:
    // `line_length` is the last extent.
    explicit GapList(std::uint64_t line_length) : line_length_(line_length) {}

    // The next samples in row-major order, any number of them.
    void append(std::span<const float> samples);

    // In the order of their positions.
    std::span<const Gap> gaps() const { return gaps_; }
    std::uint64_t missing_count() const { return missing_count_; }
    std::uint64_t infinite_count() const { return infinite_count_; }
    std::uint64_t never_written_count() const { return never_written_count_; }

  private:
    void look_through(std::span<const float> block);
    void add_missing(std::uint64_t position);

    std::uint64_t line_length_;
    std::uint64_t next_ = 0;
    std::uint64_t missing_count_ = 0;
    std::uint64_t infinite_count_ = 0;
    std::uint64_t never_written_count_ = 0;
    std::vector<Gap> gaps_;
};

// How many gaps of `before` have no missing sample left, both being of the same extents.
std::uint64_t count_filled_gaps(const GapList& before, const GapList& after);

} // namespace talvora::host
