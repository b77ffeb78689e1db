#include "host/validate/work_folder.h"

#include "host/system/temporary_names.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <cstdlib>
#include <system_error>

namespace talvora::host {

namespace {

namespace fs = std::filesystem;

// The place for temporary files, and who says so: the first of the variables that is set.
struct TemporaryPlace {
    std::string variable = "temporary files";
    fs::path folder = "/tmp";
};

TemporaryPlace temporary_place() {
    for (const char* variable : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
        if (const char* folder = std::getenv(variable)) {
            return {variable, folder};
        }
    }
    return {};
}

[[noreturn]] void refuse() {
    const TemporaryPlace place = temporary_place();
    throw Failure(ExitCode::Output, fmt::format("{}: no folder for temporary files at '{}' "
                                                "(allowed: a folder that can be written)",
                                                place.variable, place.folder.string()));
}

} // namespace

WorkFolder::WorkFolder() {
    std::error_code error;
    const fs::path place = fs::temp_directory_path(error);
    if (error) {
        refuse();
    }
    sweep_dead_files(place);
    for (int i = 0; path_.empty() && !error; ++i) {
        const auto path = place / make_temporary_name("talvora-validate", fmt::format("{:06}", i));
        if (fs::create_directory(path, error)) {
            path_ = path;
        }
    }
    if (error) {
        refuse();
    }
}

WorkFolder::~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace talvora::host
