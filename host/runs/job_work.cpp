#include "host/runs/job_work.h"

#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/runs/guarded_run.h"
#include "host/runs/input_files.h"
#include "host/runs/job_step.h"
#include "host/runs/kept_elsewhere.h"
#include "host/runs/narrowed_sets.h"
#include "host/runs/output_files.h"
#include "host/runs/publish_result.h"
#include "host/runs/work_meter.h"
#include "host/runs/written_sets.h"
#include "host/system/content_hash.h"
#include "host/system/pending_cleanup.h"
#include "host/system/safe_write.h"
#include "host/tree/observed_tree.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <future>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

// Beside the work, for it takes as long as a quick unit.
std::future<InputIdentity> identify_beside(const fs::path& input) {
    const SignalsHeldBack held_back; // in the new thread they stay so
    return std::async(std::launch::async, identify_input, input);
}

// That the step reads, and writes where it works in place.
std::uint64_t expect_samples(const Step& step, DataTree& tree) {
    std::uint64_t count = 0;
    for (const ObjectId set : find_source_sets(step.values, tree)) {
        count += count_samples(tree.extents(set));
    }
    return works_in_place(step.values.signatures()) ? 2 * count : count;
}

void find_scales(Hdf5Tree& stored, GuardedStep& step) {
    for (const SetObservation& set : step.done->sets) {
        if (set.before && set.before->extents != set.after.extents) {
            step.scales[set.path] = stored.list_attached_scales(set.path);
            step.scaled_sets[set.path] = stored.list_scaled_sets(set.path);
        }
    }
}

class JobRun {
  public:
    JobRun(const Job& job, const JobWork& work, const TellMessage& tell,
           const TellSamples& tell_samples)
        : job_(job), work_(work), source_(job.input.string()), origin_(work.origin), tell_(tell),
          meter_(work.recipe.steps.size(), tell_samples) {}

    JobResult run() {
        const ExitCode code = try_to_work();
        return {.exit_code = code,
                .written = code == ExitCode::Done && !skipped_ && !work_.dry_run,
                .skipped = skipped_,
                .steps = std::move(account_.steps),
                .guards = std::move(account_.guards)};
    }

  private:
    ExitCode try_to_work() {
        try {
            work_on();
            return ExitCode::Done;
        } catch (const StepFailed& failed) {
            return failed.code;
        } catch (const std::exception&) {
            const Failure failure = explain_exception({.input = job_.input.string()});
            tell_failure(failure);
            return failure.code();
        }
    }

    void tell_failure(const Failure& failure) const {
        tell_({MessageLevel::Error, failure.what()});
        tell_hints(failure);
    }

    void tell_hints(const Failure& failure) const {
        for (const std::string& hint : failure.hints()) {
            tell_({MessageLevel::Hint, hint});
        }
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

    bool has_been_made() const {
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
            const auto history = read_history(*open_input(job_.output), job_.output.string());
            return was_made_by(history, origin_, work_.recipe);
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
        refuse_to_replace_kept_elsewhere(*input, {job_.input, job_.output});
        const auto pending = make_working_copy();
        const UnchangedInput unchanged(job_.input);
        auto identity = identify_beside(job_.input);
        make_output({job_.input.string(), job_.output.string()}, [&] {
            content_ = copy_content(job_.input, pending->path());
            const auto written = run_steps(pending->path(), identity);
            if (!work_.dry_run) {
                pending->begin_sync();
            }
            check_written(pending->path(), written);
        });
        unchanged.check();
        if (!work_.dry_run) {
            publish_result(*pending,
                           {.input = job_.input,
                            .content = content_,
                            .backup = work_.backup,
                            .replace_backup = work_.replace_backup},
                           [&](const std::vector<std::string>& notes) { tell_notes(notes); });
        }
    }

    WriteOptions write_options() const {
        return {.replace = job_.replace, .make_folder = job_.make_folder, .sources = {job_.input}};
    }

    std::unique_ptr<PendingFile> make_working_copy() const {
        return work_.dry_run ? std::make_unique<PendingFile>()
                             : std::make_unique<PendingFile>(job_.output, write_options());
    }

    std::vector<WrittenSet> run_steps(const fs::path& file, std::future<InputIdentity>& identity) {
        Hdf5Tree tree(file, Hdf5Access::ReadWrite);
        WrittenTree noted(tree);
        CachedTree cached(noted, work_.memory_bound);
        ObservedTree observed(cached);
        observed.on_samples([&](const SampleRequest& request) { meter_.add(request); });
        GuardedRun steps({cached, observed, source_, tell_}, make_hooks(cached, tree), account_);
        for (const Step& step : work_.recipe.steps) {
            steps.run(step);
        }
        meter_.finish();
        cached.flush();
        tell_notes(describe_lost_sight(tree, {job_.input, job_.output}));
        tell_narrowed(tree.narrowed_sets());
        origin_.input = identity.get();
        refuse_change(job_.input, origin_.input->mark != content_);
        append_history(tree, make_records(account_, origin_, work_.recipe), source_);
        auto written = noted.list_written();
        tree.close();
        return written;
    }

    RunHooks make_hooks(CachedTree& cached, Hdf5Tree& stored) {
        return {.tell_findings =
                    [&](std::span<const GuardFinding> findings) { tell_findings(findings, tell_); },
                .begin_unit =
                    [&](const Step& step) { meter_.begin_step(expect_samples(step, cached)); },
                .look_up =
                    [&](GuardedStep& step) {
                        step.rounded = find_rounded(step.done->sets, stored);
                        find_scales(stored, step);
                    }};
    }

    // What a step took of other types; what an earlier one took is no longer rounded.
    std::map<std::string, RoundedSamples> find_rounded(std::span<const SetObservation> sets,
                                                       Hdf5Tree& stored) {
        std::map<std::string, RoundedSamples> rounded;
        for (const SetObservation& set : sets) {
            const SampleType type = stored.original_type(set.path);
            if (!set.before || type == SampleType::Float32) {
                continue;
            }
            const bool is_first = known_rounded_.insert(set.path).second;
            const SetRounding rounding = is_first ? stored.rounding(set.path) : SetRounding{};
            RoundedSamples& samples = rounded[set.path] =
                make_rounded_samples(type, rounding, set.before->extents);
            samples.replaces_original = set.written && job_.output == job_.input;
        }
        return rounded;
    }

    void tell_narrowed(std::span<const NarrowedSet> sets) const {
        for (const NarrowedSet& set : sets) {
            tell_({MessageLevel::Info,
                   fmt::format("{}: {}", job_.input.string(), describe_narrowing(set))});
        }
    }

    void tell_notes(const std::vector<std::string>& notes) const {
        for (const std::string& note : notes) {
            tell_({MessageLevel::Warning, note});
        }
    }

    const Job& job_;
    const JobWork& work_;
    const std::string source_;
    RunOrigin origin_;
    const TellMessage& tell_;
    WorkMeter meter_;
    RunAccount account_;
    std::set<std::string> known_rounded_; // sets that steps took
    ContentMark content_;                 // of the input, as it was copied
    bool skipped_ = false;
};

} // namespace

JobResult do_job(const Job& job, const JobWork& work, const TellMessage& tell,
                 const TellSamples& tell_samples) {
    return JobRun(job, work, tell, tell_samples).run();
}

} // namespace talvora::host
