#include "host/cli/output_files.h"

#include "host/system/safe_write.h"
#include "host/text/failure.h"
#include "host/tree/group_walk.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <system_error>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

} // namespace

std::unique_ptr<Hdf5Tree> create_over(const fs::path& temporary) {
    fs::remove(temporary);
    return std::make_unique<Hdf5Tree>(temporary, Hdf5Access::Create);
}

void copy_content(const fs::path& from, const fs::path& temporary) {
    fs::copy_file(from, temporary, fs::copy_options::overwrite_existing);
    // The copy has taken over the mode of a file that may be read-only.
    fs::permissions(temporary, fs::perms::owner_read | fs::perms::owner_write);
}

void check_written(const fs::path& temporary) {
    Hdf5Tree tree(temporary, Hdf5Access::ReadOnly);
    walk_groups(tree, tree.root(), [&](ObjectId group) {
        for (const std::string& name : tree.list_datasets(group)) {
            tree.extents(tree.find(group, name).value());
        }
    });
}

void write_text_file(const std::string& output, bool replace,
                     const std::function<void(const TextSink&)>& work) {
    if (output == "-") {
        // What goes wrong is found when the program has ended its work (finish_standard_output).
        work([](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); });
        return;
    }
    PendingFile pending(output, {.replace = replace});
    std::ofstream stream(pending.path(), std::ios::binary);
    work([&](std::string_view text) { stream << text; });
    if (!stream.flush()) {
        throw Failure(ExitCode::Output,
                      output + ": cannot be written: " + std::generic_category().message(errno));
    }
    pending.publish();
}

} // namespace talvora::host
