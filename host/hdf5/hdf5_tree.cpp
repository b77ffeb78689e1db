#include "host/hdf5/hdf5_tree.h"

#include "host/hdf5/hdf5_attributes.h"
#include "host/hdf5/hdf5_files.h"
#include "host/hdf5/hdf5_links.h"
#include "host/hdf5/hdf5_references.h"
#include "host/hdf5/hdf5_sets.h"
#include "host/hdf5/hdf5_types.h"
#include "host/hdf5/hdf5_values.h"
#include "host/system/work_state.h"
#include "host/text/path_glob.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace talvora::host {

namespace {

constexpr ObjectId ROOT{1};
constexpr std::uint64_t ANY_COUNT = std::numeric_limits<std::uint64_t>::max();

hdf5::Id open_file(const std::filesystem::path& file, Hdf5Access access) {
    return access == Hdf5Access::Create ? hdf5::create_file(file)
                                        : hdf5::open_file(file, access == Hdf5Access::ReadWrite);
}

hdf5::SetUse use_of(const Hyperslab& slab, const Extents& extents) {
    return std::ranges::equal(slab.counts, extents) ? hdf5::SetUse::Whole : hdf5::SetUse::Parts;
}

// Of a set whose samples are rounded, which are read in parts where they are many.
hdf5::SetUse use_of_rounded(const Hyperslab& slab, const Extents& extents) {
    return count_samples(extents) <= hdf5::ROUNDED_SAMPLES ? use_of(slab, extents)
                                                           : hdf5::SetUse::Parts;
}

std::string absolute(const std::string& path) {
    return "/" + path;
}

bool is_link(OtherKind kind) {
    return kind == OtherKind::LinkToFile || kind == OtherKind::BlindLink;
}

// A page of memory that is none of the caller's is to show while the caller is at work: a crash
// in the library is taken for the file's.
constexpr std::size_t PAGE_SAMPLES = 4096 / sizeof(float);

void touch(float& sample) {
    volatile float& place = sample;
    const float kept = place;
    place = kept;
}

void touch(const float& sample) {
    const volatile float& place = sample;
    [[maybe_unused]] const float read = place;
}

template <typename Sample>
void touch(std::span<Sample> samples) {
    for (std::size_t i = 0; i < samples.size(); i += PAGE_SAMPLES) {
        touch(samples[i]);
    }
    touch(samples.back());
}

// What a set carries besides samples, to one that takes its place.
void copy_annotations(const hdf5::Id& from, const hdf5::Id& properties, const hdf5::Id& to,
                      const std::string& path) {
    hdf5::copy_attributes(from, properties, to, path);
    hdf5::copy_comment(from, to);
}

// Numbers as 32-bit floats; nothing for texts, and where one is beyond these.
struct AsFloats {
    using Result = std::optional<AttributeValue>;

    Result operator()(double number) const { return fits(number) ? Result(number) : std::nullopt; }
    Result operator()(float number) const { return static_cast<double>(number); }
    Result operator()(std::int64_t number) const { return static_cast<double>(number); }
    Result operator()(const NumberArray& numbers) const {
        return std::ranges::all_of(numbers.values, fits) ? Result(numbers) : std::nullopt;
    }
    Result operator()(const IntegerArray& integers) const {
        return NumberArray{{integers.values.begin(), integers.values.end()}, integers.extents};
    }
    Result operator()(const auto&) const { return std::nullopt; }

  private:
    static bool fits(double number) {
        return !std::isfinite(number) ||
               std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max());
    }
};

// By which samples of a set are known as missing; netCDF looks at none of another type.
constexpr const char* MARK_ATTRIBUTES[] = {"_FillValue", "missing_value"};

void narrow_mark(const hdf5::Id& set, const std::string& name, const std::string& path) {
    const auto type = hdf5::find_attribute_type(set, name);
    if (!type || type->kind != AttributeType::Kind::Number || type->number == SampleType::Float32 ||
        type->number == SampleType::UInt64) { // whose numbers may not fit an attribute's value
        return;
    }
    const auto value = hdf5::read_attribute(set, name, path);
    if (const auto floats = value ? std::visit(AsFloats{}, *value) : std::nullopt) {
        hdf5::write_attribute(set, name, *floats, SampleType::Float32);
    }
}

