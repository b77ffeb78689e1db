#include "host/runs/job_step.h"

#include "host/filters/filter_fault.h"
#include "host/filters/filter_report.h"
#include "host/filters/known_units.h"
#include "host/filters/step_hints.h"
#include "host/interface/path_patterns.h"
#include "host/interface/unit_run.h"
#include "host/recipes/recipe_places.h"
#include "host/text/join_texts.h"
#include "host/text/plural.h"
#include "host/text/told_at_once.h"
#include "host/tree/hinted_tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <set>
#include <string_view>
#include <vector>

namespace talvora::host {
namespace {

constexpr std::size_t MAX_SENTENCES = 3; // about things of one kind

MessageLevel to_message_level(Message::Level level) {
    switch (level) {
    case Message::Error:
        return MessageLevel::Error;
    case Message::Warning:
        return MessageLevel::Warning;
    case Message::Info:
        break;
    }
    return MessageLevel::Info;
}

class StepRun {
  public:
    StepRun(const Step& step, const std::string& source, const TellMessage& tell)
        : step_(step), source_(source), tell_(tell) {}

    // The errors that the unit told of.
    std::vector<std::string> run(ObservedTree& tree) {
        if (step_.aims.to_rate) {
            HintedTree hinted(tree, static_cast<float>(*step_.aims.to_rate));
            run(hinted, tree);
        } else {
            run(tree, tree);
        }
        return std::move(unit_errors_);
    }

  private:
    // The unit is offered the tree; what it asks of it comes by the observed one.
    void run(DataTree& tree, ObservedTree& observed) {
        const UnitOutcome outcome =
            run_unit(*step_.unit, tree, step_.values,
                     [&](const Message& message) { tell_of_unit(message, observed); });
        tell_rest_of_infos();
        tell_problems(outcome.problems);
        judge(outcome, tree);
    }

    void tell_of_unit(const Message& message, const ObservedTree& tree) {
        if (message.level != Message::Info) {
            const bool is_new = messages_.insert(message.text).second;
            if (is_new && message.level == Message::Error) {
                unit_errors_.push_back(message.text);
            }
        }
        const auto set = tree.last_read();
        const bool names_set =
            message.level == Message::Info && set && tells_of_last_read(*step_.unit);
        tell(is_one_too_many(message) ? MessageLevel::Detail : to_message_level(message.level),
             names_set ? fmt::format("{}: {}", tree.path(*set), message.text) : message.text);
    }

    // Some units tell of each line.
    bool is_one_too_many(const Message& message) {
        return message.level == Message::Info && ++info_count_ > max_info_count();
    }

    // A program that runs units on its own tree gets all of them.
    std::size_t max_info_count() const {
        return source_.empty() ? std::numeric_limits<std::size_t>::max() : MAX_TOLD_AT_ONCE;
    }

    void tell_rest_of_infos() {
        if (info_count_ > max_info_count()) {
            tell(MessageLevel::Info,
                 fmt::format("{}, which --verbose shows",
                             count_things(info_count_ - MAX_TOLD_AT_ONCE, "further message")));
        }
    }

    // Several messages may ask for the same ones.
    void tell_hints(DataTree& tree) const {
        std::set<std::string> told;
        for (const std::string& message : messages_) {
            for (const std::string& hint : find_hints(step_, message, tree, source_)) {
                if (told.insert(hint).second) {
                    tell_({MessageLevel::Hint, hint});
                }
            }
        }
    }

    void tell_problems(const CallProblems& problems) {
        tell_first("refused: ", problems.refused_requests);
        tell_rest(problems.refused_count, problems.refused_requests.size(), "were refused");
        tell_first("broke the interface: ", problems.interface_breaks);
        tell_rest(problems.break_count, problems.interface_breaks.size(), "broke the interface");
    }

    void tell_first(std::string_view what, const std::vector<std::string>& sentences) {
        for (std::size_t i = 0; i < std::min(MAX_SENTENCES, sentences.size()); ++i) {
            tell(MessageLevel::Error, fmt::format("{}{}", what, sentences[i]));
        }
    }

    void tell_rest(std::uint64_t count, std::size_t sentence_count, std::string_view what) {
        const std::uint64_t told = std::min(MAX_SENTENCES, sentence_count);
        if (sentence_count > told) {
            tell(MessageLevel::Error,
                 fmt::format("{} {}", count_things(count - told, "more request"), what));
        }
    }

    void judge(const UnitOutcome& outcome, DataTree& tree) {
        if (const auto& error = outcome.problems.storage_error) {
            throw StorageError(*error);
        }
        if (const auto& failure = outcome.problems.guard_failure) {
            throw GuardFailure(*failure);
        }
        if (outcome.problems.out_of_memory) {
            throw std::bad_alloc();
        }
        if (!outcome.problems.interface_breaks.empty()) {
            throw StepFailed{ExitCode::Plugin};
        }
        tell_hints(tree);
        if (!outcome.is_good()) {
            if (!has_error_) {
                tell(MessageLevel::Error, "failed without a message");
            }
            throw StepFailed{hint_at_places(tree) ? ExitCode::Input : ExitCode::UnitFailed};
        }
    }

