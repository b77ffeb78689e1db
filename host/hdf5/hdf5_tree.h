// A tree in one HDF5 file.
//
// Groups are HDF5 groups; data sets are those of real numbers (host/tree/sample_type.h), of rank 1
// or more. Everything else in the file is kept as it is and listed among the other objects: sets of
// other types, sets whose samples lie in other files (external storage, virtual sets), links
// into other files and links that lead nowhere. No other file is ever opened. Soft links are
// followed. An object with several names has one id, and the path by which it was found first.
//
// What is listed and cannot be read, damaged or on a disk that does not answer, is a
// StorageError: nothing is left out without a word.
//
// A set of another type than 32-bit floats, or with a filter that rounds them, is made anew as one
// of those before its first change, under all its names, with its attributes and properties; what
// refers to it in attributes and data sets refers to the new one. Refused where a reference leads
// to a part of it, or is a fill value, or of an object that no link leads to. Refused, too, is a
// new object where something refers to one that was deleted: it would lie in its place.
//
// New data sets are stored in chunks and can be resized. Resizing a set of another layout makes it
// anew likewise. Objects carry no times: the same requests give the same bytes.
#pragma once

#include "host/tree/attached_scale.h"
#include "host/tree/attribute_type.h"
#include "host/tree/data_tree.h"
#include "host/tree/line_roundings.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

namespace hdf5 {
class Id;
struct ObjectInfo;
struct Referrers;
struct Referrer;
enum class SetUse;
} // namespace hdf5

// Starts the HDF5 library, which the first tree does otherwise: child processes that are made
// afterwards find it started. What fails here fails again in the first tree, which tells of it.
void start_hdf5_library();

enum class Hdf5Access {
    ReadOnly,
    ReadWrite,
    Create // the file must not exist
};

// A set that was of another type than 32-bit floats, or had a filter that does not keep them.
struct NarrowedSet {
    std::string path;
    SampleType type{}; // that it was of
    SetRounding rounding;
    std::string filter_left_out; // "the filter 6 (scaleoffset)"; empty where it had none
};

// What is at a path and is kept in another file.
struct KeptElsewhere {
    std::string path;
    std::string file; // as it is named there: beside this one, where that is no whole path
};

// One set is held open at a time, with a cache of its chunks once a part of it was asked for. The
// HDF5 library may not be used by two threads at once, and so may not two of these trees.
class Hdf5Tree final : public DataTree {
  public:
    // A TreeError says what is wrong with the file.
    Hdf5Tree(const std::filesystem::path& file, Hdf5Access access);
    Hdf5Tree(const Hdf5Tree&) = delete;
    Hdf5Tree& operator=(const Hdf5Tree&) = delete;
    // Closes the file. What cannot be written then is lost without a word: who has changed the
    // file calls close first.
    ~Hdf5Tree() override;

    // Writes what is left to write and closes the file; a TreeError says that this failed.
    // Every later request is refused.
    void close();

    // A filter of a set that this host does not know, for people ("the filter 32013 (zfp)"): it may
    // give other samples than were written. Empty where there is none.
    std::string describe_unknown_filter(ObjectId set) const;

    // Links into other files, and data sets with their samples there. Looks at every object.
    std::vector<KeptElsewhere> list_kept_elsewhere() const;

    // The sets that have become 32-bit floats, in the order of that.
    std::span<const NarrowedSet> narrowed_sets() const { return narrowed_; }
    // What rounding changed of a set that was of another type when the file was opened, of the
    // samples that were read; `path` is from the root. No change where none was, nor of 32-bit
    // floats.
    SetRounding rounding(const std::string& path);
    // As which the samples of a set were stored when the file was opened, whatever has become of
    // it; `path` is from the root.
    SampleType original_type(const std::string& path);

    // The dimension scales that are attached to a set; `path` is from the root.
    std::vector<AttachedScale> list_attached_scales(const std::string& path);
    // The sets that one is attached to as a dimension scale. Looks at every object.
    std::vector<ScaledSet> list_scaled_sets(const std::string& path);

    // What a data set of any rank holds, 0 included, as an attribute would: numbers or texts. A
    // TreeError where it holds something else, or more values than are wanted.
    AttributeValue read_values(ObjectId set, std::uint64_t max_count);
    // Whether it holds references to objects, and where they lead, as many as are wanted at most.
    // Nothing for one that leads to no object with a path; a TreeError where it holds none.
    bool holds_references(ObjectId set) const;
    std::vector<std::optional<ObjectId>> follow_references(ObjectId set, std::uint64_t max_count);
    // As what an attribute is stored; nothing when there is none of that name.
    std::optional<AttributeType> attribute_type(ObjectId object, const std::string& name);
    // As write_attribute, stored as such numbers. The value is of integers for a type of integers,
    // else of floats.
    void write_attribute_as(ObjectId object, const std::string& name, const AttributeValue& value,
                            SampleType type);
    // Sets another value of numbers or of texts, as the old one is, and leaves the type. What does
    // not fit the type is cut to it: reading it again tells.
    void rewrite_attribute(ObjectId object, const std::string& name, const AttributeValue& value);
    void remove_attribute(ObjectId object, const std::string& name);

