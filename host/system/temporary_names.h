// Names of temporary files and folders that tell whose they are, so that what a killed
// process left behind can be told from what is in use.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace talvora::host {

constexpr std::string_view TEMPORARY_SUFFIX = ".talvora-tmp";

// .STEM.HOST.PID.XXXXXX.talvora-tmp, of this process. The machine stands in the name because
// a folder may be shared by several, each with processes of its own. `random`: the six letters
// that make it the only one. A long stem is cut.
std::string make_temporary_name(const std::string& stem, std::string_view random);

// Removes what dead processes of this machine left in the folder, as far as that is possible.
void sweep_dead_files(const std::filesystem::path& folder);

} // namespace talvora::host
