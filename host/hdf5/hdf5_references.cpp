#include "host/hdf5/hdf5_references.h"

#include "host/hdf5/hdf5_attributes.h"
#include "host/hdf5/hdf5_sets.h"
#include "host/hdf5/hdf5_types.h"
#include "host/hdf5/hdf5_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <utility>
#include <vector>

namespace talvora::host::hdf5 {
namespace {

using Bytes = std::span<std::byte>; // of one reference
using Visit = std::function<void(hid_t type, Bytes reference)>;

bool holds_references(hid_t type, std::string_view path) {
    return checked(H5Tdetect_class(type, H5T_REFERENCE), "read the type of", path) > 0;
}

bool is_type(hid_t type, hid_t other) {
    return checked(H5Tequal(type, other), "compare", "types") > 0;
}

// ---------------------------------------------------------------------------
// The references in one value of any type

void visit_value(hid_t type, std::byte* value, const Visit& visit);

void visit_values(hid_t type, std::byte* values, std::size_t count, const Visit& visit) {
    const std::size_t size = type_size(type);
    for (std::size_t i = 0; i < count; ++i) {
        visit_value(type, values + i * size, visit);
    }
}

void visit_members(hid_t type, std::byte* value, const Visit& visit) {
    const auto count =
        static_cast<unsigned>(checked(H5Tget_nmembers(type), "read", "the type of a table"));
    for (unsigned member = 0; member < count; ++member) {
        const Id member_type =
            owned(H5Tget_member_type(type, member), "read", "the type of a table");
        visit_value(member_type, value + H5Tget_member_offset(type, member), visit);
    }
}

void visit_sequence(hid_t type, std::byte* value, const Visit& visit) {
    hvl_t sequence{};
    std::memcpy(&sequence, value, sizeof sequence);
    visit_values(element_type(type), static_cast<std::byte*>(sequence.p), sequence.len, visit);
}

void visit_value(hid_t type, std::byte* value, const Visit& visit) {
    switch (type_class(type)) {
    case H5T_REFERENCE:
        return visit(type, {value, type_size(type)});
    case H5T_COMPOUND:
        return visit_members(type, value, visit);
    case H5T_VLEN:
        return visit_sequence(type, value, visit);
    case H5T_ARRAY: {
        const Id element = element_type(type);
        return visit_values(element, value, type_size(type) / type_size(element), visit);
    }
    default:
        return;
    }
}

// ---------------------------------------------------------------------------
// The values of an attribute or a data set

OpenValues open_values(hid_t object, const Referrer& place) {
    return place.attribute.empty() ? open_set_values(object, place.path)
                                   : open_attribute(object, place.attribute);
}

bool hold_references(const OpenValues& values) {
    return values.count() > 0 && holds_references(values.type, values.name);
}

void visit_all(const OpenValues& source, RawValues& values, const Visit& visit) {
    visit_values(source.type, values.all().data(), values.count(), visit);
}

// ---------------------------------------------------------------------------
// Where references lead

haddr_t read_address(Bytes reference) {
    hobj_ref_t address{};
    std::memcpy(&address, reference.data(), sizeof address);
    return address;
}

bool leads_nowhere(Bytes reference) {
    return std::ranges::all_of(reference, [](std::byte byte) { return byte == std::byte{}; });
}

// Of an object of the same file as the given one. Nothing where what it referred to was deleted.
std::optional<haddr_t> find_region_owner(hid_t object, std::span<const std::byte> reference,
                                         const std::string& path) {
    const hid_t owner = H5Rdereference2(object, H5P_DEFAULT, H5R_DATASET_REGION, reference.data());
    if (owner < 0 && !system_has_failed()) {
        return std::nullopt;
    }
    return object_info(owned(owner, "follow the references of", path)).address;
}

// Empty where there is nothing, or nothing with a name.
std::string find_path(hid_t set, Bytes reference) {
    const Id object(H5Rdereference2(set, H5P_DEFAULT, H5R_OBJECT, reference.data()));
    if (object < 0) {
        return "";
    }
    const auto size = static_cast<std::size_t>(
        checked(H5Iget_name(object, nullptr, 0), "read the name of", "an object"));
    std::string path(size, '\0');
    checked(H5Iget_name(object, path.data(), size + 1), "read the name of", "an object");
    return path;
}

// The extents of a virtual set hang on the files that it is made of, which are not looked at.
bool is_set_of_known_extents(hid_t object) {
    return object_info(object).type == H5O_TYPE_DATASET && list_virtual_source_sets(object).empty();
}

// Not what was deleted.
void add_scale(hid_t set, Bytes reference, std::size_t dimension,
               std::vector<AttachedScale>& scales) {
    const std::string path = find_path(set, reference);
    if (path.empty()) {
        return;
    }
    const Id scale = open_object(set, path);
    if (is_set_of_known_extents(scale)) {
        scales.push_back({dimension, path, count_samples(space_extents(set_space(scale)))});
    }
}

// What is led to by nothing but a reference, or as the type of values, may be deleted: the library
// opens what has been, as long as nothing was written over it.
class ReferrerList {
  public:
    explicit ReferrerList(hid_t file) : file_(file) {
        visit_objects(file, [&](const std::string& path, hid_t object) {
            look_at(object, {.path = path, .attribute = {}});
        });
        while (!led_to_.empty()) {
            const auto [address, path] = *led_to_.begin();
            led_to_.erase(led_to_.begin());
            look_at_unlinked(address, path);
        }
    }

