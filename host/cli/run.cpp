// talvora-host run UNIT [Key=Value ...] FILE ... OUTPUT
#include "host/cli/commands.h"
#include "host/cli/files.h"
#include "host/parameters.h"
#include "host/safe_write.h"
#include "host/unit_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

struct RunOptions {
    std::string unit;
    std::vector<std::string> words; // Key=Value and files, in any order
    std::string output;
    std::string out_dir;
    bool in_place = false;
    bool backup = false;
    bool dry_run = false;
    bool force = false;
    bool json = false;
};

// One file to run the unit on.
struct Job {
    fs::path input;
    fs::path output;
    bool replace = false;
};

// ---------------------------------------------------------------------------
// Which file goes where

void check_output_choice(const RunOptions& options, std::size_t file_count) {
    const int chosen = !options.output.empty() + !options.out_dir.empty() + options.in_place;
    if (file_count == 0) {
        throw Failure(ExitCode::Usage, "no file to run on",
                      {"talvora-host run UNIT [Key=Value ...] FILE ... -o OUTPUT"});
    }
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
    if (options.backup && !options.in_place) {
        throw Failure(ExitCode::Usage, "--backup goes with --in-place");
    }
}

Job make_job(const std::string& file, const RunOptions& options) {
    if (options.in_place) {
        return {file, file, true};
    }
    const fs::path input = file;
    const fs::path output =
        options.out_dir.empty() ? fs::path(options.output) : options.out_dir / input.filename();
    refuse_same_file(input, output);
    return {input, output, options.force};
}

std::vector<Job> plan_jobs(const std::vector<std::string>& files, const RunOptions& options) {
    check_output_choice(options, files.size());
    std::vector<Job> jobs;
    std::set<fs::path> outputs;
    for (const std::string& file : files) {
        jobs.push_back(make_job(file, options));
        std::error_code ignored;
        if (!outputs.insert(fs::weakly_canonical(jobs.back().output, ignored)).second) {
            throw Failure(ExitCode::Usage, fmt::format("{}: two inputs would be written there",
                                                       jobs.back().output.string()));
        }
    }
    return jobs;
}

// ---------------------------------------------------------------------------
// One file

class FileRun {
  public:
    FileRun(Session& session, const RunOptions& options, const Unit& unit,
            const ParameterValues& values, const Job& job)
        : session_(session), options_(options), unit_(unit), values_(values), job_(job) {}

    // Reports whatever happens; one file's failure is no reason to leave the others.
    ExitCode run() {
        ExitCode code = ExitCode::Done;
        try {
            code = run_on_copy();
        } catch (const Failure& failure) {
            code = fail(failure);
        } catch (const TreeError& error) {
            code = fail({ExitCode::Input, error.what()});
        } catch (const PluginError& error) {
            code = fail({ExitCode::Plugin, error.what()});
        }
        report(code);
        return code;
    }

  private:
    ExitCode fail(const Failure& failure) {
        session_.console.failure(failure);
        messages_.push_back({{"level", "error"}, {"text", failure.what()}});
        return failure.code();
    }

    ExitCode run_on_copy() {
        check_destination(job_.output, {.replace = job_.replace});
        // Open until it is copied, so that nobody writes to it meanwhile.
        auto input = open_input(job_.input);
        const auto pending =
            options_.dry_run
                ? std::make_unique<PendingFile>()
                : std::make_unique<PendingFile>(job_.output, WriteOptions{.replace = job_.replace});
        const ExitCode code = make_output(job_.output, [&] {
            copy_content(job_.input, pending->path());
            input.reset();
            return run_on(pending->path());
        });
        if (code == ExitCode::Done && !options_.dry_run) {
            keep_backup();
            pending->publish();
        }
        return code;
    }

    ExitCode run_on(const fs::path& file) {
        Hdf5Tree tree(file, Hdf5Access::ReadWrite);
        const UnitOutcome outcome =
            run_unit(unit_, tree, values_, [&](const Message& message) { say(message); });
        tree.close();
        const ExitCode code = judge(outcome);
        if (code == ExitCode::Done) {
            check_written(file);
        }
        return code;
    }