    // The unit has said what it did not find; this says what there is. False when all is there.
    bool hint_at_places(DataTree& tree) const {
        const auto problems = check_places({.description = {}, .steps = {step_}}, tree);
        if (problems.empty()) {
            return false;
        }
        const std::string hint = join_hints(problems.front().hint, hint_tree(source_));
        if (!hint.empty()) {
            tell_({MessageLevel::Hint, hint});
        }
        return true;
    }

    void tell(MessageLevel level, const std::string& text) {
        has_error_ = has_error_ || level == MessageLevel::Error;
        tell_({level, text, step_.name});
    }

    const Step& step_;
    const std::string& source_;
    const TellMessage& tell_;
    std::set<std::string> messages_; // errors and warnings of the unit
    std::vector<std::string> unit_errors_;
    std::size_t info_count_ = 0;
    bool has_error_ = false;
};

std::string describe_remedy(const FilterFacts& facts, const FilterWarning& warning) {
    return warning.choice.empty()
               ? make_design_command(facts.design)
               : fmt::format("if {} is meant: {}", name_edges(facts.design.suggested_edges),
                             warning.choice);
}

// ---------------------------------------------------------------------------
// Guards

// What one guard found in one step.
void tell_of_one_guard(std::span<const GuardFinding> findings, const TellMessage& tell) {
    const GuardFinding& first = findings.front();
    const MessageLevel level = first.accepted ? MessageLevel::Warning : MessageLevel::Error;
    for (const GuardFinding& finding : findings.first(std::min(MAX_SENTENCES, findings.size()))) {
        tell({level, describe_finding(finding), finding.step});
    }
    if (findings.size() > MAX_SENTENCES) {
        tell({level,
              fmt::format("{}: {}, which --json tells", first.guard,
                          count_things(findings.size() - MAX_SENTENCES, "further finding")),
              first.step});
    }
    if (!first.accepted) {
        tell({MessageLevel::Hint, fmt::format("{}{}--accept {} keeps it", first.remedy,
                                              first.remedy.empty() ? "" : "; ", first.guard)});
    }
}

} // namespace

std::string describe_finding(const GuardFinding& finding) {
    return fmt::format("{}{}: {}{}", finding.guard, finding.accepted ? " (accepted)" : "",
                       finding.set.empty() ? "" : finding.set + ": ", finding.text);
}

void tell_findings(std::span<const GuardFinding> findings, const TellMessage& tell) {
    while (!findings.empty()) {
        const auto next = std::ranges::find_if(findings, [&](const GuardFinding& finding) {
            return finding.guard != findings.front().guard;
        });
        const auto count = static_cast<std::size_t>(next - findings.begin());
        tell_of_one_guard(findings.first(count), tell);
        findings = findings.subspan(count);
    }
}

void tell_warnings(const Step& step, std::span<const StepWarning> warnings,
                   const TellMessage& tell) {
    const std::size_t told = std::min(MAX_SENTENCES, warnings.size());
    for (const auto& [text, hint] : warnings.first(told)) {
        tell({MessageLevel::Warning, text, step.name});
    }
    if (warnings.size() > told) {
        tell({MessageLevel::Warning, count_things(warnings.size() - told, "further warning"),
              step.name});
    }
    if (!warnings.empty()) {
        tell({MessageLevel::Hint, warnings.front().hint});
    }
}

void tell_filters(const Step& step, std::span<const FilterFacts> filters, const TellMessage& tell) {
    for (const FilterFacts& facts : filters) {
        const std::string sets = list_some(facts.sets);
        tell({MessageLevel::Detail, fmt::format("{}: {}", sets, summarise(facts)), step.name});
        const bool is_as_asked = !step.aims.edges.empty();
        if (find_fault(facts.design)) {
            continue;
        }
        for (const FilterWarning& warning : find_warnings(facts)) {
            if (is_as_asked && !warning.choice.empty()) {
                continue;
            }
            tell({MessageLevel::Warning, fmt::format("{}: {}", sets, warning.text), step.name});
            tell({MessageLevel::Hint, describe_remedy(facts, warning)});
        }
    }
}

void tell_found(const StepCall& call, const TellMessage& tell) {
    const auto& [set, values] = call.found;
    if (values.empty()) {
        return;
    }
    std::vector<std::string> words;
    for (const auto& [key, value] : values) {
        const ParameterSignature* signature = call.step.values.signature(key);
        if (signature == nullptr || signature->default_value != value) {
            words.push_back(fmt::format("{}={}", key, format_value(value)));
        }
    }
    tell({MessageLevel::Info,
          fmt::format("{}{} for {}", set.empty() ? "" : set + ": ", join_texts(words, " "),
                      name_edges(call.step.aims.edges)),
          call.step.name});
}

std::vector<std::string> run_step(const Step& step, ObservedTree& tree, const std::string& source,
                                  const TellMessage& tell) {
    return StepRun(step, source, tell).run(tree);
}

} // namespace talvora::host
