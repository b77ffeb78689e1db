// The rules that every tree keeps, whatever it stores its objects in: paths, extents,
// hyperslabs and attribute values. What breaks a rule is a TreeError.
#pragma once

#include "host/tree/data_tree.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvora::host {

// The highest rank that an HDF5 file can hold; the memory tree keeps to it too.
constexpr std::size_t MAX_RANK = 32;

// Whether a file could keep the name: not "." nor one with a zero byte.
bool is_possible_name(std::string_view name);
// The names of a path to make. A name that a file could not keep is refused.
std::vector<std::string> split_path(std::string_view path);
std::string join_path(std::string_view group, std::string_view name);
// The group's path and the object's name; both are empty for the root.
std::pair<std::string, std::string> split_last(const std::string& path);

// Where a new object goes: in `group`, below groups that have to be made first.
struct NewPlace {
    ObjectId group{};
    std::vector<std::string> missing_groups;
    std::string name;
};

// Refuses the empty path, a taken name, and a way through something that is no group.
NewPlace plan_new_place(DataTree& tree, ObjectId parent, std::string_view path);

// The product of the extents; refused when it does not fit 64 bits.
std::uint64_t count_samples(std::span<const std::uint64_t> extents);

[[noreturn]] void refuse_sample_room(std::span<const std::uint64_t> extents, std::string_view path);
// Room for all samples of a set or a part of one, each zero; refused where no memory can hold as
// many.
template <typename Sample>
std::vector<Sample> make_sample_room(std::span<const std::uint64_t> extents,
                                     std::string_view path) {
    const std::uint64_t sample_count = count_samples(extents);
    if (sample_count > std::vector<Sample>().max_size()) {
        refuse_sample_room(extents, path);
    }
    return std::vector<Sample>(sample_count);
}

// Refuses ranks outside [min_rank, MAX_RANK] and more samples than can be counted.
void check_extents(const Extents& extents, std::size_t min_rank, std::string_view path);
void check_resize(const Extents& old_extents, const Extents& extents, std::string_view path);

// Dimension by dimension, the smaller one of two of the same rank.
Extents smaller_of(const Extents& a, const Extents& b);

// Refuses a hyperslab that is not inside the extents, or that does not hold
// `sample_count` samples. Allocates nothing unless it refuses.
void check_hyperslab(std::span<const std::uint64_t> extents, const Hyperslab& slab,
                     std::size_t sample_count, std::string_view path);

// True when a hyperslab inside the extents takes all of them.
bool is_whole(const Hyperslab& slab, std::span<const std::uint64_t> extents);

// Texts, references and the like, which ordinary files have beside their signals.
bool is_plainly_no_signal(const OtherObject& object);

// Refuses an empty name, an array whose extents do not give its number of values, and
// texts with a zero byte.
void check_attribute(const std::string& name, const AttributeValue& value);

// The dimension that is longer than any recording has components, where the one that is taken for
// time is many times shorter; nothing where that one may be it.
std::optional<std::size_t> find_likelier_time(const Extents& extents, std::size_t time_dimension);

// "[4, 3, 100]"
std::string describe_extents(std::span<const std::uint64_t> extents);
// "an integer", "an array of 3 texts"
std::string describe_value(const AttributeValue& value);

} // namespace talvora::host