    ExitCode judge(const UnitOutcome& outcome) {
        for (const std::string& text : outcome.problems.refused_requests) {
            say({Message::Error, "refused: " + text});
        }
        for (const std::string& text : outcome.problems.interface_breaks) {
            say({Message::Error, "broke the interface: " + text});
        }
        if (!outcome.problems.interface_breaks.empty()) {
            return ExitCode::Plugin;
        }
        if (!outcome.is_good() && !has_error_) {
            say({Message::Error, "failed without a message"});
        }
        return outcome.is_good() ? ExitCode::Done : ExitCode::UnitFailed;
    }

    void keep_backup() {
        if (!options_.backup) {
            return;
        }
        PendingFile backup(job_.input.string() + ".bak",
                           {.replace = options_.force, .like = job_.input});
        make_output(job_.input, [&] { copy_content(job_.input, backup.path()); });
        backup.publish();
    }

    void say(const Message& message) {
        const std::string text =
            fmt::format("{}: {}: {}", job_.input.string(), short_name(unit_), message.text);
        switch (message.level) {
        case Message::Error:
            has_error_ = true;
            session_.console.error(text);
            break;
        case Message::Warning:
            session_.console.warning(text);
            break;
        case Message::Info:
            session_.console.info(text);
            break;
        }
        constexpr const char* LEVELS[] = {"error", "warning", "info"};
        messages_.push_back({{"level", LEVELS[message.level]}, {"text", message.text}});
    }

    void report(ExitCode code) {
        const bool done = code == ExitCode::Done;
        const Console& console = session_.console;
        if (options_.json) {
            console.json_line({{"file", job_.input.string()},
                               {"output", job_.output.string()},
                               {"unit", unit_.name},
                               {"written", done && !options_.dry_run},
                               {"exit_code", static_cast<int>(code)},
                               {"messages", messages_}});
        } else if (done) {
            console.report_done(
                fmt::format("{}: {} {} by {}", job_.input.string(), job_.output.string(),
                            options_.dry_run ? "could be written" : "written", short_name(unit_)));
        }
    }

    Session& session_;
    const RunOptions& options_;
    const Unit& unit_;
    const ParameterValues& values_;
    const Job& job_;
    Json messages_ = Json::array();
    bool has_error_ = false;
};

// ---------------------------------------------------------------------------

std::optional<ParameterValues> read_values(const Console& console, const Unit& unit,
                                           const std::vector<std::string>& words) {
    try {
        return read_parameters(declare_unit(unit), words);
    } catch (const ParameterError& error) {
        const std::string help = fmt::format("talvora-host describe {}", short_name(unit));
        for (const ParameterProblem& problem : error.problems()) {
            console.error(fmt::format("{}: {}", short_name(unit), problem.text));
            console.hint(problem.hint.empty() ? help : problem.hint + "  " + help);
        }
        return std::nullopt;
    }
}

void run_files(Session& session, const RunOptions& options) {
    std::vector<std::string> words = options.words;
    const auto files_at = std::stable_partition(words.begin(), words.end(), is_parameter_word);
    const std::vector<std::string> files(files_at, words.end());
    words.erase(files_at, words.end());

    const Unit& unit = session.find_unit(options.unit);
    const auto values = read_values(session.console, unit, words);
    if (!values) {
        session.exit_code = ExitCode::Usage;
        return;
    }
    for (const Job& job : plan_jobs(files, options)) {
        session.exit_code =
            std::max(session.exit_code, FileRun(session, options, unit, *values, job).run());
    }
}

} // namespace

void add_run_command(CLI::App& program, Session& session) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* command = program.add_subcommand("run", "Runs a unit on files");
    command->add_option("UNIT", options->unit, "Its identifier, or what follows the last dot")
        ->required();
    command->add_option("WORDS", options->words,
                        "Key=Value parameters (a repeated key builds a list) and files; a file "
                        "with '=' in its name is given as ./NAME");
    command->add_option("-o,--output", options->output, "Where the result of one file goes");
    command->add_option("--out-dir", options->out_dir,
                        "The folder where results go, named as their inputs");
    command->add_flag("--in-place", options->in_place, "Replace each input by its result");
    command->add_flag("--backup", options->backup, "Keep what it replaces as FILE.bak");
    command->add_flag("-n,--dry-run", options->dry_run, "Do all but writing the result");
    command->add_flag("--force", options->force, "Replace an existing output");
    command->add_flag("--json", options->json, "One JSON document per file and line");
    command->footer("talvora-host run UNIT [Key=Value ...] FILE ... "
                    "(-o FILE | --out-dir DIR | --in-place [--backup])");
    command->callback([&session, options] { run_files(session, *options); });
}

} // namespace talvora::host
