#include "host/hdf5/hdf5_links.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvora::host::hdf5 {

namespace {

herr_t refuse_external_link(const char*, const char*, const char*, const char*, unsigned*, hid_t,
                            void*) {
    return -1;
}

Id make_link_access() {
    Id properties = make_properties(H5P_LINK_ACCESS);
    checked(H5Pset_elink_cb(properties, refuse_external_link, nullptr), "set",
            "how to follow links");
    return properties;
}

hid_t link_access() {
    static const hid_t properties = make_link_access().release();
    return properties;
}

herr_t append_name(hid_t, const char* name, const H5L_info_t*, void* names) {
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
    return 0;
}

herr_t append_hard_link(hid_t, const char* path, const H5L_info_t* info, void* links) {
    if (info->type == H5L_TYPE_HARD) {
        static_cast<std::multimap<haddr_t, std::string>*>(links)->emplace(info->u.address, path);
    }
    return 0;
}

herr_t append_external_link(hid_t, const char* path, const H5L_info_t* info, void* paths) {
    if (info->type == H5L_TYPE_EXTERNAL) {
        static_cast<std::vector<std::string>*>(paths)->emplace_back(path);
    }
    return 0;
}

H5L_info_t link_info(hid_t group, const std::string& name) {
    H5L_info_t info{};
    checked(H5Lget_info(group, name.c_str(), &info, H5P_DEFAULT), "read the link", name);
    return info;
}

std::vector<char> link_value(hid_t group, const std::string& name, const H5L_info_t& info) {
    std::vector<char> value(info.u.val_size + 1);
    checked(H5Lget_val(group, name.c_str(), value.data(), info.u.val_size, H5P_DEFAULT),
            "read the link", name);
    return value;
}

std::string soft_target(hid_t group, const std::string& name, const H5L_info_t& info) {
    return link_value(group, name, info).data();
}

struct ExternalTarget {
    std::string file;
    std::string path;
};

ExternalTarget external_target(hid_t group, const std::string& name, const H5L_info_t& info) {
    const std::vector<char> value = link_value(group, name, info);
    const char* file = nullptr;
    const char* path = nullptr;
    checked(H5Lunpack_elink_val(value.data(), info.u.val_size, nullptr, &file, &path),
            "read the link", name);
    return {file, path};
}

std::string describe_external_link(hid_t group, const std::string& name, const H5L_info_t& info) {
    const auto [file, path] = external_target(group, name, info);
    return fmt::format("link to '{}' in the file '{}'", path, file);
}

// Links that lead to each other would be followed for ever.
constexpr int MAX_LINKS_IN_A_ROW = 16;

bool leads_nowhere(hid_t group, const std::string& path, int links_before);

// One step of a path, from a group; nothing where the step leads nowhere.
std::optional<Id> follow(hid_t group, const std::string& name, int links_before) {
    if (object_info(group).type != H5O_TYPE_GROUP || !link_exists(group, name)) {
        return std::nullopt;
    }
    const H5L_info_t info = link_info(group, name);
    const bool is_followed =
        info.type == H5L_TYPE_HARD ||
        (info.type == H5L_TYPE_SOFT && links_before < MAX_LINKS_IN_A_ROW &&
         !leads_nowhere(group, soft_target(group, name, info), links_before + 1));
    return is_followed ? std::optional(open_object(group, name)) : std::nullopt;
}

// The names of a path as the library reads it: repeated slashes and single dots do not count.
std::vector<std::string> names_on(const std::string& path) {
    std::vector<std::string> names;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        names.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    std::erase_if(names, [](const std::string& name) { return name.empty() || name == "."; });
    return names;
}

bool leads_nowhere(hid_t group, const std::string& path, int links_before) {
    Id at = open_object(group, path.starts_with('/') ? "/" : ".");
    for (const std::string& name : names_on(path)) {
        std::optional<Id> next = follow(at, name, links_before);
        if (!next) {
            return true;
        }
        at = std::move(*next);
    }
    return false;
}

} // namespace

bool link_exists(hid_t group, const std::string& name) {
    return checked(H5Lexists(group, name.c_str(), H5P_DEFAULT), "look for", name) > 0;
}

bool is_hard_link(hid_t group, const std::string& name) {
    return link_info(group, name).type == H5L_TYPE_HARD;
}

