// A tree of groups and data sets, as the reference host offers it to units. One keeps
// its objects in memory (memory_tree.h), one in an HDF5 file (host/hdf5/hdf5_tree.h); the
// others stand in front of a tree and pass requests on (forwarding_tree.h). The function
// tables (host/interface/interface_tables.h) and the commands work on any.
//
// A data set is an n-dimensional array of real numbers of rank 1 or more (the memory
// tree can hold rank 0, for tests and the validator), row-major, last dimension fastest.
// Samples are read and written as 32-bit floats, in whatever type they are stored.
// Groups and data sets carry named attributes.
//
// Paths are relative to the group they are given with, their names parted by '/';
// a leading '/' and repeated ones do not count, and the empty path is the group
// itself. Every failure is thrown as a TreeError with a sentence complete in itself.
#pragma once

#include "host/tree/sample_type.h"

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvora::host {

// Thrown when a tree cannot do what it is asked to: nothing was changed then.
class TreeError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The file behind a tree could not be read or written: no fault of the request, and what
// it changed before the failure may stay changed.
class StorageError : public TreeError {
  public:
    enum class Access { Reading, Writing };

    StorageError(Access access, const std::string& text) : TreeError(text), access_(access) {}
    Access access() const { return access_; }

  private:
    Access access_;
};

// An object of one tree. Opening the same object twice gives the same id; ids are
// never 0 and stay good as long as the tree.
enum class ObjectId : std::uint64_t {};

enum class ObjectKind { Group, DataSet, Other };

using Extents = std::vector<std::uint64_t>;

// One start and one count per dimension, borrowed from who asks.
struct Hyperslab {
    std::span<const std::uint64_t> starts;
    std::span<const std::uint64_t> counts;
};

// An array attribute: its values in row-major order and its extents.
struct IntegerArray {
    std::vector<std::int64_t> values;
    Extents extents;
    friend bool operator==(const IntegerArray&, const IntegerArray&) = default;
};
struct NumberArray {
    std::vector<double> values;
    Extents extents;
    friend bool operator==(const NumberArray&, const NumberArray&) = default;
};
struct TextArray {
    std::vector<std::string> values;
    Extents extents;
    friend bool operator==(const TextArray&, const TextArray&) = default;
};

// A scalar float attribute keeps its width: float and double are two types.
using AttributeValue =
    std::variant<std::int64_t, float, double, std::string, IntegerArray, NumberArray, TextArray>;

enum class OtherKind {
    NumberSet, // real or complex numbers, or fields of bits
    TextSet,
    ReferenceSet,
    EnumerationSet,
    OtherSet, // of compound values, arrays, lists, or what is unknown
    NamedType,
    LinkToFile, // into another file, which is not looked at
    BlindLink   // another one that leads to nothing that can be opened
};

// Something in the tree that is neither a group nor a data set of real numbers.
struct OtherObject {
    std::string name;
    std::string description; // what it is, for people: "data set of texts [3]"
    OtherKind kind{};
    bool is_single = false; // a data set of rank 0
};

class DataTree {
  public:
    DataTree() = default;
    DataTree(const DataTree&) = delete;
    DataTree& operator=(const DataTree&) = delete;
    virtual ~DataTree() = default;

    virtual ObjectId root() const = 0;

    // The object at a path, if there is one of any kind.
    virtual std::optional<ObjectId> find(ObjectId group, std::string_view path) = 0;
    virtual ObjectKind kind(ObjectId object) const = 0;
    // From the root, without a leading '/'; the root's is empty.
    virtual std::string path(ObjectId object) const = 0;

    // Names directly in a group, in the tree's order (by name).
    virtual std::vector<std::string> list_groups(ObjectId group) = 0;
    virtual std::vector<std::string> list_datasets(ObjectId group) = 0;
    virtual std::vector<OtherObject> list_others(ObjectId group) = 0;

    // Groups on the way are made too. Taken names are refused.
    virtual ObjectId create_group(ObjectId parent, std::string_view path) = 0;
    virtual ObjectId create_dataset(ObjectId group, std::string_view path,
                                    const Extents& extents) = 0;

    virtual Extents extents(ObjectId set) const = 0;
    // As which type the samples are stored. That of a set which is written or resized becomes
    // that of 32-bit floats.
    virtual SampleType sample_type(ObjectId set) const;
    // Samples inside both the old and the new extents keep their places; new room
    // is zero. The rank stays.
    virtual void resize(ObjectId set, const Extents& extents) = 0;
    // A hyperslab beyond the extents, or a span of another size than the product of
    // the counts, is refused. Each sample of another type is read as the nearest float, an even
    // one between two; a finite one that has none is a StorageError.
    virtual void read(ObjectId set, const Hyperslab& slab, std::span<float> samples) = 0;
    virtual void write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) = 0;
    // The samples as they are stored; a hyperslab beyond the extents is refused.
    virtual StoredSamples read_stored(ObjectId set, const Hyperslab& slab);

    virtual std::vector<std::string> list_attributes(ObjectId object) = 0;
    // Nothing when there is none of that name; a TreeError when its type cannot be read.
    virtual std::optional<AttributeValue> read_attribute(ObjectId object,
                                                         const std::string& name) = 0;
    // Replaces an attribute of the same name, whatever its type was.
    virtual void write_attribute(ObjectId object, const std::string& name,
                                 const AttributeValue& value) = 0;
};

} // namespace talvora::host