    Referrers take() { return std::move(found_); }

  private:
    void look_at(hid_t object, Referrer place) {
        const ObjectInfo info = object_info(object);
        seen_.insert(info.address);
        for (const std::string& attribute : list_attributes(object)) {
            place.attribute = attribute;
            const OpenValues values = open_values(object, place);
            follow_type(values.type, place.path);
            look_at_values(values, place);
        }
        place.attribute.clear();
        if (info.type == H5O_TYPE_DATASET) {
            look_at_set(object, place);
        }
    }

    void look_at_unlinked(haddr_t address, const std::string& path) {
        const hobj_ref_t reference = address;
        const Id object(seen_.contains(address)
                            ? H5I_INVALID_HID
                            : H5Rdereference2(file_, H5P_DEFAULT, H5R_OBJECT, &reference));
        if (object < 0) {
            return;
        }
        try {
            look_at(object, {path, "", Referrer::By::Unlinked});
            if (object_info(object).type == H5O_TYPE_GROUP) {
                for (const auto& link : list_hard_links(object)) {
                    led_to_.emplace(link.first, path);
                }
            }
        } catch (const TreeError&) { // of what was deleted, and written over
        }
    }

    void look_at_set(hid_t set, const Referrer& place) {
        const Id type = set_type(set);
        follow_type(type, place.path);
        if (!holds_references(type, place.path)) {
            return;
        }
        look_at_fill_value(set, type, place);
        if (describe_foreign_storage(set).empty()) {
            look_at_values(open_values(set, place), place);
        } else {
            found_.by_address.emplace(HADDR_UNDEF, place);
        }
    }

    void look_at_fill_value(hid_t set, hid_t type, Referrer place) {
        std::vector<std::byte> value = read_fill_value(set, type);
        if (place.by == Referrer::By::Value) {
            place.by = Referrer::By::FillValue;
        }
        Targets targets;
        if (!value.empty()) {
            visit_value(type, value.data(), finder(targets, place.path));
        }
        add(targets, place);
    }

    void look_at_values(const OpenValues& open, const Referrer& place) {
        if (!hold_references(open)) {
            return;
        }
        Targets targets;
        RawValues values(open);
        visit_all(open, values, finder(targets, place.path));
        add(targets, place);
    }

    // A type that has a place of its own in the file has attributes, too.
    void follow_type(hid_t type, const std::string& path) {
        if (checked(H5Tcommitted(type), "read the type of", path) > 0) {
            led_to_.emplace(object_info(type).address, path);
        }
    }

    struct Targets {
        std::map<haddr_t, bool> objects; // and whether it is a region of one
        std::vector<std::vector<std::byte>> lost_regions;
    };

    Visit finder(Targets& targets, const std::string& path) const {
        return [this, &targets, &path](hid_t type, Bytes reference) {
            if (leads_nowhere(reference)) {
                return;
            }
            if (is_type(type, H5T_STD_REF_OBJ)) {
                targets.objects.emplace(read_address(reference), false);
            } else if (is_type(type, H5T_STD_REF_DSETREG)) {
                add_region(targets, reference, path);
            } else {
                throw TreeError(fmt::format("'{}' holds references of an unknown kind", path));
            }
        };
    }

    void add_region(Targets& targets, Bytes reference, const std::string& path) const {
        if (const auto owner = find_region_owner(file_, reference, path)) {
            targets.objects[*owner] = true;
        } else {
            targets.lost_regions.emplace_back(reference.begin(), reference.end());
        }
    }

    void add(const Targets& targets, Referrer referrer) {
        for (const auto& reference : targets.lost_regions) {
            found_.lost_regions.push_back({reference, referrer});
        }
        for (const auto& [address, to_region] : targets.objects) {
            led_to_.emplace(address, referrer.path);
            referrer.to_region = to_region;
            found_.by_address.emplace(address, referrer);
        }
    }

