#include "host/validate/sample_trees.h"

#include "host/tree/group_walk.h"

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <vector>

namespace talvora::host {

namespace {

constexpr float NO_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

// Between -1 and 1, without pattern but the same every time.
std::vector<float> make_samples(std::uint64_t count) {
    std::vector<float> samples(count);
    std::uint32_t state = 12345;
    for (float& sample : samples) {
        state = state * 1664525U + 1013904223U;
        sample = static_cast<float>(state >> 8U) * 0x1p-23F - 1.0F;
    }
    return samples;
}

// A short gap and a long one, where there is room.
void cut_gaps(std::vector<float>& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i == 7 || i == 8 || (i >= 20 && i < 32)) {
            samples[i] = NO_NUMBER;
        }
    }
}

ObjectId add_set(DataTree& tree, const std::string& path, const Extents& extents,
                 std::vector<float> samples) {
    const ObjectId set = tree.create_dataset(tree.root(), path, extents);
    if (!extents.empty() && !samples.empty()) {
        tree.write(set, {Extents(extents.size()), extents}, samples);
    }
    return set;
}

std::uint64_t count_of(const Extents& extents) {
    return std::accumulate(extents.begin(), extents.end(), std::uint64_t{1}, std::multiplies<>());
}

ObjectId add_set(DataTree& tree, const std::string& path, const Extents& extents) {
    return add_set(tree, path, extents, make_samples(count_of(extents)));
}

void write_set_attributes(DataTree& tree, ObjectId set, float rate) {
    tree.write_attribute(set, "SampleRate", rate);
    tree.write_attribute(set, "StartTime", 0.25F);
    tree.write_attribute(set, "MetricType", std::string("acceleration"));
}

void write_group_attributes(DataTree& tree) {
    const auto group = tree.find(tree.root(), SAMPLE_GROUP);
    if (!group) {
        return;
    }
    tree.write_attribute(*group, "SampleRate", 50.0F);
    tree.write_attribute(*group, "NumSamples", std::int64_t{120});
}

template <std::uint64_t... EXTENTS>
void build_with_extents(DataTree& tree) {
    write_set_attributes(tree, add_set(tree, SAMPLE_SET, {EXTENTS...}), 100.0F);
    write_group_attributes(tree);
}

template <int RATE_INDEX>
void build_with_rate(DataTree& tree) {
    constexpr float RATES[] = {NO_NUMBER, INFINITE, -INFINITE, 0.0F, -100.0F, 1e-30F, 1e30F};
    write_set_attributes(tree, add_set(tree, SAMPLE_SET, {3, 1, 40}), RATES[RATE_INDEX]);
    write_group_attributes(tree);
}

void build_without_attributes(DataTree& tree) {
    add_set(tree, SAMPLE_SET, {3, 1, 40});
}

void build_without_sets(DataTree& tree) {
    tree.create_group(tree.root(), SAMPLE_GROUP);
}

void build_empty(DataTree&) {}

void build_all_missing(DataTree& tree) {
    write_set_attributes(
        tree, add_set(tree, SAMPLE_SET, {2, 40}, std::vector<float>(80, NO_NUMBER)), 100);
    write_group_attributes(tree);
}

void build_all_infinite(DataTree& tree) {
    write_set_attributes(tree, add_set(tree, SAMPLE_SET, {2, 40}, std::vector<float>(80, INFINITE)),
                         100);
    write_group_attributes(tree);
}

void build_swapped(DataTree& tree) {
    // A group where a set is expected, and the other way round.
    tree.create_group(tree.root(), SAMPLE_SET);
    add_set(tree, "Result", {3});
}

void build_with_odd_attributes(DataTree& tree) {
    const ObjectId set = add_set(tree, SAMPLE_SET, {3, 1, 40});
    tree.write_attribute(set, "SampleRate", std::string("fast"));
    tree.write_attribute(set, "MetricType", std::int64_t{7});
    tree.write_attribute(set, "Labels", TextArray{{"x", "y", "z"}, {3}});
}