    ObjectId root() const override;
    std::optional<ObjectId> find(ObjectId group, std::string_view path) override;
    ObjectKind kind(ObjectId object) const override;
    std::string path(ObjectId object) const override;

    std::vector<std::string> list_groups(ObjectId group) override;
    std::vector<std::string> list_datasets(ObjectId group) override;
    std::vector<OtherObject> list_others(ObjectId group) override;
    // Whether the name in the group is a link by the name of what it leads to.
    bool is_soft_link(ObjectId group, const std::string& name) const;

    ObjectId create_group(ObjectId parent, std::string_view path) override;
    ObjectId create_dataset(ObjectId parent, std::string_view path,
                            const Extents& extents) override;

    Extents extents(ObjectId set) const override;
    SampleType sample_type(ObjectId set) const override;
    void resize(ObjectId id, const Extents& extents) override;
    void read(ObjectId id, const Hyperslab& slab, std::span<float> samples) override;
    void write(ObjectId id, const Hyperslab& slab, std::span<const float> samples) override;
    StoredSamples read_stored(ObjectId id, const Hyperslab& slab) override;

    std::vector<std::string> list_attributes(ObjectId object) override;
    std::optional<AttributeValue> read_attribute(ObjectId object, const std::string& name) override;
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override;

  private:
    struct Node {
        ObjectKind kind = ObjectKind::Other;
        std::string path;
        Extents extents;                       // of a data set
        std::string description;               // of another object
        SampleType type = SampleType::Float32; // of a data set
        std::optional<bool> takes_floats = {}; // it stores 32-bit floats as they are; once known
        OtherKind other_kind = OtherKind::NamedType; // of another object
        bool is_single = false;                      // a data set of rank 0
    };
    struct OpenSet;
    struct OpenGroup;
    struct OpenFile; // what is open in the HDF5 library, which this room alone includes

    const Node& node(ObjectId id) const;
    const Node& node(ObjectId id, ObjectKind kind) const;
    hdf5::Id open_small_set(ObjectId id, std::uint64_t max_count) const;
    hdf5::Id open(ObjectId id) const;
    void close_set();
    OpenSet& open_set(ObjectId id, hdf5::SetUse use);
    void keep_open(ObjectId id, hdf5::SetUse use, hdf5::Id set);

    std::optional<ObjectId> find_child(ObjectId group, const std::string& name);
    std::optional<ObjectId> find_unknown_child(ObjectId group, const std::string& name,
                                               const std::string& child_path);
    static Node describe_set(const hdf5::Id& set, const std::string& path);
    ObjectId add_object(hdf5::Id object, const std::string& path);
    ObjectId add_node(Node node);
    std::vector<std::string> list_children(ObjectId group, ObjectKind kind);
    void refuse_referred(const hdf5::Id& made, const std::string& path);
    hdf5::Id create_unreferred(const std::string& path, const std::function<hdf5::Id()>& create);
    ObjectId create_groups(ObjectId parent, const std::vector<std::string>& names);
    using MakeSet = std::function<hdf5::Id(const hdf5::Id& old_set, const hdf5::Id& properties)>;
    void make_anew(ObjectId id, const Extents& extents, const MakeSet& make);
    void make_anew_resizable(ObjectId id, const Extents& extents);
    void make_anew_in_newer_format(ObjectId id);
    bool is_set_of_floats(ObjectId id) const;
    void write_of_any_length(ObjectId object, const std::function<void()>& write);
    bool takes_floats(ObjectId id, hdf5::SetUse use);
    void narrow(ObjectId id, bool keeps_samples);
    void take_place(ObjectId id, const hdf5::ObjectInfo& old_info, const hdf5::Id& new_set);
    hdf5::Referrers& referrers();
    void refuse_referrers(ObjectId id, std::uint64_t address, std::string_view change,
                          bool (*is_hindrance)(const hdf5::Referrer&));
    bool may_name(std::string_view path, ObjectId id);
    void refuse_shown(ObjectId id);
    void redirect_references(ObjectId id, std::uint64_t from, std::uint64_t to);
    std::vector<std::string> hard_links(const std::string& path, const hdf5::ObjectInfo& info);

    std::filesystem::path name_;
    std::unique_ptr<OpenFile> open_;
    std::vector<Node> nodes_; // the object with the id n stands at n - 1
    std::map<std::string, ObjectId, std::less<>> by_path_;
    std::map<std::uint64_t, ObjectId> by_address_; // in the file
    std::map<ObjectId, LineRoundings> roundings_;  // of what was read
    std::set<ObjectId> read_as_a_whole_;           // of those
    std::vector<NarrowedSet> narrowed_;
    // Of the file as it was when they were first asked for, by address.
    std::optional<std::multimap<std::uint64_t, std::string>> hard_links_;
};

} // namespace talvora::host
