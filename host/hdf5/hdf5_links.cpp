#include "host/hdf5/hdf5_links.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host::hdf5 {

namespace {

herr_t refuse_external_link(const char*, const char*, const char*, const char*, unsigned*, hid_t,
                            void*) {
    return -1;
}

Id link_access() {
    Id properties = make_properties(H5P_LINK_ACCESS);
    checked(H5Pset_elink_cb(properties, refuse_external_link, nullptr), "set",
            "how to follow links");
    return properties;
}

herr_t append_name(hid_t, const char* name, const H5L_info_t*, void* names) {
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
    return 0;
}

H5L_info_t link_info(hid_t group, const std::string& name) {
    H5L_info_t info{};
    checked(H5Lget_info(group, name.c_str(), &info, H5P_DEFAULT), "read the link", name);
    return info;
}

} // namespace

bool link_exists(hid_t group, const std::string& name) {
    return checked(H5Lexists(group, name.c_str(), H5P_DEFAULT), "look for", name) > 0;
}

std::string describe_link(hid_t group, const std::string& name) {
    const H5L_info_t info = link_info(group, name);
    if (info.type == H5L_TYPE_HARD) {
        return "an object that cannot be read";
    }
    std::vector<char> value(info.u.val_size + 1);
    checked(H5Lget_val(group, name.c_str(), value.data(), info.u.val_size, H5P_DEFAULT),
            "read the link", name);
    if (info.type == H5L_TYPE_SOFT) {
        return fmt::format("link to '{}', where no object can be opened", value.data());
    }
    const char* file = nullptr;
    const char* path = nullptr;
    if (info.type != H5L_TYPE_EXTERNAL ||
        H5Lunpack_elink_val(value.data(), info.u.val_size, nullptr, &file, &path) < 0) {
        return "link of an unknown type";
    }
    return fmt::format("link to '{}' in the file '{}'", path, file);
}

std::vector<std::string> list_links(hid_t group) {
    std::vector<std::string> names;
    hsize_t position = 0;
    checked(H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, &position, append_name, &names), "list",
            "a group");
    std::ranges::sort(names);
    return names;
}

void delete_link(hid_t group, const std::string& name) {
    checked(H5Ldelete(group, name.c_str(), H5P_DEFAULT), "delete", name);
}

void rename_link(hid_t group, const std::string& from, const std::string& to) {
    checked(H5Lmove(group, from.c_str(), group, to.c_str(), naming_properties(H5P_LINK_CREATE),
                    H5P_DEFAULT),
            "rename", from);
}

Id open_object(hid_t group, const std::string& path) {
    return owned(H5Oopen(group, path.c_str(), link_access()), "open", path);
}

ObjectInfo object_info(hid_t object) {
    H5O_info_t info{};
    checked(H5Oget_info2(object, &info, H5O_INFO_BASIC), "read", "an object");
    return {info.type, info.addr, info.rc};
}

Id create_group(hid_t group, const std::string& name) {
    return owned(H5Gcreate2(group, name.c_str(), naming_properties(H5P_LINK_CREATE),
                            creation_properties(H5P_GROUP_CREATE), H5P_DEFAULT),
                 "create the group", name);
}

} // namespace talvora::host::hdf5