bool leads_to_region(const hdf5::Referrer& referrer) {
    return referrer.to_region;
}

bool cannot_be_redirected(const hdf5::Referrer& referrer) {
    return referrer.to_region || referrer.by != hdf5::Referrer::By::Value;
}

std::string describe_referrer(const hdf5::Referrer& referrer) {
    switch (referrer.by) {
    case hdf5::Referrer::By::FillValue:
        return fmt::format("the fill value of '{}'", referrer.path);
    case hdf5::Referrer::By::Unlinked:
        return fmt::format("an object that no link leads to, only '{}',", referrer.path);
    default:
        return fmt::format("'{}'", referrer.path);
    }
}

} // namespace

void start_hdf5_library() {
    hdf5::start_library();
}

struct Hdf5Tree::OpenSet {
    ObjectId id{};
    hdf5::SetUse use{};
    hdf5::Id set;
    hdf5::Id space;
};

struct Hdf5Tree::OpenGroup {
    ObjectId id{};
    hdf5::Id group;
};

// What was asked for last stays open: for the objects of a group, and for the attributes of a set,
// opening it anew would be most of the work.
struct Hdf5Tree::OpenFile {
    hdf5::Id file;
    OpenSet set; // behind the file, so that it is closed before it
    OpenGroup group;
    // Of the file as it was when they were first asked for.
    std::optional<hdf5::Referrers> referrers;
    std::optional<std::vector<hdf5::ShownSet>> shown_sets;
};

Hdf5Tree::Hdf5Tree(const std::filesystem::path& file, Hdf5Access access) : name_(file) {
    const InFile here(name_.native());
    open_.reset(new OpenFile{open_file(file, access), {}, {}, {}, {}});
    try {
        add_object(hdf5::open_object(open_->file, "/"), "");
    } catch (const TreeError&) {
        open_.reset();
        throw;
    }
}

Hdf5Tree::~Hdf5Tree() {
    const InFile here(name_.native());
    open_.reset();
}

void Hdf5Tree::close() {
    const InFile here(name_.native());
    close_set();
    open_->group = {};
    hdf5::flush_file(open_->file, name_);
    hdf5::close_file(std::exchange(open_->file, hdf5::Id{}), name_);
}

std::string Hdf5Tree::describe_unknown_filter(ObjectId set) const {
    node(set, ObjectKind::DataSet);
    return hdf5::describe_unknown_filter(open(set));
}

std::vector<KeptElsewhere> Hdf5Tree::list_kept_elsewhere() const {
    const InFile here(name_.native());
    std::vector<KeptElsewhere> found;
    for (const auto& [path, file] : hdf5::list_external_links(open_->file)) {
        found.push_back({path, file});
    }
    hdf5::visit_objects(open_->file, [&](const std::string& path, hid_t object) {
        if (hdf5::object_info(object).type == H5O_TYPE_DATASET) {
            for (const std::string& file : hdf5::list_source_files(object)) {
                found.push_back({path.substr(1), file});
            }
        }
    });
    return found;
}

AttributeValue Hdf5Tree::read_values(ObjectId set, std::uint64_t max_count) {
    const InFile here(name_.native());
    const std::string& path = node(set).path;
    const hdf5::Id open = open_small_set(set, max_count);
    return hdf5::read_values(hdf5::open_set_values(open, path), fmt::format("'{}'", path));
}

bool Hdf5Tree::holds_references(ObjectId set) const {
    const InFile here(name_.native());
    return hdf5::holds_object_references(open_small_set(set, ANY_COUNT));
}

std::vector<std::optional<ObjectId>> Hdf5Tree::follow_references(ObjectId set,
                                                                 std::uint64_t max_count) {
    const InFile here(name_.native());
    std::vector<std::optional<ObjectId>> objects;
    for (const std::string& path :
         hdf5::read_references(open_small_set(set, max_count), node(set).path)) {
        objects.push_back(path.empty() ? std::nullopt : find(root(), path));
    }
    return objects;
}

ObjectId Hdf5Tree::root() const {
    return ROOT;
}

std::optional<ObjectId> Hdf5Tree::find(ObjectId group, std::string_view path) {
    const InFile here(name_.native());
    node(group, ObjectKind::Group);
    std::optional<ObjectId> found = group;
    for (const std::string& name : split_names(path)) {
        if (node(*found).kind != ObjectKind::Group || !is_possible_name(name)) {
            return std::nullopt;
        }
        found = find_child(*found, name);
        if (!found) {
            return std::nullopt;
        }
    }
    return found;
}

