#include "host/cli/job_work.h"

#include "host/cli/filter_report.h"
#include "host/cli/input_files.h"
#include "host/cli/output_files.h"
#include "host/filters/step_filters.h"
#include "host/interface/path_patterns.h"
#include "host/interface/unit_run.h"
#include "host/recipes/recipe_places.h"
#include "host/system/pending_cleanup.h"
#include "host/system/safe_write.h"
#include "host/text/plural.h"
#include "host/tree/cached_tree.h"
#include "host/tree/observed_tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// ---------------------------------------------------------------------------
// One step

// Thrown when all that there is to say has been told.
struct StepFailed {
    ExitCode code;
};

class StepRun {
  public:
    StepRun(const Step& step, const std::string& source, const TellMessage& tell)
        : step_(step), source_(source), tell_(tell) {}

    // Throws a Failure when the step's results are not to be kept.
    void run(DataTree& tree) {
        const UnitOutcome outcome = run_unit(*step_.unit, tree, step_.values,
                                             [&](const Message& message) { say(message); });
        judge(outcome, tree);
    }

  private:
    void judge(const UnitOutcome& outcome, DataTree& tree) {
        const CallProblems& problems = outcome.problems;
        say_first("refused: ", problems.refused_requests);
        say_rest(problems.refused_count, problems.refused_requests.size(), "were refused");
        say_first("broke the interface: ", problems.interface_breaks);
        say_rest(problems.break_count, problems.interface_breaks.size(), "broke the interface");
        if (const auto& error = outcome.problems.storage_error) {
            throw StorageError(*error);
        }
        if (!outcome.problems.interface_breaks.empty()) {
            throw StepFailed{ExitCode::Plugin};
        }
        if (!outcome.is_good()) {
            if (!has_error_) {
                say({Message::Error, "failed without a message"});
            }
            hint_at_places(tree);
            throw StepFailed{ExitCode::UnitFailed};
        }
    }

    static constexpr std::size_t MAX_SENTENCES = 3;

    void say_first(std::string_view what, const std::vector<std::string>& sentences) {
        for (std::size_t i = 0; i < std::min(MAX_SENTENCES, sentences.size()); ++i) {
            say({Message::Error, fmt::format("{}{}", what, sentences[i])});
        }
    }

    void say_rest(std::uint64_t count, std::size_t sentence_count, std::string_view what) {
        const std::uint64_t said = std::min(MAX_SENTENCES, sentence_count);
        if (sentence_count > said) {
            say({Message::Error,
                 fmt::format("{} {}", count_things(count - said, "more request"), what)});
        }
    }

    // The unit has said what it did not find; this says what there is.
    void hint_at_places(DataTree& tree) const {
        const auto problems = check_places({.description = {}, .steps = {step_}}, tree);
        if (!problems.empty()) {
            const std::string& near = problems.front().hint;
            tell_({{"level", "hint"},
                   {"text", near + (near.empty() ? "" : "    ") + hint_tree(source_)}});
        }
    }

    void say(const Message& message) {
        constexpr const char* LEVELS[] = {"error", "warning", "info"};
        has_error_ = has_error_ || message.level == Message::Error;
        tell_({{"level", LEVELS[message.level]}, {"step", step_.name}, {"text", message.text}});
    }

    const Step& step_;
    std::string source_; // the file, in messages
    const TellMessage& tell_;
    bool has_error_ = false;
};

// ---------------------------------------------------------------------------

// Gathers samples, to tell of them no more often than anybody looks.
class SampleMeter {
  public:
    explicit SampleMeter(const TellSamples& tell) : tell_(tell) {}

    void add(std::uint64_t count) {
        count_ += count;
        const auto now = Clock::now();
        if (now - last_ >= std::chrono::milliseconds(100)) {
            last_ = now;
            tell_(std::exchange(count_, 0));
        }
    }

  private:
    using Clock = std::chrono::steady_clock;

    const TellSamples& tell_;
    std::uint64_t count_ = 0;
    Clock::time_point last_ = Clock::now();
};

// ---------------------------------------------------------------------------
// One file

// Beside the work, for it takes as long as a quick unit.
std::future<InputIdentity> identify_beside(const fs::path& input) {
    const SignalsHeldBack held_back; // in the new thread they stay so
    return std::async(std::launch::async, identify_input, input);
}

class FileRun {
  public:
    FileRun(const Job& job, const JobWork& work, const TellMessage& tell,
            const TellSamples& tell_samples)
        : job_(job), work_(work), origin_(work.origin), tell_(tell), meter_(tell_samples) {}

    Json run() {
        const ExitCode code = guard([&] { work_on(); });
        return {{"exit_code", static_cast<int>(code)},
                {"written", code == ExitCode::Done && !skipped_ && !work_.dry_run},
                {"skipped", skipped_},
                {"steps", steps_}};
    }

  private:
    template <typename Work>
    ExitCode guard(const Work& work) {
        try {
            work();
            return ExitCode::Done;
        } catch (const StepFailed& failed) {
            return failed.code;
        } catch (const std::exception&) {
            return fail(explain_exception({.input = job_.input.string()}));
        }
    }

