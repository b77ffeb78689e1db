#include "host/runs/job_plan.h"

#include "host/runs/file_patterns.h"
#include "host/system/file_identity.h"
#include "host/system/input_kind.h"
#include "host/system/safe_write.h"
#include "host/text/failure.h"
#include "host/text/parse_number.h"
#include "host/text/path_glob.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

#include <cerrno>
#include <compare>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

struct Shard {
    std::size_t number = 1; // from 1 to
    std::size_t count = 1;
};

std::optional<std::size_t> parse_count(std::string_view text) {
    const auto count = parse_number<std::size_t>(text);
    return count.value_or(0) > 0 ? count : std::nullopt;
}

Shard parse_shard(std::string_view text) {
    if (const std::size_t slash = text.find('/'); slash != std::string_view::npos) {
        const auto number = parse_count(text.substr(0, slash));
        const auto count = parse_count(text.substr(slash + 1));
        if (number && count && *number <= *count) {
            return {*number, *count};
        }
    }
    throw Failure(ExitCode::Usage,
                  fmt::format("--shard cannot be '{}' (allowed: i/n with i from 1 to n)", text));
}

// What a system call would take for its end would name another file.
void refuse_zero_byte(std::string_view list, std::size_t line_number, std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: line {} holds a zero byte (allowed: one name a line)", list,
                                  line_number));
    }
}

void append_lines(std::istream& list, std::string_view name, std::vector<std::string>& files) {
    std::size_t line_number = 0;
    for (std::string line; std::getline(list, line);) {
        refuse_zero_byte(name, ++line_number, line);
        if (line_number == 1) {
            line = std::string(skip_byte_order_mark(line));
        }
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!line.empty()) {
            files.push_back(line);
        }
    }
    // The stream over standard input tells of an end alone.
    if (list.bad() || (&list == &std::cin && std::ferror(stdin) != 0)) {
        throw Failure(ExitCode::Input, fmt::format("cannot read the list '{}' to its end: {}", name,
                                                   std::generic_category().message(errno)));
    }
}

// A list holds names as they stand.
void append_list(const JobPlanOptions& options, std::vector<std::string>& files) {
    if (options.files_from == "-") {
        append_lines(std::cin, options.files_from, files);
    } else if (!options.files_from.empty()) {
        refuse_endless_file(options.files_from);
        std::ifstream list(options.files_from);
        if (!list || fs::is_directory(options.files_from)) {
            throw Failure(ExitCode::Input,
                          fmt::format("cannot read the list '{}': {}", options.files_from,
                                      std::generic_category().message(list ? EISDIR : errno)));
        }
        append_lines(list, options.files_from, files);
    }
}

void check_output_choice(const JobPlanOptions& options, std::size_t file_count) {
    if (file_count == 0) {
        throw Failure(ExitCode::Usage, "no file to run on",
                      {"name files behind the rest of the line, or in a list with --files-from"});
    }
    const int chosen = !options.output.empty() + !options.out_dir.empty() + options.in_place;
    if (chosen != 1) {
        throw Failure(ExitCode::Usage,
                      chosen == 0 ? "where is the result to go?"
                                  : "more than one place to write to",
                      {"give one of -o FILE, --out-dir DIR, --in-place [--backup]"});
    }
    if (!options.output.empty() && file_count > 1) {
        throw Failure(
            ExitCode::Usage,
            fmt::format("-o {} takes one input, {} were given", options.output, file_count),
            {"--out-dir DIR, or --in-place, takes several"});
    }
}

void check_in_place(const JobPlanOptions& options) {
    if (options.backup && !options.in_place) {
        throw Failure(ExitCode::Usage, "--backup goes with --in-place");
    }
    if (options.resume && options.in_place) {
        throw Failure(ExitCode::Usage, "--resume goes with -o or --out-dir: a file replaced in "
                                       "place no longer holds the input that it was made from");
    }
}

Job make_job(const std::string& file, const JobPlanOptions& options) {
    if (options.in_place) {
        return {file, file, true};
    }
    const fs::path input = file;
    const fs::path output =
        options.out_dir.empty() ? fs::path(options.output) : options.out_dir / input.filename();
    refuse_same_file(input, output,
                     "--in-place replaces the input, --in-place --backup keeps it beside");
    return {input, output, options.force, !options.out_dir.empty()};
}

