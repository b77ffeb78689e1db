// The data that a recording host keeps: groups, data sets, their samples and
// attributes, addressed by paths from the root ("" is the root itself).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace talvora::test_support {

struct IntegerArray {
    std::vector<std::int64_t> values;
    std::vector<std::uint64_t> extents;
    bool operator==(const IntegerArray&) const = default;
};

struct TextList {
    std::vector<std::string> values;
    std::vector<std::uint64_t> extents;
    bool operator==(const TextList&) const = default;
};

using AttributeValue =
    std::variant<float, double, std::int64_t, std::string, IntegerArray, TextList>;

constexpr int GIVEN_BY_TEST = -1;

struct Attribute {
    AttributeValue value;
    int written_by_slot = GIVEN_BY_TEST; // the slot of the host's table
};

using Attributes = std::map<std::string, Attribute>;

std::string join_numbers(const std::vector<std::uint64_t>& numbers); // 3,1,100

// The hyperslab of a request, as many starts as counts.
struct Hyperslab {
    std::vector<std::uint64_t> starts;
    std::vector<std::uint64_t> counts;

    std::uint64_t sample_count() const;
    bool lies_inside(const std::vector<std::uint64_t>& extents) const;
    std::string text() const; // [0,0,0|3,1,100]
};

class DataSet {
  public:
    DataSet(std::string path, std::vector<std::uint64_t> extents, std::vector<float> samples);

    // What a test says about the set; each returns the set again.
    DataSet& attribute_float(const std::string& name, float value);
    DataSet& attribute_number(const std::string& name, double value);
    DataSet& attribute_integer(const std::string& name, std::int64_t value);
    DataSet& attribute_text(const std::string& name, const std::string& value);
    DataSet& invalid(); // exists and is listed, but opening it gives no valid handle

    const std::string& path() const { return path_; }
    const std::vector<std::uint64_t>& extents() const { return extents_; }
    const std::vector<float>& samples() const { return samples_; }
    bool is_valid() const { return is_valid_; }

    // `names` of every attribute, in alphabetical order.
    std::vector<std::string> attribute_names() const;
    bool has_attribute(const std::string& name) const { return attributes_.contains(name); }
    // Throws std::out_of_range when there is none, std::bad_variant_access when it
    // is of another type.
    template <typename T>
    const T& attribute(const std::string& name) const {
        return std::get<T>(attributes_.at(name).value);
    }
    int attribute_slot(const std::string& name) const {
        return attributes_.at(name).written_by_slot;
    }

    Attributes& attributes() { return attributes_; }
    const Attributes& attributes() const { return attributes_; }
    // Copies between the set and `samples`, one float per sample of the slab. What
    // the slab names outside the set's extents is passed over.
    void read(const Hyperslab& slab, float* samples) const;
    void write(const Hyperslab& slab, const float* samples);
    // Keeps the samples whose indices lie inside the new extents; the rest is 0.
    void resize(const std::vector<std::uint64_t>& extents);

  private:
    std::string path_;
    std::vector<std::uint64_t> extents_;
    std::vector<float> samples_;
    Attributes attributes_;
    bool is_valid_ = true;
};

class Group {
  public:
    explicit Group(std::string path) : path_(std::move(path)) {}

    Group& attribute_float(const std::string& name, float value);
    Group& attribute_integer(const std::string& name, std::int64_t value);
    Group& invalid(); // exists and is listed, but opening it gives no valid handle

    const std::string& path() const { return path_; }
    bool is_valid() const { return is_valid_; }
    bool has_attribute(const std::string& name) const { return attributes_.contains(name); }
    template <typename T>
    const T& attribute(const std::string& name) const {
        return std::get<T>(attributes_.at(name).value);
    }
    Attributes& attributes() { return attributes_; }
    const Attributes& attributes() const { return attributes_; }

  private:
    std::string path_;
    Attributes attributes_;
    bool is_valid_ = true;
};

// Path of `name` (itself a path) below `parent`, without slashes at its ends.
std::string join_path(std::string_view parent, std::string_view name);

// Owns groups and data sets; references stay good for the life of the tree.
// Children are listed in the order in which they were made.
class RecordedTree {
  public:
    RecordedTree();

    // Makes the groups on the way; throws std::logic_error when there is one already.
    DataSet& make_dataset(const std::string& path, std::vector<std::uint64_t> extents,
                          std::vector<float> samples);
    // The group with this path, made where it is missing.
    Group& group(const std::string& path);

    Group* find_group(std::string_view path) const;
    DataSet* find_dataset(std::string_view path) const;

    // The position of an object in its list says which handle it gets.
    const std::vector<std::unique_ptr<Group>>& groups() const { return groups_; }
    const std::vector<std::unique_ptr<DataSet>>& datasets() const { return datasets_; }

    // Names directly below the group.
    std::vector<std::string> child_groups(const std::string& path) const;
    std::vector<std::string> child_datasets(const std::string& path) const;

  private:
    std::vector<std::unique_ptr<Group>> groups_;
    std::vector<std::unique_ptr<DataSet>> datasets_;
};

} // namespace talvora::test_support
