#include "host/system/file_rights.h"

#include "host/system/pending_cleanup.h"
#include "host/text/failure.h"

#include <acl/libacl.h>
#include <attr/error_context.h>
#include <attr/libattr.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <string_view>
#include <sys/acl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <system_error>
#include <type_traits>
#include <unistd.h>
#include <utility>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

constexpr mode_t OWNER_BITS = 0700;
constexpr mode_t OTHERS_BITS = 0077;
constexpr mode_t EVERYBODY = OWNER_BITS | OTHERS_BITS;
constexpr mode_t ALL_SPECIAL_BITS = S_ISUID | S_ISGID | S_ISVTX;
constexpr mode_t EVERYTHING = 07;

[[noreturn]] void refuse_mode(const fs::path& file, std::string_view what) {
    throw Failure(ExitCode::Output, fmt::format("{}: its mode cannot be {}: {}", file.string(),
                                                what, std::generic_category().message(errno)));
}

void set_mode(const fs::path& file, mode_t mode) {
    if (chmod(name_to_open(file).c_str(), mode) != 0) {
        refuse_mode(file, "set");
    }
}

struct stat status_of(const fs::path& file) {
    struct stat status {};
    if (stat(name_to_open(file).c_str(), &status) != 0) {
        refuse_mode(file, "read");
    }
    return status;
}

mode_t creation_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

using AccessList = std::unique_ptr<std::remove_pointer_t<acl_t>, decltype(&acl_free)>;

// Else the folder's default list would open the file to whom that one names.
void set_mode_alone(const fs::path& file, mode_t mode) {
    const AccessList list(acl_from_mode(mode), acl_free);
    if (acl_set_file(name_to_open(file).c_str(), ACL_TYPE_ACCESS, list.get()) != 0 &&
        errno != ENOTSUP && errno != ENOSYS) {
        refuse_mode(file, "set");
    }
    set_mode(file, mode);
}

mode_t rights_of(acl_entry_t entry) {
    acl_permset_t rights{};
    if (acl_get_permset(entry, &rights) != 0) {
        return 0;
    }
    return (acl_get_perm(rights, ACL_READ) == 1 ? 04U : 0U) |
           (acl_get_perm(rights, ACL_WRITE) == 1 ? 02U : 0U) |
           (acl_get_perm(rights, ACL_EXECUTE) == 1 ? 01U : 0U);
}

// Three bits each, as in a mode.
struct Rights {
    mode_t group = 0;
    mode_t others = 0;
    mode_t named = EVERYTHING; // what everybody has whom the access list names
};

// With an access list, the group's place in the mode holds the most that anybody named in the
// list has; what the group itself has stands in the list.
Rights rights_of(const fs::path& file, mode_t mode) {
    Rights rights{.group = (mode >> 3U) & EVERYTHING, .others = mode & EVERYTHING};
    const mode_t most = rights.group;
    const AccessList list(acl_get_file(file.c_str(), ACL_TYPE_ACCESS), acl_free);
    acl_entry_t entry{};
    for (int which = ACL_FIRST_ENTRY;
         list != nullptr && acl_get_entry(list.get(), which, &entry) == 1; which = ACL_NEXT_ENTRY) {
        acl_tag_t tag{};
        acl_get_tag_type(entry, &tag);
        if (tag == ACL_GROUP_OBJ) {
            rights.group = most & rights_of(entry);
        } else if (tag == ACL_USER || tag == ACL_GROUP) {
            rights.named &= most & rights_of(entry);
        }
    }
    return rights;
}

// The most of a mode that opens the source to nobody when a file of that group has it. Whoever
// the source's access list names is among the group or the others there; so are the members of
// the source's own group where the file has another one.
mode_t as_mode_in_group(const fs::path& source, gid_t group) {
    const struct stat status = status_of(source);
    const Rights rights = rights_of(source, status.st_mode);
    const bool same_group = status.st_gid == group;
    const mode_t others = rights.others & rights.named & (same_group ? EVERYTHING : rights.group);
    const mode_t for_group = same_group ? rights.group & rights.named : others;
    return for_group << 3U | others;
}

// Of everybody but the owners.
bool have_same_rights(const fs::path& one, const fs::path& other) {
    const auto list_of = [](const fs::path& file) {
        return AccessList(acl_get_file(file.c_str(), ACL_TYPE_ACCESS), acl_free);
    };
    const struct stat status = status_of(one);
    const struct stat other_status = status_of(other);
    const AccessList list = list_of(one);
    const AccessList other_list = list_of(other);
    return status.st_gid == other_status.st_gid &&
           (status.st_mode & OTHERS_BITS) == (other_status.st_mode & OTHERS_BITS) &&
           (list == other_list || acl_cmp(list.get(), other_list.get()) == 0);
}

// True when the file gives nobody but its owner more than the mode does. Whoever its access list
// names may be among the others there.
bool stays_within(const fs::path& file, mode_t mode) {
    const mode_t others = mode & EVERYTHING;
    const mode_t group = mode >> 3U & (acl_extended_file(file.c_str()) > 0 ? others : EVERYTHING);
    return (status_of(file).st_mode & OTHERS_BITS & ~(group << 3U | others)) == 0;
}

// What the libraries cannot copy is told by the result; nothing is printed.
void say_nothing(error_context*, const char*, ...) {}
const char* quote_nothing(error_context*, const char* text) {
    return text;
}
void free_nothing(error_context*, const char*) {}

error_context silence() {
    return {say_nothing, quote_nothing, free_nothing};
}

// The access list has a function of its own; some attributes belong to the system.
int is_to_be_copied(const char* name, error_context* context) {
    return !std::string_view(name).starts_with("system.posix_acl_") &&
           attr_copy_action(name, context) != ATTR_ACTION_SKIP;
}

