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

// Of an array, or of a sequence of any length.
Id element_type(hid_t type) {
    return owned(H5Tget_super(type), "read", "the type of a sequence");
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

// As they are in the file. Never without room, so that there is always a place to read to.
class ReadValues {
  public:
    explicit ReadValues(const OpenValues& source)
        : source_(source),
          bytes_(std::max<std::size_t>(source.count(), 1) * type_size(source.type)),
          reclaim_(source, bytes_.data()) {
        source.read(source.type, bytes_.data());
    }

    void visit(const Visit& visit) {
        visit_values(source_.type, bytes_.data(), source_.count(), visit);
    }
    void write() const { source_.write(source_.type, bytes_.data()); }

  private:
    const OpenValues& source_;
    std::vector<std::byte> bytes_;
    Reclaim reclaim_;
};

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

class ReferrerList {
  public:
    explicit ReferrerList(hid_t file) : file_(file) {}

    void look_at(const std::string& path, hid_t object) {
        for (const std::string& attribute : list_attributes(object)) {
            add(object, {path, attribute});
        }
        if (object_info(object).type == H5O_TYPE_DATASET &&
            describe_foreign_storage(object).empty()) {
            add(object, {path, ""});
        }
    }

    std::multimap<haddr_t, Referrer> take() { return std::move(found_); }

  private:
    void add(hid_t object, Referrer referrer) {
        const OpenValues open = open_values(object, referrer);
        if (!hold_references(open)) {
            return;
        }
        ReadValues values(open);
        std::map<haddr_t, bool> targets; // and whether it is a region of one
        values.visit([&](hid_t type, Bytes reference) {
            if (leads_nowhere(reference)) {
                return;
            }
            if (is_type(type, H5T_STD_REF_OBJ)) {
                targets.emplace(read_address(reference), false);
            } else if (is_type(type, H5T_STD_REF_DSETREG)) {
                if (const auto owner = find_region_owner(reference, referrer.path)) {
                    targets[*owner] = true;
                }
            } else {
                throw TreeError(
                    fmt::format("'{}' holds references of an unknown kind", referrer.path));
            }
        });
        for (const auto& [address, to_region] : targets) {
            referrer.to_region = to_region;
            found_.emplace(address, referrer);
        }
    }

    // Nothing where what it referred to was deleted.
    std::optional<haddr_t> find_region_owner(Bytes reference, const std::string& path) const {
        const hid_t owner =
            H5Rdereference2(file_, H5P_DEFAULT, H5R_DATASET_REGION, reference.data());
        if (owner < 0 && !system_has_failed()) {
            return std::nullopt;
        }
        return object_info(owned(owner, "follow the references of", path)).address;
    }

    hid_t file_;
    std::multimap<haddr_t, Referrer> found_;
};

} // namespace

std::multimap<haddr_t, Referrer> list_referrers(hid_t file) {
    ReferrerList list(file);
    visit_objects(file, [&](const std::string& path, hid_t object) { list.look_at(path, object); });
    return list.take();
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
    ReadValues values(open);
    std::vector<std::string> paths;
    values.visit([&](hid_t, Bytes reference) {
        paths.push_back(leads_nowhere(reference) ? "" : find_path(set, reference));
    });
    return paths;
}

void redirect(hid_t file, const Referrer& referrer, haddr_t from, haddr_t to) {
    const Id object = open_object(file, referrer.path);
    const OpenValues open = open_values(object, referrer);
    ReadValues values(open);
    const hobj_ref_t address = to;
    values.visit([&](hid_t type, Bytes reference) {
        if (is_type(type, H5T_STD_REF_OBJ) && read_address(reference) == from) {
            std::memcpy(reference.data(), &address, sizeof address);
        }
    });
    values.write();
}

} // namespace talvora::host::hdf5