    ExitCode fail(const Failure& failure) {
        tell_({{"level", "error"}, {"text", failure.what()}});
        for (const std::string& hint : failure.hints()) {
            tell_({{"level", "hint"}, {"text", hint}});
        }
        return failure.code();
    }

    void work_on() {
        if (work_.resume && fs::exists(job_.output)) {
            origin_.input = identify_input(job_.input);
            skipped_ = has_been_made();
            if (skipped_) {
                return;
            }
        }
        make_result();
    }

    WriteOptions write_options() const {
        return {.replace = job_.replace, .make_folder = job_.make_folder};
    }

    bool has_been_made() {
        if (is_of_same_origin()) {
            return true;
        }
        if (!job_.replace) {
            throw Failure(ExitCode::Output,
                          fmt::format("{}: exists, and was not made by the same steps, plug-in "
                                      "and input",
                                      job_.output.string()),
                          {"--force replaces it"});
        }
        return false;
    }

    // A damaged file, or none of ours, is not.
    bool is_of_same_origin() const {
        try {
            return was_made_by(read_history(*open_input(job_.output)), origin_, work_.recipe);
        } catch (const TreeError&) {
            return false;
        } catch (const Failure&) {
            return false;
        }
    }

    void make_result() {
        // Open until all is read, so that nobody writes to it meanwhile.
        const auto input = open_input(job_.input);
        check_destination(job_.output, write_options());
        auto identity = identify_beside(job_.input);
        const auto pending = work_.dry_run
                                 ? std::make_unique<PendingFile>()
                                 : std::make_unique<PendingFile>(job_.output, write_options());
        make_output({job_.input.string(), job_.output.string()}, [&] {
            copy_content(job_.input, pending->path());
            run_steps(pending->path(), identity);
            check_written(pending->path());
        });
        if (!work_.dry_run) {
            keep_backup();
            pending->publish();
        }
    }

    void run_steps(const fs::path& file, std::future<InputIdentity>& identity) {
        Hdf5Tree tree(file, Hdf5Access::ReadWrite);
        CachedTree cached(tree, work_.memory_bound);
        ObservedTree observed(cached);
        observed.on_samples([&](std::uint64_t count) { meter_.add(count); });
        std::vector<StepObservations> observations;
        for (const Step& step : work_.recipe.steps) {
            // The record keeps the parameters as given; the unit gets the names that they stand
            // for.
            const Step expanded{step.name, step.unit,
                                expand_patterns(step.values, cached, job_.input.string())};
            filters_.push_back(find_step_filters(expanded, cached));
            tell_filters(step, filters_.back());
            StepRun(expanded, job_.input.string(), tell_).run(observed);
            observations.push_back(observed.finish_step());
            steps_.push_back({{"name", step.name},
                              {"unit", step.unit->name},
                              {"sets", make_sets_json(observations.back())},
                              {"filters", make_json(filters_.back())}});
        }
        cached.flush();
        origin_.input = identity.get();
        append_history(tree, make_records(observations));
        tree.close();
    }

    // Before the step, so that who reads along can stop it.
    void tell_filters(const Step& step, std::span<const FilterFacts> filters) {
        for (const FilterFacts& facts : filters) {
            tell_({{"level", "detail"}, {"step", step.name}, {"text", summarize(facts)}});
            for (const FilterWarning& warning : find_warnings(facts)) {
                tell_({{"level", "warning"}, {"step", step.name}, {"text", warning.text}});
                tell_({{"level", "hint"},
                       {"text", warning.choice.empty()
                                    ? write_design_command(facts.design)
                                    : fmt::format("if {} is meant: {}",
                                                  name_edges(facts.design.suggested_edges),
                                                  warning.choice)}});
            }
        }
    }

    std::vector<HistoryRecord> make_records(std::span<const StepObservations> observations) const {
        std::vector<HistoryRecord> records;
        for (std::size_t i = 0; i < observations.size(); ++i) {
            records.push_back(make_record(origin_, work_.recipe, i, observations[i]));
            if (!filters_[i].empty()) {
                records.back()["filters"] = make_json(filters_[i]);
            }
        }
        return records;
    }

    void keep_backup() const {
        if (!work_.backup) {
            return;
        }
        PendingFile backup(job_.input.string() + ".bak",
                           {.replace = work_.replace_backup, .like = job_.input});
        make_output({job_.input.string(), job_.input.string()},
                    [&] { copy_content(job_.input, backup.path()); });
        backup.publish();
    }

    const Job& job_;
    const JobWork& work_;
    RunOrigin origin_;
    const TellMessage& tell_;
    SampleMeter meter_;
    Json steps_ = Json::array();
    std::vector<std::vector<FilterFacts>> filters_; // of each step
    bool skipped_ = false;
};

} // namespace

Json do_job(const Job& job, const JobWork& work, const TellMessage& tell,
            const TellSamples& tell_samples) {
    return FileRun(job, work, tell, tell_samples).run();
}

} // namespace talvora::host
