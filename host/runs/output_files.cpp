#include "host/runs/output_files.h"

#include "host/system/file_identity.h"
#include "host/tree/group_walk.h"

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

std::optional<std::uint64_t> find_number(const fs::path& file) {
    const auto identity = find_identity(file);
    return identity ? std::optional(identity->number) : std::nullopt;
}

} // namespace

OutputBefore::OutputBefore(const fs::path& output)
    : output_(output), number_(find_number(output)) {}

bool OutputBefore::is_replaced() const {
    const auto number = find_number(output_);
    return number && number != number_;
}

void check_written(const fs::path& temporary, std::span<const WrittenSet> written) {
    Hdf5Tree tree(temporary, Hdf5Access::ReadOnly);
    walk_groups(tree, tree.root(), [&](ObjectId group) {
        for (const std::string& name : tree.list_datasets(group)) {
            tree.extents(tree.find(group, name).value());
        }
    });
    compare_written(tree, written);
}

} // namespace talvora::host
