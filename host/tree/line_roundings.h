// What rounding changes of the lines of a set, each along its last dimension.
#pragma once

#include "host/tree/data_tree.h"
#include "host/tree/sample_rounding.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct SetRounding {
    RoundingChange change; // of all lines together
    RoundingChange worst;  // of the line that loses the largest part of its range
    // That is the range without the parts of the line in which its least and its greatest sample
    // lie, each a 64th of it: they are far from the others.
    bool leaves_outliers = false;
    // Which one that is, in row-major order of the dimensions before the last; nothing where the
    // set has one line, or all are taken for one.
    std::optional<std::uint64_t> line;
};

// For people: "largest change 3.0e-08 of the largest sample, 1.5e-08 of the range", that of the
// line which loses most; or that there is none.
std::string describe_rounding(const SetRounding& rounding);

// A line that varies little has lost its signal, however far another one goes, or a few samples of
// its own. The lines of a set of very many are taken for one.
class LineRoundings {
  public:
    // Of nothing yet.
    explicit LineRoundings(const Extents& extents);

    // round_samples of a part of the set, which lies inside the extents. Parts of a line may come
    // one by one, and more than once. Gives what it changes in the part, all lines together.
    template <typename Stored>
    RoundingChange round(const Hyperslab& part, std::span<const Stored> stored,
                         std::span<float> rounded);

    // Of all that was rounded.
    SetRounding sum_up() const;

  private:
    template <typename Stored>
    RoundingChange round_row(std::size_t line, std::uint64_t start, std::span<const Stored> stored,
                             std::span<float> rounded);
    std::size_t line_of(const Hyperslab& part, std::uint64_t row) const;

    Extents extents_;
    std::size_t line_count_;
    std::size_t stretch_count_; // of a line
    // Of each stretch of each line; empty while there are none.
    std::vector<RoundingChange> changes_;
};

} // namespace talvora::host
