#include "host/tree/tree_rules.h"

#include "host/text/join_texts.h"
#include "host/text/path_glob.h"

#include <fmt/format.h>

#include <algorithm>
#include <type_traits>
#include <utility>

namespace talvora::host {

namespace {

// Fewer samples of more components than these are no recording that anybody has.
constexpr std::uint64_t FEW_COMPONENTS = 100;
constexpr std::uint64_t COMPONENTS_A_SAMPLE = 16;

void check_name(std::string_view name, std::string_view what) {
    if (!is_possible_name(name)) {
        throw TreeError(fmt::format("'{}' cannot be used as a name in {}", name, what));
    }
}

bool is_inside(std::uint64_t start, std::uint64_t count, std::uint64_t extent) {
    return start <= extent && count <= extent - start;
}

std::uint64_t wrapping_product(std::span<const std::uint64_t> counts) {
    std::uint64_t product = 1;
    for (const std::uint64_t count : counts) {
        product *= count;
    }
    return product;
}

[[noreturn]] void refuse_hyperslab(std::span<const std::uint64_t> extents, const Hyperslab& slab,
                                   std::string_view path) {
    throw TreeError(fmt::format("'{}' has the extents {}: it has no samples from {} on, {} of them",
                                path, describe_extents(extents), describe_extents(slab.starts),
                                describe_extents(slab.counts)));
}

void check_text(const std::string& name, const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw TreeError(fmt::format("the text of the attribute '{}' holds a zero byte", name));
    }
}

void check_array(const std::string& name, std::size_t value_count, const Extents& extents) {
    check_extents(extents, 1, name);
    if (count_samples(extents) != value_count) {
        throw TreeError(fmt::format("the attribute '{}' has {} values for the extents {}", name,
                                    value_count, describe_extents(extents)));
    }
}

} // namespace

bool is_possible_name(std::string_view name) {
    return name != "." && name.find('\0') == std::string_view::npos;
}

std::vector<std::string> split_path(std::string_view path) {
    std::vector<std::string> names = split_names(path);
    for (const std::string& name : names) {
        check_name(name, "a path");
    }
    return names;
}

std::string join_path(std::string_view group, std::string_view name) {
    return group.empty() ? std::string(name) : fmt::format("{}/{}", group, name);
}

std::pair<std::string, std::string> split_last(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == path.npos ? std::pair(std::string(), path)
                              : std::pair(path.substr(0, slash), path.substr(slash + 1));
}

NewPlace plan_new_place(DataTree& tree, ObjectId parent, std::string_view path) {
    std::vector<std::string> names = split_path(path);
    if (names.empty()) {
        throw TreeError(fmt::format("'{}' names no new object", path));
    }
    NewPlace place{parent, {}, std::move(names.back())};
    names.pop_back();
    for (std::string& name : names) {
        const auto next =
            place.missing_groups.empty() ? tree.find(place.group, name) : std::nullopt;
        if (!next) {
            place.missing_groups.push_back(std::move(name));
        } else if (tree.kind(*next) != ObjectKind::Group) {
            throw TreeError(
                fmt::format("'{}' is no group: nothing can be made in it", tree.path(*next)));
        } else {
            place.group = *next;
        }
    }
    if (place.missing_groups.empty() && tree.find(place.group, place.name)) {
        throw TreeError(
            fmt::format("'{}' exists already", join_path(tree.path(place.group), place.name)));
    }
    return place;
}

std::uint64_t count_samples(std::span<const std::uint64_t> extents) {
    std::uint64_t product = 1;
    bool overflow = false;
    for (const std::uint64_t extent : extents) {
        if (extent == 0) {
            return 0;
        }
        overflow |= __builtin_mul_overflow(product, extent, &product);
    }
    if (overflow) {
        throw TreeError(fmt::format("the extents {} hold more samples than can be counted",
                                    describe_extents(extents)));
    }
    return product;
}

void refuse_sample_room(std::span<const std::uint64_t> extents, std::string_view path) {
    throw TreeError(fmt::format("'{}' has the extents {}: more samples than memory can hold", path,
                                describe_extents(extents)));
}