std::optional<UnfollowedLink> find_unfollowed_link(hid_t group, const std::string& name) {
    const H5L_info_t info = link_info(group, name);
    switch (info.type) {
    case H5L_TYPE_HARD:
        return std::nullopt;
    case H5L_TYPE_SOFT: {
        const std::string target = soft_target(group, name, info);
        if (!leads_nowhere(group, target, 0)) {
            return std::nullopt;
        }
        return UnfollowedLink{OtherKind::BlindLink,
                              fmt::format("link to '{}', where no object can be opened", target)};
    }
    case H5L_TYPE_EXTERNAL:
        return UnfollowedLink{OtherKind::LinkToFile, describe_external_link(group, name, info)};
    default:
        return UnfollowedLink{OtherKind::BlindLink, "link of an unknown type"};
    }
}

std::vector<std::string> list_links(hid_t group) {
    std::vector<std::string> names;
    hsize_t position = 0;
    checked(H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, &position, append_name, &names), "list",
            "a group");
    std::ranges::sort(names);
    return names;
}

std::multimap<haddr_t, std::string> list_hard_links(hid_t file) {
    std::multimap<haddr_t, std::string> links;
    checked(H5Lvisit(file, H5_INDEX_NAME, H5_ITER_INC, append_hard_link, &links), "list",
            "the links of the file");
    return links;
}

void visit_objects(hid_t file,
                   const std::function<void(const std::string& path, hid_t object)>& call) {
    const Id root = open_object(file, "/");
    call("/", root);
    auto links = list_hard_links(file);
    links.erase(object_info(root).address);
    for (auto link = links.begin(); link != links.end(); link = links.upper_bound(link->first)) {
        const std::string path = "/" + link->second;
        call(path, open_object(file, path));
    }
}

std::vector<std::pair<std::string, std::string>> list_external_links(hid_t file) {
    std::vector<std::string> paths;
    checked(H5Lvisit(file, H5_INDEX_NAME, H5_ITER_NATIVE, append_external_link, &paths), "list",
            "links");
    std::vector<std::pair<std::string, std::string>> links;
    links.reserve(paths.size());
    for (const std::string& path : paths) {
        links.emplace_back(path, external_target(file, path, link_info(file, path)).file);
    }
    return links;
}

void relink(hid_t group, const std::string& name, hid_t object) {
    const Id naming = make_properties(H5P_LINK_CREATE);
    checked(H5Pset_char_encoding(naming, link_info(group, name).cset), "set",
            "the encoding of names");
    checked(H5Ldelete(group, name.c_str(), H5P_DEFAULT), "delete", name);
    checked(H5Olink(object, group, name.c_str(), naming, H5P_DEFAULT), "link", name);
}

Id open_object(hid_t group, const std::string& path) {
    return owned(H5Oopen(group, path.c_str(), link_access()), "open", path);
}

ObjectInfo object_info(hid_t object) {
    H5O_info_t info{};
    checked(H5Oget_info2(object, &info, H5O_INFO_BASIC), "read", "an object");
    return {info.type, info.addr, info.rc};
}

void copy_comment(hid_t from, hid_t to) {
    constexpr std::string_view WHAT = "the comment of an object";
    const auto size =
        static_cast<std::size_t>(checked(H5Oget_comment(from, nullptr, 0), "read", WHAT));
    if (size == 0) {
        return;
    }
    std::string comment(size, '\0');
    checked(H5Oget_comment(from, comment.data(), size + 1), "read", WHAT);
    checked(H5Oset_comment(to, comment.c_str()), "write", WHAT);
}

// Where the group keeps the order in which its members were made, so does the new one: netCDF
// writes to no file of which some groups do not.
Id create_group(hid_t group, const std::string& name) {
    const Id of_group = owned(H5Gget_create_plist(group), "read", "the properties of a group");
    unsigned order = 0;
    checked(H5Pget_link_creation_order(of_group, &order), "read", "the order of links");
    const Id properties = creation_properties(H5P_GROUP_CREATE);
    checked(H5Pset_link_creation_order(properties, order), "set", "the order of links");
    return owned(H5Gcreate2(group, name.c_str(), link_naming(), properties, H5P_DEFAULT),
                 "create the group", name);
}

} // namespace talvora::host::hdf5
