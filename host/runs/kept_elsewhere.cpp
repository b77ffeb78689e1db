#include "host/runs/kept_elsewhere.h"

#include "host/system/folder_of.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <system_error>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

bool is_same(const fs::path& a, const fs::path& b) {
    std::error_code ignored;
    return fs::equivalent(a, b, ignored);
}

bool is_there(const fs::path& file) {
    std::error_code ignored;
    return fs::exists(file, ignored);
}

bool is_elsewhere(const KeptElsewhere& kept) {
    return kept.file != "."; // the file itself, where a set shows parts of others
}

} // namespace

void refuse_to_replace_kept_elsewhere(const Hdf5Tree& input, const Way& way) {
    if (!is_there(way.to) || is_same(way.from, way.to)) {
        return;
    }
    for (const KeptElsewhere& kept : input.list_kept_elsewhere()) {
        // Beside the file, or, as raw samples are found, where the command was called.
        if (is_elsewhere(kept) &&
            (is_same(folder_of(way.from) / kept.file, way.to) || is_same(kept.file, way.to))) {
            throw Failure(ExitCode::Usage,
                          fmt::format("{}: '{}' of {} leads to this file, which the result would "
                                      "replace",
                                      way.to.string(), kept.path, way.from.string()),
                          {"give another output"});
        }
    }
}

std::vector<std::string> describe_lost_sight(const Hdf5Tree& tree, const Way& way) {
    const fs::path from = folder_of(way.from);
    const fs::path to = folder_of(way.to);
    std::vector<std::string> told;
    if (is_same(from, to)) {
        return told;
    }
    for (const KeptElsewhere& kept : tree.list_kept_elsewhere()) {
        if (is_elsewhere(kept) && is_there(from / kept.file) &&
            !is_same(from / kept.file, to / kept.file)) {
            told.push_back(
                fmt::format("{}: '{}' leads to the file '{}', which is not found from there",
                            way.to.string(), kept.path, kept.file));
        }
    }
    return told;
}

} // namespace talvora::host