ObjectKind Hdf5Tree::kind(ObjectId object) const {
    return node(object).kind;
}

std::string Hdf5Tree::path(ObjectId object) const {
    return node(object).path;
}

std::vector<std::string> Hdf5Tree::list_groups(ObjectId group) {
    const InFile here(name_.native());
    return list_children(group, ObjectKind::Group);
}

std::vector<std::string> Hdf5Tree::list_datasets(ObjectId group) {
    const InFile here(name_.native());
    return list_children(group, ObjectKind::DataSet);
}

std::vector<OtherObject> Hdf5Tree::list_others(ObjectId group) {
    const InFile here(name_.native());
    std::vector<OtherObject> others;
    for (const std::string& name : list_children(group, ObjectKind::Other)) {
        const Node& other = node(*find_child(group, name));
        others.push_back({name, other.description, other.other_kind, other.is_single});
    }
    return others;
}

bool Hdf5Tree::is_soft_link(ObjectId group, const std::string& name) const {
    const InFile here(name_.native());
    return !hdf5::is_hard_link(open(group), name);
}

ObjectId Hdf5Tree::create_group(ObjectId parent, std::string_view path) {
    const InFile here(name_.native());
    node(parent, ObjectKind::Group);
    NewPlace place = plan_new_place(*this, parent, path);
    place.missing_groups.push_back(place.name);
    return create_groups(place.group, place.missing_groups);
}

ObjectId Hdf5Tree::create_dataset(ObjectId parent, std::string_view path, const Extents& extents) {
    const InFile here(name_.native());
    node(parent, ObjectKind::Group);
    check_extents(extents, 1, path);
    const NewPlace place = plan_new_place(*this, parent, path);
    const ObjectId group = create_groups(place.group, place.missing_groups);
    const std::string set_path = join_path(node(group).path, place.name);
    hdf5::Id set = create_unreferred(
        set_path, [&] { return hdf5::create_float_set(open(group), place.name, extents); });
    const ObjectId id = add_node({ObjectKind::DataSet, set_path, extents, {}});
    by_address_.emplace(hdf5::object_info(set).address, id);
    keep_open(id, hdf5::SetUse::Whole, std::move(set));
    return id;
}

Extents Hdf5Tree::extents(ObjectId set) const {
    return node(set, ObjectKind::DataSet).extents;
}

void Hdf5Tree::resize(ObjectId id, const Extents& extents) {
    const InFile here(name_.native());
    const Node& set = node(id, ObjectKind::DataSet);
    check_resize(set.extents, extents, set.path);
    if (extents == set.extents) {
        return;
    }
    refuse_shown(id);
    if (!takes_floats(id, hdf5::SetUse::Whole)) {
        narrow(id, true);
    }
    const OpenSet& open = open_set(id, hdf5::SetUse::Whole);
    if (hdf5::can_resize(open.set, extents)) {
        if (smaller_of(extents, set.extents) != set.extents) {
            refuse_referrers(id, hdf5::object_info(open.set).address, "made smaller",
                             leads_to_region);
        }
        hdf5::resize_set(open.set, extents, set.path);
        close_set();
    } else {
        make_anew_resizable(id, extents);
    }
    nodes_[static_cast<std::uint64_t>(id) - 1].extents = extents;
}

void Hdf5Tree::read(ObjectId id, const Hyperslab& slab, std::span<float> samples) {
    const Node& set = node(id, ObjectKind::DataSet);
    check_hyperslab(set.extents, slab, samples.size(), set.path);
    if (samples.empty()) {
        return;
    }
    touch(samples);
    const InFile here(name_.native());
    const bool is_rounded = set.type != SampleType::Float32;
    const OpenSet& open =
        open_set(id, is_rounded ? use_of_rounded(slab, set.extents) : use_of(slab, set.extents));
    LineRoundings& roundings = roundings_.try_emplace(id, set.extents).first->second;
    hdf5::read_floats(open.set, open.space, slab, set.type, samples, set.path, roundings);
    if (is_rounded && is_whole(slab, set.extents)) {
        read_as_a_whole_.insert(id);
    }
}