constexpr SampleTree ODD_TREES[] = {
    {"rank 0", build_with_extents<>},
    {"extents [0]", build_with_extents<0>},
    {"extents [3, 0, 10]", build_with_extents<3, 0, 10>},
    {"extents [0, 1, 40]", build_with_extents<0, 1, 40>},
    {"extents [3, 1, 0]", build_with_extents<3, 1, 0>},
    {"extents [1]", build_with_extents<1>},
    {"extents [1, 1, 1]", build_with_extents<1, 1, 1>},
    {"extents [3, 1, 1]", build_with_extents<3, 1, 1>},
    {"extents [2]", build_with_extents<2>},
    {"extents [17]", build_with_extents<17>},
    {"extents [4, 3, 2, 3, 5]", build_with_extents<4, 3, 2, 3, 5>},
    {"extents of rank 32", build_with_extents<1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                              1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 30>},
    {"extents [4100]", build_with_extents<4100>},
    {"extents [2, 1, 33000]", build_with_extents<2, 1, 33000>},
    {"a rate that is NaN", build_with_rate<0>},
    {"an infinite rate", build_with_rate<1>},
    {"a rate of minus infinity", build_with_rate<2>},
    {"a rate of 0", build_with_rate<3>},
    {"a negative rate", build_with_rate<4>},
    {"a rate near 0", build_with_rate<5>},
    {"a huge rate", build_with_rate<6>},
    {"no attributes", build_without_attributes},
    {"attributes of other types", build_with_odd_attributes},
    {"a group without sets", build_without_sets},
    {"an empty tree", build_empty},
    {"all samples missing", build_all_missing},
    {"all samples infinite", build_all_infinite},
    {"groups and sets exchanged", build_swapped},
};

// The FNV-1a hash of 64 bits (Fowler, Noll, Vo).
class Digest {
  public:
    void add(std::uint64_t word) {
        for (int shift = 0; shift < 64; shift += 8) {
            add_byte(static_cast<unsigned char>(word >> static_cast<unsigned>(shift)));
        }
    }
    void add(std::string_view text) {
        add(text.size());
        for (const char letter : text) {
            add_byte(static_cast<unsigned char>(letter));
        }
    }
    void add(float number) { add(std::uint64_t{std::bit_cast<std::uint32_t>(number)}); }
    void add(double number) { add(std::bit_cast<std::uint64_t>(number)); }
    void add(std::int64_t number) { add(static_cast<std::uint64_t>(number)); }
    void add(const std::string& text) { add(std::string_view(text)); }
    template <typename Value>
    void add(const std::vector<Value>& values) {
        add(std::uint64_t{values.size()});
        for (const Value& value : values) {
            add(value);
        }
    }
    template <typename Array>
        requires requires(const Array& array) { array.extents; }
    void add(const Array& array) {
        add(array.values);
        add(array.extents);
    }

    std::uint64_t value() const { return value_; }

  private:
    void add_byte(unsigned char byte) { value_ = (value_ ^ byte) * 0x100000001B3U; }

    std::uint64_t value_ = 0xCBF29CE484222325U;
};

void add_attributes(Digest& digest, DataTree& tree, ObjectId object) {
    for (const std::string& name : tree.list_attributes(object)) {
        digest.add(name);
        const AttributeValue value = tree.read_attribute(object, name).value();
        digest.add(std::uint64_t{value.index()});
        std::visit([&](const auto& held) { digest.add(held); }, value);
    }
}

std::uint64_t digest_set(DataTree& tree, ObjectId set) {
    Digest digest;
    const Extents extents = tree.extents(set);
    digest.add(extents);
    std::vector<float> samples(count_of(extents));
    tree.read(set, {Extents(extents.size()), extents}, samples);
    digest.add(samples);
    add_attributes(digest, tree, set);
    return digest.value();
}

std::uint64_t digest_group(DataTree& tree, ObjectId group) {
    Digest digest;
    add_attributes(digest, tree, group);
    return digest.value();
}

} // namespace

void build_ordinary_tree(DataTree& tree) {
    write_set_attributes(tree, add_set(tree, SAMPLE_SET, {3, 1, 60}), 100.0F);
    std::vector<float> with_gaps = make_samples(180);
    cut_gaps(with_gaps);
    write_set_attributes(tree, add_set(tree, "Imu/gyr", {3, 1, 60}, with_gaps), 100.0F);
    write_set_attributes(tree, add_set(tree, "Imu/emg", {3, 1, 60}), 200.0F);
    write_set_attributes(tree, add_set(tree, "Imu/left/acc", {3, 1, 60}), 100.0F);
    write_set_attributes(tree, add_set(tree, "Imu/left/foot/force", {50}), 100.0F);
    write_group_attributes(tree);
}

std::span<const SampleTree> odd_trees() {
    return ODD_TREES;
}

std::map<std::string, std::uint64_t> digest_objects(DataTree& tree) {
    std::map<std::string, std::uint64_t> digests;
    walk_groups(tree, tree.root(), [&](ObjectId group) {
        digests[tree.path(group)] = digest_group(tree, group);
        for (const std::string& name : tree.list_datasets(group)) {
            const ObjectId set = tree.find(group, name).value();
            digests[tree.path(set)] = digest_set(tree, set);
        }
    });
    return digests;
}

} // namespace talvora::host
