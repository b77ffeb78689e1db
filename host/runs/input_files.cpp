#include "host/runs/input_files.h"

#include "host/text/failure.h"
#include "host/text/quote_word.h"

#include <fmt/format.h>

#include <system_error>
#include <vector>

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

void refuse_change(const fs::path& input, bool has_changed) {
    if (has_changed) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: was changed while it was read", input.string()));
    }
}

UnchangedInput::UnchangedInput(const fs::path& file) : file_(file), before_(find_identity(file)) {}

void UnchangedInput::check() const {
    refuse_change(file_, find_identity(file_) != before_);
}

} // namespace talvora::host