void Hdf5Tree::write(ObjectId id, const Hyperslab& slab, std::span<const float> samples) {
    const Node& set = node(id, ObjectKind::DataSet);
    check_hyperslab(set.extents, slab, samples.size(), set.path);
    if (samples.empty()) {
        return;
    }
    touch(samples);
    const InFile here(name_.native());
    const hdf5::SetUse use = use_of(slab, set.extents);
    if (!takes_floats(id, use)) {
        narrow(id, !is_whole(slab, set.extents));
    }
    const OpenSet& open = open_set(id, use);
    hdf5::write_floats(open.set, open.space, slab, samples, set.path);
}

SetRounding Hdf5Tree::rounding(const std::string& path) {
    const auto set = find(root(), path);
    const auto seen = set ? roundings_.find(*set) : roundings_.end();
    return seen != roundings_.end() ? seen->second.sum_up() : SetRounding{};
}

SampleType Hdf5Tree::original_type(const std::string& path) {
    const auto narrowed = std::ranges::find(narrowed_, path, &NarrowedSet::path);
    if (narrowed != narrowed_.end()) {
        return narrowed->type;
    }
    const auto set = find(root(), path);
    return set ? sample_type(*set) : SampleType::Float32;
}

std::vector<AttachedScale> Hdf5Tree::list_attached_scales(const std::string& path) {
    const auto set = find(root(), path);
    if (!set) {
        return {};
    }
    const InFile here(name_.native());
    return hdf5::list_attached_scales(open(*set), path);
}

std::vector<ScaledSet> Hdf5Tree::list_scaled_sets(const std::string& path) {
    const auto scale = find(root(), path);
    if (!scale) {
        return {};
    }
    const InFile here(name_.native());
    return hdf5::list_scaled_sets(open(*scale), referrers().by_address);
}

SampleType Hdf5Tree::sample_type(ObjectId set) const {
    return node(set, ObjectKind::DataSet).type;
}

StoredSamples Hdf5Tree::read_stored(ObjectId id, const Hyperslab& slab) {
    const InFile here(name_.native());
    const Node& set = node(id, ObjectKind::DataSet);
    check_hyperslab(set.extents, slab, count_samples(slab.counts), set.path);
    const OpenSet& open = open_set(id, use_of(slab, set.extents));
    return hdf5::read_stored(open.set, open.space, slab, set.type, set.path);
}

std::vector<std::string> Hdf5Tree::list_attributes(ObjectId object) {
    const InFile here(name_.native());
    return hdf5::list_attributes(open(object));
}

std::optional<AttributeValue> Hdf5Tree::read_attribute(ObjectId object, const std::string& name) {
    const InFile here(name_.native());
    return hdf5::read_attribute(open(object), name, node(object).path);
}

void Hdf5Tree::write_attribute(ObjectId object, const std::string& name,
                               const AttributeValue& value) {
    const InFile here(name_.native());
    check_attribute(name, value);
    write_of_any_length(object, [&] { hdf5::write_attribute(open(object), name, value); });
}

void Hdf5Tree::write_of_any_length(ObjectId object, const std::function<void()>& write) {
    try {
        write();
    } catch (const hdf5::TooLongAttribute&) {
        if (!is_set_of_floats(object)) {
            throw;
        }
        make_anew_in_newer_format(object);
        write();
    }
}

std::optional<AttributeType> Hdf5Tree::attribute_type(ObjectId object, const std::string& name) {
    const InFile here(name_.native());
    return hdf5::find_attribute_type(open(object), name);
}

void Hdf5Tree::write_attribute_as(ObjectId object, const std::string& name,
                                  const AttributeValue& value, SampleType type) {
    const InFile here(name_.native());
    check_attribute(name, value);
    write_of_any_length(object, [&] { hdf5::write_attribute(open(object), name, value, type); });
}

void Hdf5Tree::rewrite_attribute(ObjectId object, const std::string& name,
                                 const AttributeValue& value) {
    const InFile here(name_.native());
    check_attribute(name, value);
    write_of_any_length(object, [&] { hdf5::rewrite_attribute(open(object), name, value); });
}

void Hdf5Tree::remove_attribute(ObjectId object, const std::string& name) {
    const InFile here(name_.native());
    hdf5::delete_attribute(open(object), name);
}

// ---------------------------------------------------------------------------
// Objects by id