void check_extents(const Extents& extents, std::size_t min_rank, std::string_view path) {
    if (extents.size() < min_rank || extents.size() > MAX_RANK) {
        throw TreeError(fmt::format("'{}' cannot have the rank {} (allowed: {} to {})", path,
                                    extents.size(), min_rank, MAX_RANK));
    }
    count_samples(extents);
}

void check_resize(const Extents& old_extents, const Extents& extents, std::string_view path) {
    if (extents.size() != old_extents.size()) {
        throw TreeError(fmt::format("'{}' has the rank {} and keeps it: no resizing to {}", path,
                                    old_extents.size(), describe_extents(extents)));
    }
    count_samples(extents);
}

Extents smaller_of(const Extents& a, const Extents& b) {
    Extents smaller(a.size());
    std::ranges::transform(a, b, smaller.begin(), [](auto x, auto y) { return std::min(x, y); });
    return smaller;
}

void check_hyperslab(std::span<const std::uint64_t> extents, const Hyperslab& slab,
                     std::size_t sample_count, std::string_view path) {
    if (slab.starts.size() != extents.size() || slab.counts.size() != extents.size()) {
        refuse_hyperslab(extents, slab, path);
    }
    for (std::size_t d = 0; d < extents.size(); ++d) {
        if (!is_inside(slab.starts[d], slab.counts[d], extents[d])) {
            refuse_hyperslab(extents, slab, path);
        }
    }
    // Cannot wrap to a wrong value: the counts are inside extents that have a product.
    if (wrapping_product(slab.counts) != sample_count) {
        throw TreeError(fmt::format("'{}': {} samples were given for the counts {}", path,
                                    sample_count, describe_extents(slab.counts)));
    }
}

bool is_whole(const Hyperslab& slab, std::span<const std::uint64_t> extents) {
    return std::ranges::equal(slab.counts, extents);
}

bool is_plainly_no_signal(const OtherObject& object) {
    constexpr OtherKind KINDS[] = {OtherKind::TextSet, OtherKind::ReferenceSet,
                                   OtherKind::EnumerationSet, OtherKind::NamedType};
    return std::ranges::find(KINDS, object.kind) != std::end(KINDS);
}

void check_attribute(const std::string& name, const AttributeValue& value) {
    if (name.empty()) {
        throw TreeError("an attribute cannot have the empty name");
    }
    check_name(name, "an attribute");
    if (const auto* text = std::get_if<std::string>(&value)) {
        check_text(name, *text);
    }
    if (const auto* integers = std::get_if<IntegerArray>(&value)) {
        check_array(name, integers->values.size(), integers->extents);
    }
    if (const auto* numbers = std::get_if<NumberArray>(&value)) {
        check_array(name, numbers->values.size(), numbers->extents);
    }
    if (const auto* texts = std::get_if<TextArray>(&value)) {
        check_array(name, texts->values.size(), texts->extents);
        for (const std::string& text : texts->values) {
            check_text(name, text);
        }
    }
}

std::optional<std::size_t> find_likelier_time(const Extents& extents, std::size_t time_dimension) {
    const auto longest = std::ranges::max_element(extents);
    const bool is_time =
        *longest >= FEW_COMPONENTS && *longest / COMPONENTS_A_SAMPLE >= extents[time_dimension];
    return is_time ? std::optional(static_cast<std::size_t>(longest - extents.begin()))
                   : std::nullopt;
}

std::string describe_extents(std::span<const std::uint64_t> extents) {
    std::vector<std::string> texts;
    for (const std::uint64_t extent : extents) {
        texts.push_back(std::to_string(extent));
    }
    return fmt::format("[{}]", join_texts(texts));
}

std::string describe_value(const AttributeValue& value) {
    return std::visit(
        []<typename Value>(const Value& v) -> std::string {
            if constexpr (std::is_same_v<Value, std::int64_t>) {
                return "an integer";
            } else if constexpr (std::is_floating_point_v<Value>) {
                return "a number";
            } else if constexpr (std::is_same_v<Value, std::string>) {
                return "a text";
            } else if constexpr (std::is_same_v<Value, IntegerArray>) {
                return fmt::format("an array of {} integers", v.values.size());
            } else if constexpr (std::is_same_v<Value, NumberArray>) {
                return fmt::format("an array of {} numbers", v.values.size());
            } else {
                return fmt::format("an array of {} texts", v.values.size());
            }
        },
        value);
}

} // namespace talvora::host