// A name in a folder: the same by whatever path, also where a folder stands at two places. Two
// names of one file are two places, for a result takes the place of one of them.
struct Place {
    std::uint64_t device = 0; // of the folder; 0 where there is none yet
    std::uint64_t folder = 0;
    fs::path name; // the whole path where there is no folder yet

    // NOLINTNEXTLINE(modernize-use-nullptr): no pointer, a comparison with 0 by the compiler
    auto operator<=>(const Place&) const = default;
};

std::optional<FileIdentity> identify_quietly(const fs::path& file) {
    try {
        return identify_file(file);
    } catch (const Failure&) {
        return std::nullopt; // told later
    }
}

// What is wrong with a place that cannot be looked at is told when its file is worked on.
Place identify_place(const fs::path& file) {
    std::error_code error;
    fs::path path = fs::weakly_canonical(file, error);
    if (error) {
        path = file.lexically_normal();
    }
    if (const auto folder = identify_quietly(path.parent_path())) {
        return {folder->device, folder->number, path.filename()};
    }
    return {.name = path};
}

// Sees to it that nothing is written twice, and no input of another file's work.
class Places {
  public:
    explicit Places(std::span<const std::string> inputs) {
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            readers_.emplace(identify_place(inputs[i]), i);
        }
    }

    // Two names of one file would part, each with a result of its own.
    void take_in_place(const fs::path& file) {
        const auto found = identify_quietly(file);
        if (found && !replaced_.insert({found->device, found->number}).second) {
            throw Failure(
                ExitCode::Usage,
                fmt::format("{}: another input is the same file, by another name", file.string()));
        }
    }

    // An input by another name is no older backup.
    void refuse_input(const fs::path& backup) const {
        const auto found = identify_quietly(backup);
        if (found && replaced_.contains({found->device, found->number})) {
            throw Failure(ExitCode::Usage,
                          fmt::format("{}: is an input, by another name", backup.string()));
        }
    }

    void take(const fs::path& file, std::size_t reader) {
        const Place place = identify_place(file);
        if (!written_.insert(place).second) {
            throw Failure(ExitCode::Usage,
                          fmt::format("{}: two inputs would be written there", file.string()));
        }
        if (const auto found = readers_.find(place);
            found != readers_.end() && found->second != reader) {
            throw Failure(ExitCode::Usage,
                          fmt::format("{}: is an input, and would be replaced by what is made of "
                                      "another one",
                                      file.string()));
        }
    }

  private:
    std::set<std::pair<std::uint64_t, std::uint64_t>> replaced_;
    std::map<Place, std::size_t> readers_;
    std::set<Place> written_;
};

// A path, or a name with an ending such as .h5.
bool looks_like_file(const std::string& word) {
    const std::string ending = fs::path(word).extension().string();
    return word.find('/') != std::string::npos ||
           (ending.size() > 1 && (ending[1] < '0' || ending[1] > '9'));
}

} // namespace

std::vector<std::string> gather_files(const JobPlanOptions& options) {
    std::vector<std::string> files;
    for (const std::string& word : options.files) {
        for (const fs::path& file : find_files(word)) {
            files.push_back(file.string());
        }
    }
    append_list(options, files);
    return files;
}

fs::path backup_of(const fs::path& input) {
    return input.string() + ".bak";
}

void refuse_stray_words(std::span<const std::string> words, const std::string& hint) {
    std::error_code ignored;
    for (const std::string& word : words) {
        if (!is_pattern(word) && !looks_like_file(word) && !fs::exists(word, ignored)) {
            throw Failure(
                ExitCode::Usage,
                fmt::format("'{}' was taken for a file, and there is none of that name", word),
                {hint});
        }
    }
}

std::vector<Job> plan_jobs(const JobPlanOptions& options) {
    const std::vector<std::string> files = gather_files(options);
    const Shard shard = options.shard.empty() ? Shard{} : parse_shard(options.shard);
    check_output_choice(options, files.size());
    check_in_place(options);
    std::vector<Job> jobs;
    Places places(files);
    for (std::size_t i = 0; options.in_place && i < files.size(); ++i) {
        places.take_in_place(files[i]);
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
        Job job = make_job(files[i], options);
        places.take(job.output, i);
        if (options.backup) {
            places.take(backup_of(job.input), i);
            places.refuse_input(backup_of(job.input));
        }
        if (i % shard.count == shard.number - 1) {
            jobs.push_back(std::move(job));
        }
    }
    return jobs;
}

} // namespace talvora::host