const Hdf5Tree::Node& Hdf5Tree::node(ObjectId id) const {
    const std::uint64_t index = static_cast<std::uint64_t>(id) - 1;
    if (index >= nodes_.size()) {
        throw TreeError(
            fmt::format("{} is no object of '{}'", static_cast<std::uint64_t>(id), name_.string()));
    }
    return nodes_[index];
}

const Hdf5Tree::Node& Hdf5Tree::node(ObjectId id, ObjectKind kind) const {
    const Node& found = node(id);
    if (found.kind != kind) {
        throw TreeError(fmt::format("'{}' is no {}", found.path,
                                    kind == ObjectKind::Group ? "group" : "data set"));
    }
    return found;
}

// A data set in this file.
hdf5::Id Hdf5Tree::open_small_set(ObjectId id, std::uint64_t max_count) const {
    const Node& object = node(id);
    hdf5::Id set = open(id);
    if (hdf5::object_info(set).type != H5O_TYPE_DATASET) {
        throw TreeError(fmt::format("'{}' is no data set", object.path));
    }
    if (const std::string elsewhere = hdf5::describe_foreign_storage(set); !elsewhere.empty()) {
        throw TreeError(fmt::format("'{}' cannot be read: {}", object.path, elsewhere));
    }
    const hdf5::Id space = hdf5::set_space(set);
    const std::uint64_t count =
        hdf5::has_no_elements(space) ? 0 : count_samples(hdf5::space_extents(space));
    if (count > max_count) {
        throw TreeError(fmt::format("'{}' holds {} values (allowed here: at most {})", object.path,
                                    count, max_count));
    }
    return set;
}

hdf5::Id Hdf5Tree::open(ObjectId id) const {
    if (open_->set.id == id) {
        return hdf5::share(open_->set.set);
    }
    const Node& object = node(id);
    if (object.kind != ObjectKind::Group) {
        return hdf5::open_object(open_->file, absolute(object.path));
    }
    if (open_->group.id != id) {
        open_->group = {id, hdf5::open_object(open_->file, absolute(object.path))};
    }
    return hdf5::share(open_->group.group);
}

// One that is open for parts serves for the whole as well.
Hdf5Tree::OpenSet& Hdf5Tree::open_set(ObjectId id, hdf5::SetUse use) {
    if (open_->set.id != id || open_->set.use < use) {
        close_set();
        keep_open(id, use, hdf5::open_set(open_->file, absolute(node(id).path), use));
    }
    return open_->set;
}

void Hdf5Tree::keep_open(ObjectId id, hdf5::SetUse use, hdf5::Id set) {
    close_set();
    hdf5::Id space = hdf5::set_space(set);
    open_->set = {id, use, std::move(set), std::move(space)};
}

void Hdf5Tree::close_set() {
    OpenSet set = std::exchange(open_->set, {});
    if (set.set >= 0) {
        hdf5::close_set(std::move(set.set), node(set.id).path);
    }
}

// ---------------------------------------------------------------------------
// Finding objects

namespace {

// What is listed and cannot be read is damage, or a disk that does not answer: no fault of the
// request.
template <typename Reading>
auto as_storage(const Reading& reading) {
    try {
        return reading();
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError& error) {
        throw StorageError(StorageError::Access::Reading, error.what());
    }
}

} // namespace

std::optional<ObjectId> Hdf5Tree::find_child(ObjectId group, const std::string& name) {
    const std::string child_path = join_path(node(group).path, name);
    const auto known = by_path_.find(child_path);
    return known != by_path_.end() ? std::optional(known->second)
                                   : find_unknown_child(group, name, child_path);
}

std::optional<ObjectId> Hdf5Tree::find_unknown_child(ObjectId group, const std::string& name,
                                                     const std::string& child_path) {
    return as_storage([&]() -> std::optional<ObjectId> {
        const hdf5::Id parent = open(group);
        if (!hdf5::link_exists(parent, name)) {
            return std::nullopt;
        }
        if (auto link = hdf5::find_unfollowed_link(parent, name)) {
            return add_node({.kind = ObjectKind::Other,
                             .path = child_path,
                             .extents = {},
                             .description = std::move(link->description),
                             .other_kind = link->kind});
        }
        return add_object(hdf5::open_object(open_->file, absolute(child_path)), child_path);
    });
}

