#include "host/cli/files.h"

#include "host/system/safe_write.h"
#include "host/tree/group_walk.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <system_error>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> hint_at_table(const fs::path& file) {
    std::error_code ignored;
    if (file.extension() != ".csv" || !fs::is_regular_file(file, ignored)) {
        return {};
    }
    return {fmt::format("is it a table?  talvora-host import {} -o {}", quote_word(file.string()),
                        quote_word(fs::path(file).replace_extension(".h5").string()))};
}

} // namespace

TreePlace parse_tree_place(std::string_view word) {
    std::error_code ignored;
    const std::size_t mark = word.rfind("::");
    if (mark == std::string_view::npos || fs::exists(word, ignored)) {
        return {word, {}};
    }
    return {word.substr(0, mark), std::string(word.substr(mark + 2))};
}

std::unique_ptr<Hdf5Tree> open_input(const fs::path& file) {
    try {
        return std::make_unique<Hdf5Tree>(file, Hdf5Access::ReadOnly);
    } catch (const TreeError& error) {
        throw Failure(ExitCode::Input, error.what(), hint_at_table(file));
    }
}

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
        // What goes wrong is found when the program has ended its work (Console::finish).
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
