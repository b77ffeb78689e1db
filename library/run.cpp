// Units run on trees in memory, by the host's own steps: on a copy, which shares all samples that
// the unit does not change, and takes the place of the tree when all went well.
#include "host/filters/step_aims.h"
#include "host/guards/guards.h"
#include "host/interface/parameters.h"
#include "host/recipes/recipe.h"
#include "host/runs/guarded_run.h"
#include "host/runs/job_step.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"
#include "host/tree/observed_tree.h"
#include "library/caller_texts.h"
#include "library/default_arithmetic.h"
#include "library/guarded_call.h"
#include "library/plugin_units.h"
#include "library/stopping_tree.h"
#include "library/tree_objects.h"
#include "library/versioned_structure.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <utility>

namespace talvora::library {
namespace {

using Texts = std::vector<std::string>;

Texts read_list(const char* const* texts, size_t count, std::string_view name) {
    if (count > 0) {
        check_pointer(texts, name);
    }
    Texts list;
    for (const char* text : std::span(texts, count)) {
        list.push_back(read_text(text, name));
    }
    return list;
}

// ---------------------------------------------------------------------------
// What is to be done

// All that is wrong with the words of a unit. A key that it does not have is not found.
[[noreturn]] void refuse_words(const UnitTexts& unit, const Texts& words,
                               std::span<const host::ParameterProblem> problems) {
    Texts sentences;
    for (const host::ParameterProblem& problem : problems) {
        sentences.push_back(problem.text +
                            (problem.hint.empty() ? "" : fmt::format(" ({})", problem.hint)));
    }
    const bool are_keys_known = std::ranges::all_of(words, [&](const std::string& word) {
        const std::string key = word.substr(0, word.find('='));
        return std::ranges::count(unit.signatures, key, &host::ParameterSignature::key) > 0;
    });
    throw CallError(are_keys_known ? TALVORA_INVALID_ARGUMENT : TALVORA_NOT_FOUND,
                    fmt::format("{}: {}", unit.name, host::join_texts(sentences, "; ")));
}

void check_words(const UnitTexts& unit, const Texts& words) {
    const auto stray = std::ranges::find_if_not(words, host::is_parameter_word);
    if (stray != words.end()) {
        throw InvalidArgument(
            fmt::format("{}: '{}' is no parameter, which is Key=Value", unit.name, *stray));
    }
}

host::ParameterValues read_values(const host::Unit& unit, const UnitTexts& texts,
                                  const Texts& words) {
    check_words(texts, words);
    try {
        host::ParameterValues values = host::read_parameters(texts.signatures, words);
        const auto problems = host::check_step(unit, values, {});
        if (!problems.empty()) {
            refuse_words(texts, words, problems);
        }
        return values;
    } catch (const host::ParameterError& error) {
        refuse_words(texts, words, error.problems());
    }
}

void check_guards(const Texts& names) {
    const Texts known = host::list_guards();
    for (const std::string& name : names) {
        if (std::ranges::find(known, name) == known.end()) {
            throw CallError(TALVORA_NOT_FOUND, fmt::format("no guard '{}' (known: {})", name,
                                                           host::join_texts(known)));
        }
    }
}

host::Recipe make_recipe(const talvora_plugin& plugin, size_t unit_index, const Texts& words,
                         const Texts& accepted) {
    const UnitTexts& texts = plugin.unit_texts(unit_index);
    check_guards(accepted);
    const host::Unit& unit = plugin.library.units()[unit_index];
    return {
        .description = {},
        .steps = {{host::short_name(unit), &unit, read_values(unit, texts, words), accepted, {}}}};
}

// ---------------------------------------------------------------------------
// What is told

int32_t level_of(host::MessageLevel level) {
    switch (level) {
    case host::MessageLevel::Error:
        return TALVORA_ERROR;
    case host::MessageLevel::Warning:
        return TALVORA_WARNING;
    case host::MessageLevel::Info:
    case host::MessageLevel::Hint:
    case host::MessageLevel::Detail:
        break;
    }
    return TALVORA_INFO;
}

// Tells the caller what a run tells, and keeps what its failure comes of. After a stop there is
// nothing to tell: what is refused then is no fault of the unit's.
class RunReport {
  public:
    RunReport(const talvora_run_options& options, const StoppingTree& stopping)
        : teller_(options.tell, options.context), stopping_(stopping) {}

    void tell(const host::JobMessage& message) {
        if (stopping_.has_stopped()) {
            return;
        }
        if (message.level == host::MessageLevel::Error && error_.empty()) {
            error_ = message.text;
        }
        if (message.level == host::MessageLevel::Hint) {
            hints_.push_back(message.text);
        }
        teller_.tell(level_of(message.level), message.text);
    }

    void tell_findings(std::span<const host::GuardFinding> findings) const {
        if (stopping_.has_stopped()) {
            return;
        }
        for (const host::GuardFinding& finding : findings) {
            teller_.tell(finding.accepted ? TALVORA_WARNING : TALVORA_ERROR,
                         host::describe_finding(finding));
        }
    }

    // The first error, and what may help.
    std::string describe_failure() const {
        Texts parts = {error_};
        parts.insert(parts.end(), hints_.begin(), hints_.end());
        return host::join_texts(parts, "; ");
    }