    hid_t file_;
    std::set<haddr_t> seen_;
    std::map<haddr_t, std::string> led_to_; // and by what
    Referrers found_;
};

} // namespace

Referrers list_referrers(hid_t file) {
    return ReferrerList(file).take();
}

const Referrer* find_referrer_of_new(hid_t object, const Referrers& referrers) {
    const haddr_t address = object_info(object).address;
    const auto found = referrers.by_address.find(address);
    if (found != referrers.by_address.end()) {
        return &found->second;
    }
    const auto region = std::ranges::find_if(referrers.lost_regions, [&](const LostRegion& lost) {
        return find_region_owner(object, lost.reference, lost.by.path) == address;
    });
    return region == referrers.lost_regions.end() ? nullptr : &region->by;
}

std::vector<ShownSet> list_shown_sets(hid_t file) {
    std::vector<ShownSet> shown;
    visit_objects(file, [&](const std::string& path, hid_t object) {
        if (object_info(object).type == H5O_TYPE_DATASET) {
            for (std::string& source : list_virtual_source_sets(object)) {
                shown.push_back({path, std::move(source)});
            }
        }
    });
    return shown;
}

bool holds_object_references(hid_t set) {
    return is_type(set_type(set), H5T_STD_REF_OBJ);
}

std::vector<std::string> read_references(hid_t set, const std::string& path) {
    if (!holds_object_references(set)) {
        throw TreeError(fmt::format("'{}' holds no references to objects", path));
    }
    const OpenValues open = open_set_values(set, path);
    RawValues values(open);
    std::vector<std::string> paths;
    visit_all(open, values, [&](hid_t, Bytes reference) {
        paths.push_back(leads_nowhere(reference) ? "" : find_path(set, reference));
    });
    return paths;
}

std::vector<AttachedScale> list_attached_scales(hid_t set, const std::string& path) {
    if (checked(H5Aexists(set, DIMENSION_LIST.data()), "look for attributes of", path) == 0) {
        return {};
    }
    const OpenValues open = open_attribute(set, std::string(DIMENSION_LIST));
    if (!hold_references(open)) {
        return {};
    }
    std::vector<AttachedScale> scales;
    RawValues values(open);
    for (std::size_t dimension = 0; dimension < open.count(); ++dimension) {
        visit_value(open.type, values.value(dimension).data(), [&](hid_t type, Bytes reference) {
            if (is_type(type, H5T_STD_REF_OBJ) && !leads_nowhere(reference)) {
                add_scale(set, reference, dimension, scales);
            }
        });
    }
    return scales;
}

namespace {

// What the set itself tells counts.
void add_scaled(hid_t scale, const std::string& path, std::vector<ScaledSet>& scaled) {
    const Id set = open_object(scale, path);
    if (!is_set_of_known_extents(set)) {
        return;
    }
    const Extents extents = space_extents(set_space(set));
    for (const AttachedScale& attached : list_attached_scales(set, path)) {
        const bool is_this =
            object_info(open_object(scale, attached.path)).address == object_info(scale).address;
        if (is_this && attached.dimension < extents.size()) {
            scaled.push_back({path, attached.dimension, extents[attached.dimension]});
        }
    }
}

} // namespace

std::vector<ScaledSet> list_scaled_sets(hid_t scale,
                                        const std::multimap<haddr_t, Referrer>& referrers) {
    std::set<std::string> paths;
    const auto [first, last] = referrers.equal_range(object_info(scale).address);
    for (auto referrer = first; referrer != last; ++referrer) {
        const Referrer& place = referrer->second;
        if (place.attribute == DIMENSION_LIST && place.by == Referrer::By::Value) {
            paths.insert(place.path);
        }
    }
    std::vector<ScaledSet> scaled;
    for (const std::string& path : paths) {
        add_scaled(scale, path, scaled);
    }
    return scaled;
}

bool redirect(hid_t file, const Referrer& referrer, haddr_t from, haddr_t to) {
    const Id object = open_object(file, referrer.path);
    const OpenValues open = open_values(object, referrer);
    RawValues values(open);
    const hobj_ref_t address = to;
    visit_all(open, values, [&](hid_t type, Bytes reference) {
        if (is_type(type, H5T_STD_REF_OBJ) && read_address(reference) == from) {
            std::memcpy(reference.data(), &address, sizeof address);
        }
    });
    values.write_to(open);
    return values.are_those_of(open);
}

} // namespace talvora::host::hdf5
