// Which files a command works on, and where the result of each goes.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct JobPlanOptions {
    std::vector<std::string> files; // each a name, or a pattern for several
    std::string files_from;         // a list with one file per line, "-" for standard input
    std::string output;
    std::string out_dir;
    std::string shard; // "i/n": every n-th file, from the i-th on
    bool in_place = false;
    bool backup = false;
    bool force = false;
    bool resume = false;
};

// One file to work on.
struct Job {
    std::filesystem::path input;
    std::filesystem::path output;
    bool replace = false;
    bool make_folder = false; // of the output, where there is none
};

// The files of the words and of the list, in their order. Throws a Failure of the input for a
// pattern that no file matches and for a list that cannot be read.
std::vector<std::string> gather_files(const JobPlanOptions& options);

// Where --backup keeps the input.
std::filesystem::path backup_of(const std::filesystem::path& input);

// Throws a Failure of usage for a word that names no file and does not look like one either;
// the hint says what else it may have been meant to be.
void refuse_stray_words(std::span<const std::string> words, const std::string& hint);

// In the order of the files. Throws a Failure of usage for options that do not go together,
// for two files that would be written to one place, and for a result or backup in the place of
// another input; the files of other shards are checked too. Opens no file but the list.
std::vector<Job> plan_jobs(const JobPlanOptions& options);

} // namespace talvora::host
