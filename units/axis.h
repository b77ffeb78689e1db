// Which dimension of a set an "Axis" parameter means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace talvora::units {

// Any negative axis is the last dimension. Nothing when the axis is not below the
// rank, compared as the unsigned 64-bit values that they are; so no axis of a set of
// rank 0 is.
inline std::optional<std::size_t> resolve_axis(std::int64_t axis, std::uint64_t rank) {
    const std::uint64_t resolved = axis < 0 ? rank - 1 : static_cast<std::uint64_t>(axis);
    return resolved < rank ? std::optional<std::size_t>(resolved) : std::nullopt;
}

} // namespace talvora::units