// The extents of a virtual set hang on the files that it is made of, which are not looked at.
Hdf5Tree::Node Hdf5Tree::describe_set(const hdf5::Id& set, const std::string& path) {
    const hdf5::Id type = hdf5::set_type(set);
    const std::string description = "data set of " + hdf5::describe_type(type);
    const OtherKind kind = hdf5::classify_set(type);
    if (const std::string elsewhere = hdf5::describe_foreign_storage(set); !elsewhere.empty()) {
        return {.kind = ObjectKind::Other,
                .path = path,
                .extents = {},
                .description = fmt::format("{}, {}", description, elsewhere),
                .other_kind = kind};
    }
    Extents extents = hdf5::space_extents(hdf5::set_space(set));
    std::string shown = fmt::format("{} {}", description, describe_extents(extents));
    const auto sample_type = hdf5::find_sample_type(type);
    const bool is_single = extents.empty();
    return {.kind = sample_type && !is_single ? ObjectKind::DataSet : ObjectKind::Other,
            .path = path,
            .extents = std::move(extents),
            .description = std::move(shown),
            .type = sample_type.value_or(SampleType::Float32),
            .other_kind = kind,
            .is_single = is_single};
}

// The id of an object that was found at a path, by this path or by another.
ObjectId Hdf5Tree::add_object(hdf5::Id object, const std::string& path) {
    const hdf5::ObjectInfo info = hdf5::object_info(object);
    const auto known = by_address_.find(info.address);
    if (known != by_address_.end()) {
        by_path_.emplace(path, known->second);
        return known->second;
    }
    Node node{.kind = ObjectKind::Other, .path = path, .extents = {}, .description = "named type"};
    if (info.type == H5O_TYPE_GROUP) {
        node.kind = ObjectKind::Group;
    } else if (info.type == H5O_TYPE_DATASET) {
        node = describe_set(object, path);
    }
    const ObjectId id = add_node(std::move(node));
    by_address_.emplace(info.address, id);
    return id;
}

ObjectId Hdf5Tree::add_node(Node node) {
    const ObjectId id{nodes_.size() + 1};
    by_path_.emplace(node.path, id);
    nodes_.push_back(std::move(node));
    return id;
}

