// Who may read and write a file: owner, group, mode, access list. What is made anew never opens
// to anybody what was shut before.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// Gives the file `like`'s owner, group, mode, access list and extended attributes, as far as that
// is possible; where group or access list cannot be kept, it gets no more than everybody has who
// may be meant by them. Nor does it open to anybody but its owner to whom one of the `sources` is
// shut: where `like`'s rights would, it gets a mode that gives what both give. Setuid and setgid
// bit stay where the sources are `like` itself, and the owner or the group is the same. Returns
// what was not kept, a piece of a sentence each ("its owner"). Throws a Failure of the output when
// the mode cannot be set.
std::vector<std::string> copy_rights(const std::filesystem::path& like,
                                     std::span<const std::filesystem::path> sources,
                                     const std::filesystem::path& file);

// Gives the file the mode that the process gives new files, less what one of the `sources`
// withholds from anybody but its owner. Throws a Failure of the output when it cannot be
// set.
void restrict_rights(std::span<const std::filesystem::path> sources,
                     const std::filesystem::path& file);

} // namespace talvora::host