  private:
    Teller teller_;
    const StoppingTree& stopping_;
    std::string error_;
    Texts hints_;
};

// The first finding that is not accepted, and the names of all guards that would have to be.
[[noreturn]] void refuse_guarded(std::span<const host::GuardFinding> findings) {
    Texts names;
    for (const host::GuardFinding& finding : findings) {
        const std::string name = fmt::format("'{}'", finding.guard);
        if (!finding.accepted && std::ranges::find(names, name) == names.end()) {
            names.push_back(name);
        }
    }
    const auto first = std::ranges::find(findings, false, &host::GuardFinding::accepted);
    throw CallError(TALVORA_GUARDED,
                    fmt::format("{}: {}; accept {} to have the result all the same", first->step,
                                host::describe_finding(*first), host::join_texts(names)));
}

talvora_status status_of(host::ExitCode code) {
    switch (code) {
    case host::ExitCode::Plugin:
        return TALVORA_PLUGIN_ERROR;
    case host::ExitCode::Input:
        return TALVORA_NOT_FOUND;
    default:
        return TALVORA_UNIT_FAILED;
    }
}

// ---------------------------------------------------------------------------
// The run

class TreeRun {
  public:
    TreeRun(const talvora_plugin& plugin, talvora_tree& tree, const host::Recipe& recipe,
            const talvora_run_options& options)
        : plugin_(plugin), tree_(tree), recipe_(recipe), copy_(tree.objects->copy()),
          stopping_(*copy_, options.should_stop, options.context), report_(options, stopping_),
          rounded_(tree.rounded) {}

    void run() {
        try {
            run_step();
        } catch (...) {
            if (stopping_.has_stopped()) {
                throw CallError(TALVORA_STOPPED,
                                fmt::format("{}: stopped by the caller", step().name));
            }
            throw;
        }
        keep();
    }

  private:
    const host::Step& step() const { return recipe_.steps.front(); }

    void run_step() {
        host::ObservedTree observed(stopping_);
        const std::string source;
        const host::TellMessage tell = [&](const host::JobMessage& message) {
            report_.tell(message);
        };
        try {
            host::GuardedRun({stopping_, observed, source, tell}, make_hooks(), account_)
                .run(step());
        } catch (const host::StepFailed& failed) {
            explain_failure(failed.code);
        } catch (const host::Failure& failure) { // of the names of sets and groups
            Texts parts = {failure.what()};
            std::ranges::copy_if(failure.hints(), std::back_inserter(parts),
                                 [](const std::string& hint) { return !hint.empty(); });
            throw CallError(status_of(failure.code()),
                            fmt::format("{}: {}", step().name, host::join_texts(parts, "; ")));
        }
    }

    host::RunHooks make_hooks() {
        host::RunHooks hooks;
        hooks.tell_findings = [this](std::span<const host::GuardFinding> findings) {
            report_.tell_findings(findings);
        };
        hooks.look_up = [this](host::GuardedStep& step) { take_rounded(step); };
        return hooks;
    }

    // What the step took of other types than 32-bit floats; what rounding changed in it is told
    // once.
    void take_rounded(host::GuardedStep& step) {
        for (const host::SetObservation& set : step.done->sets) {
            const auto found = rounded_.find(set.path);
            if (set.before && found != rounded_.end()) {
                step.rounded[set.path] = std::exchange(
                    found->second, host::RoundedSamples{.type = found->second.type, .change = {}});
            }
        }
    }

    [[noreturn]] void explain_failure(host::ExitCode code) const {
        if (!std::ranges::all_of(account_.guards, &host::GuardFinding::accepted)) {
            refuse_guarded(account_.guards);
        }
        throw CallError(status_of(code),
                        fmt::format("{}: {}", step().name, report_.describe_failure()));
    }

    // Of groups only those with attributes.
    static std::set<std::string> list_written(const host::StepObservations& done) {
        std::set<std::string> written;
        for (const auto& [path, names] : done.attributes) {
            written.insert(path);
        }
        for (const host::SetObservation& set : done.sets) {
            if (set.written) {
                written.insert(set.path);
            }
        }
        return written;
    }

    // What fails in here leaves the tree as it was, too.
    void keep() {
        const host::RunOrigin origin{.time = host::make_timestamp(),
                                     .host_version = talvora_version(),
                                     .plugin = plugin_.identity,
                                     .input = tree_.input,
                                     .host_name = "libtalvora"};
        append_history(host::make_records(account_, origin, recipe_));
        std::set<std::string> written = list_written(account_.observations.front());
        tree_.objects.swap(copy_);
        tree_.rounded.swap(rounded_);
        tree_.written.swap(written);
    }

    // What stands in the place of a history may be none.
    void append_history(std::span<const host::HistoryRecord> records) {
        try {
            host::append_history(*copy_, records);
        } catch (const host::Failure& failure) {
            throw InvalidArgument(failure.what());
        }
    }

    const talvora_plugin& plugin_;
    talvora_tree& tree_;
    const host::Recipe& recipe_;
    std::unique_ptr<host::MemoryTree> copy_;
    StoppingTree stopping_;
    RunReport report_;
    host::RunAccount account_;
    std::map<std::string, host::RoundedSamples> rounded_;
};

} // namespace
} // namespace talvora::library

using namespace talvora::library;

talvora_status talvora_run(const talvora_plugin* plugin, size_t unit_index, talvora_tree* tree,
                           const char* const* parameters, size_t parameter_count,
                           const talvora_run_options* options, char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(plugin, "plugin");
        check_pointer(tree, "tree");
        const talvora_run_options chosen =
            options == nullptr ? talvora_run_options{} : read_structure(options, "options");
        const auto recipe = make_recipe(
            *plugin, unit_index, read_list(parameters, parameter_count, "parameters"),
            read_list(chosen.accepted_guards, chosen.accepted_guard_count, "accepted_guards"));
        const DefaultArithmetic arithmetic;
        TreeRun(*plugin, *tree, recipe, chosen).run();
    });
}