// By descriptors, as the library changes no file that a link leads to. Who may not read a file may
// not read its attributes.
bool copy_attributes(const fs::path& like, const fs::path& file) {
    const auto open_to_read = [](const std::string& name) {
        return open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    };
    const int from = open_to_read(like.string());
    const int to = open_to_read(name_to_open(file));
    error_context quiet = silence();
    const bool copied = from < 0 || to < 0 ? listxattr(like.c_str(), nullptr, 0) <= 0
                                           : attr_copy_fd(like.c_str(), from, file.c_str(), to,
                                                          is_to_be_copied, &quiet) == 0;
    for (const int opened : {from, to}) {
        if (opened >= 0) {
            close(opened);
        }
    }
    return copied;
}

// The bits of a mode beside those of reading, writing and executing.
constexpr std::pair<mode_t, const char*> SPECIAL_BITS[] = {
    {S_ISUID, "its setuid bit"}, {S_ISGID, "its setgid bit"}, {S_ISVTX, "its sticky bit"}};

// A file that runs as its owner, or as its group, does so with what these made of it: not with
// another file's content.
mode_t find_kept_bits(const fs::path& like, std::span<const fs::path> sources,
                      const fs::path& file) {
    const struct stat before = status_of(like);
    const struct stat after = status_of(file);
    mode_t kept = S_ISVTX;
    std::error_code ignored;
    if (std::ranges::all_of(sources, [&](const fs::path& source) {
            return fs::equivalent(source, like, ignored);
        })) {
        kept |= before.st_uid == after.st_uid ? S_ISUID : 0U;
        kept |= before.st_gid == after.st_gid ? S_ISGID : 0U;
    }
    return before.st_mode & kept;
}

std::vector<std::string> copy_special_bits(const fs::path& like, std::span<const fs::path> sources,
                                           const fs::path& file) {
    const mode_t mode = status_of(file).st_mode & EVERYBODY;
    const mode_t wanted = mode | find_kept_bits(like, sources, file);
    if (wanted != (status_of(file).st_mode & (EVERYBODY | ALL_SPECIAL_BITS))) {
        set_mode(file, wanted);
    }
    std::vector<std::string> lost;
    const mode_t missing = status_of(like).st_mode & ~status_of(file).st_mode;
    for (const auto& [bit, name] : SPECIAL_BITS) {
        if ((missing & bit) != 0) {
            lost.emplace_back(name);
        }
    }
    return lost;
}

std::string name_rights(mode_t rights) {
    std::string names;
    for (const auto& [right, name] : {std::pair{04U, "read"}, {02U, "write"}, {01U, "execute"}}) {
        if ((rights & right) != 0) {
            names += names.empty() ? "" : " and ";
            names += name;
        }
    }
    return names;
}

// With a group that could not be kept.
void add_lost_rights(std::vector<std::string>& lost, const Rights& before, mode_t mode) {
    if (const mode_t of_group = before.group & ~(mode >> 3U); of_group != 0) {
        lost.push_back(fmt::format("its group's right to {}", name_rights(of_group)));
    }
    if (const mode_t of_others = before.others & ~mode; of_others != 0) {
        lost.push_back(fmt::format("others' right to {}", name_rights(of_others)));
    }
}

// The mode and access list of `like`, or else a mode without a list that gives nobody more than
// `like` and the sources do.
std::vector<std::string> copy_mode(const fs::path& like, std::span<const fs::path> sources,
                                   const fs::path& file) {
    const struct stat status = status_of(like);
    const gid_t group = status_of(file).st_gid;
    mode_t most = EVERYBODY;
    for (const fs::path& source : sources) {
        if (!have_same_rights(source, like)) {
            most &= OWNER_BITS | as_mode_in_group(source, group);
        }
    }
    std::vector<std::string> lost;
    if (group != status.st_gid) {
        lost.emplace_back("its group");
    }
    if (!stays_within(like, most)) {
        lost.emplace_back("rights of some to whom its input is shut");
    }
    error_context quiet = silence();
    if (lost.empty() && perm_copy_file(like.c_str(), name_to_open(file).c_str(), &quiet) != 0) {
        lost.emplace_back("its access list");
    }
    if (!lost.empty()) {
        const mode_t mode = status.st_mode & most & (OWNER_BITS | as_mode_in_group(like, group));
        set_mode_alone(file, mode);
        if (group != status.st_gid) {
            add_lost_rights(lost, rights_of(like, status.st_mode), mode);
        }
    }
    return lost;
}

} // namespace

std::vector<std::string> copy_rights(const fs::path& like, std::span<const fs::path> sources,
                                     const fs::path& file) {
    std::vector<std::string> lost;
    const struct stat status = status_of(like);
    const std::string name = name_to_open(file);
    if (chown(name.c_str(), status.st_uid, static_cast<gid_t>(-1)) != 0) {
        lost.emplace_back("its owner");
    }
    // Whether it could be kept shows in the file.
    [[maybe_unused]] const int kept = chown(name.c_str(), static_cast<uid_t>(-1), status.st_gid);
    std::ranges::move(copy_mode(like, sources, file), std::back_inserter(lost));
    std::ranges::move(copy_special_bits(like, sources, file), std::back_inserter(lost));
    if (!copy_attributes(like, file)) {
        lost.emplace_back("some of its extended attributes");
    }
    return lost;
}

void restrict_rights(std::span<const fs::path> sources, const fs::path& file) {
    mode_t mode = creation_mode();
    if (sources.empty()) {
        set_mode(file, mode);
        return;
    }
    for (const fs::path& source : sources) {
        mode &= OWNER_BITS | as_mode_in_group(source, status_of(file).st_gid);
    }
    set_mode_alone(file, mode);
}

} // namespace talvora::host