std::vector<std::string> Hdf5Tree::list_children(ObjectId group, ObjectKind kind) {
    node(group, ObjectKind::Group);
    std::vector<std::string> names;
    for (std::string& name : as_storage([&] { return hdf5::list_links(open(group)); })) {
        if (const auto child = find_child(group, name); child && node(*child).kind == kind) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

// ---------------------------------------------------------------------------
// Making objects

ObjectId Hdf5Tree::create_groups(ObjectId parent, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const std::string path = join_path(node(parent).path, name);
        parent = add_object(
            create_unreferred(path, [&] { return hdf5::create_group(open(parent), name); }), path);
    }
    return parent;
}

// What refers to something that was deleted leads to its place in the file, and would lead to a new
// object there.
hdf5::Id Hdf5Tree::create_unreferred(const std::string& path,
                                     const std::function<hdf5::Id()>& create) {
    referrers(); // before anything new is there
    hdf5::Id object = create();
    refuse_referred(object, path);
    return object;
}

void Hdf5Tree::refuse_referred(const hdf5::Id& made, const std::string& path) {
    if (const hdf5::Referrer* found = hdf5::find_referrer_of_new(made, referrers())) {
        throw TreeError(fmt::format("'{}' cannot be made: {} refers to something deleted, in "
                                    "whose place it would lie (h5repack makes a copy without "
                                    "such references)",
                                    path, describe_referrer(*found)));
    }
}

// With the samples inside the old extents, the names and all else that the set has.
void Hdf5Tree::make_anew(ObjectId id, const Extents& extents, const MakeSet& make) {
    const Node& old_node = node(id);
    hdf5::refuse_shared_messages("make anew", old_node.path);
    const hdf5::Id& old_set = open_set(id, hdf5::SetUse::Whole).set;
    const hdf5::ObjectInfo old_info = hdf5::object_info(old_set);
    refuse_referrers(id, old_info.address, "made anew", cannot_be_redirected);
    const hdf5::Id properties = hdf5::set_properties(old_set);
    hdf5::Id new_set = create_unreferred(old_node.path, [&] { return make(old_set, properties); });
    hdf5::copy_floats(old_set, old_node.type, new_set, smaller_of(extents, old_node.extents),
                      old_node.path);
    copy_annotations(old_set, properties, new_set, old_node.path);
    take_place(id, old_info, new_set);
    hdf5::close_set(std::move(new_set), old_node.path);
    close_set();
}

void Hdf5Tree::make_anew_resizable(ObjectId id, const Extents& extents) {
    make_anew(id, extents, [&](const hdf5::Id& old_set, const hdf5::Id& properties) {
        return hdf5::make_anew_resizable(open_->file, old_set, properties, extents);
    });
}

bool Hdf5Tree::is_set_of_floats(ObjectId id) const {
    return node(id).kind == ObjectKind::DataSet && node(id).type == SampleType::Float32;
}

// As it is, in the newer format, which takes attributes of any length.
void Hdf5Tree::make_anew_in_newer_format(ObjectId id) {
    const Node& set = node(id);
    make_anew(id, set.extents, [&](const hdf5::Id& old_set, const hdf5::Id& properties) {
        return hdf5::make_narrow(open_->file, old_set, properties, set.type, hdf5::SetUse::Whole,
                                 set.path);
    });
}

// Opens the set as it is to be written.
bool Hdf5Tree::takes_floats(ObjectId id, hdf5::SetUse use) {
    Node& set = nodes_[static_cast<std::uint64_t>(id) - 1];
    if (!set.takes_floats) {
        set.takes_floats = set.type == SampleType::Float32 &&
                           hdf5::describe_unfit_filter(open_set(id, use).set).empty();
    }
    return *set.takes_floats;
}

// The samples of the old set are gone before the new one has any, unless they are kept: what is
// written then takes their room in the file.
void Hdf5Tree::narrow(ObjectId id, bool keeps_samples) {
    Node& set = nodes_[static_cast<std::uint64_t>(id) - 1];
    hdf5::refuse_shared_messages("make anew", set.path);
    const Extents starts(set.extents.size(), 0);
    const hdf5::SetUse use = use_of_rounded({starts, set.extents}, set.extents);
    const hdf5::Id old_set = hdf5::share(open_set(id, use).set);
    const hdf5::ObjectInfo old_info = hdf5::object_info(old_set);
    refuse_referrers(id, old_info.address, "made anew", cannot_be_redirected);
    SetRounding rounding;
    if (read_as_a_whole_.contains(id)) {
        rounding = roundings_.at(id).sum_up();
    } else if (!keeps_samples && set.type != SampleType::Float32) {
        rounding = hdf5::measure_rounding(old_set, set.type, set.extents, set.path).sum_up();
    }
    const hdf5::SetUse new_use = keeps_samples ? hdf5::SetUse::Parts : hdf5::SetUse::Whole;
    const hdf5::Id properties = hdf5::set_properties(old_set);
    hdf5::Id new_set = create_unreferred(set.path, [&] {
        return hdf5::make_narrow(open_->file, old_set, properties, set.type, new_use, set.path);
    });
    if (keeps_samples) {
        rounding = hdf5::copy_floats(old_set, set.type, new_set, set.extents, set.path).sum_up();
    }
    copy_annotations(old_set, properties, new_set, set.path);
    for (const char* mark : MARK_ATTRIBUTES) {
        narrow_mark(new_set, mark, set.path);
    }
    take_place(id, old_info, new_set);
    keep_open(id, new_use, std::move(new_set));
    narrowed_.push_back({set.path, set.type, rounding, hdf5::describe_unfit_filter(old_set)});
    set.type = SampleType::Float32;
    set.takes_floats = true;
}

// Gives a new set the names of an older one, and all that refers to it.
void Hdf5Tree::take_place(ObjectId id, const hdf5::ObjectInfo& old_info, const hdf5::Id& new_set) {
    const std::vector<std::string> paths = hard_links(node(id).path, old_info);
    const std::uint64_t address = hdf5::object_info(new_set).address;
    for (const std::string& path : paths) {
        hdf5::relink(open_->file, absolute(path), new_set);
    }
    refuse_referred(new_set, node(id).path); // regions, which lead to nothing that has no link
    redirect_references(id, old_info.address, address);
    by_address_.erase(old_info.address);
    by_address_.emplace(address, id);
    if (hard_links_) {
        hard_links_->erase(old_info.address);
        for (const std::string& path : paths) {
            hard_links_->emplace(address, path);
        }
    }
}

// What refers to the objects of the file is found while all of them are in their places, and before
// anything new is written over what was deleted.
hdf5::Referrers& Hdf5Tree::referrers() {
    if (!open_->referrers) {
        open_->referrers = hdf5::list_referrers(open_->file);
    }
    return *open_->referrers;
}

void Hdf5Tree::refuse_referrers(ObjectId id, std::uint64_t address, std::string_view change,
                                bool (*is_hindrance)(const hdf5::Referrer&)) {
    const auto& known = referrers().by_address;
    const auto unseen = known.find(HADDR_UNDEF);
    if (unseen != known.end()) {
        throw TreeError(
            fmt::format("'{}' cannot be {}: '{}' holds references in another file, which "
                        "may lead to it",
                        node(id).path, change, unseen->second.path));
    }
    const auto [first, last] = known.equal_range(address);
    const auto found = std::find_if(
        first, last, [&](const auto& referrer) { return is_hindrance(referrer.second); });
    if (found != last) {
        const hdf5::Referrer& referrer = found->second;
        throw TreeError(fmt::format("'{}' cannot be {}: {} refers to {}{}", node(id).path, change,
                                    describe_referrer(referrer),
                                    referrer.to_region ? "a part of it" : "it",
                                    referrer.by == hdf5::Referrer::By::Unlinked
                                        ? " (h5repack makes a copy without such an object, which "
                                          "may have been deleted)"
                                        : ""));
    }
}

// True where it cannot be told: a '%' stands for a number, or for itself, and a link that is not
// followed may lead into this file again.
bool Hdf5Tree::may_name(std::string_view path, ObjectId id) {
    if (path.find('%') != std::string_view::npos) {
        return true;
    }
    ObjectId at = root();
    for (const std::string& name : split_names(path)) {
        if (name == ".") {
            continue;
        }
        const auto next = node(at).kind == ObjectKind::Group ? find(at, name) : std::nullopt;
        if (!next) {
            return false;
        }
        if (is_link(node(*next).other_kind)) {
            return true;
        }
        at = *next;
    }
    return at == id;
}

// A virtual set is of the extents that it was made with, whatever becomes of those it shows.
void Hdf5Tree::refuse_shown(ObjectId id) {
    if (!open_->shown_sets) {
        open_->shown_sets = hdf5::list_shown_sets(open_->file);
    }
    for (const hdf5::ShownSet& shown : *open_->shown_sets) {
        if (may_name(shown.source, id)) {
            throw TreeError(fmt::format("'{}' cannot be resized: the virtual data set '{}' shows "
                                        "samples of '{}'",
                                        node(id).path, shown.path, shown.source));
        }
    }
}

void Hdf5Tree::redirect_references(ObjectId id, std::uint64_t from, std::uint64_t to) {
    while (const auto found = open_->referrers->by_address.extract(from)) {
        const hdf5::Referrer& referrer = found.mapped();
        if (!hdf5::redirect(open_->file, referrer, from, to)) {
            throw TreeError(
                fmt::format("'{}' cannot be made anew: the HDF5 library does not keep "
                            "the values of {}'{}', which refer to it",
                            node(id).path,
                            referrer.attribute.empty()
                                ? ""
                                : fmt::format("the attribute '{}' of ", referrer.attribute),
                            referrer.path));
        }
        open_->referrers->by_address.emplace(to, referrer);
    }
}

// The paths of all links to a set that is found at a path, perhaps by way of a soft link.
std::vector<std::string> Hdf5Tree::hard_links(const std::string& path,
                                              const hdf5::ObjectInfo& info) {
    if (info.link_count == 1 && hdf5::is_hard_link(open_->file, absolute(path))) {
        return {path};
    }
    if (!hard_links_) {
        hard_links_ = hdf5::list_hard_links(open_->file);
    }
    std::vector<std::string> paths;
    const auto [first, last] = hard_links_->equal_range(info.address);
    for (auto link = first; link != last; ++link) {
        paths.push_back(link->second);
    }
    if (paths.size() != info.link_count) {
        throw TreeError(
            fmt::format("'{}' has {} hard links, of which {} can be found: it cannot be "
                        "made anew",
                        path, info.link_count, paths.size()));
    }
    return paths;
}

} // namespace talvora::host
