#include "host/validate/run_plans.h"

#include "host/tree/memory_tree.h"
#include "host/validate/tried_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <random>

namespace talvora::host {

namespace {

using Texts = std::vector<std::string>;

// ---------------------------------------------------------------------------
// Plans that differ from the usual run in one value

std::string show(const ParameterValue& value) {
    std::string text = format_value(value);
    for (char& letter : text) {
        letter = letter >= ' ' && letter <= '~' ? letter : '?';
    }
    return text.size() <= 40 ? text
                             : fmt::format("{}... ({} letters)", text.substr(0, 30), text.size());
}

RunPlan with(const ExaminedUnit& unit, const std::string& key, const ParameterValue& value) {
    RunPlan plan{fmt::format("with {}={}", key, show(value)), unit.usual, build_ordinary_tree, {}};
    plan.values.insert_or_assign(key, value);
    return plan;
}

RunPlan without(const ExaminedUnit& unit, const std::string& key) {
    RunPlan plan{fmt::format("without {}", key), unit.usual, build_ordinary_tree, {}};
    plan.values.erase(key);
    return plan;
}

template <typename ValuesOf>
std::vector<RunPlan> one_by_one(const ExaminedUnit& unit, ValuesOf values_of) {
    std::vector<RunPlan> plans;
    for (const ParameterSignature& signature : unit.signatures) {
        for (const ParameterValue& value : values_of(signature.type)) {
            plans.push_back(with(unit, signature.key, value));
        }
    }
    return plans;
}

// Lists of components mean something along an axis alone.
std::vector<RunPlan> integer_lists_on_axis(const ExaminedUnit& unit) {
    std::vector<RunPlan> plans;
    const bool has_axis = declares(unit.signatures, "Axis");
    for (const ParameterSignature& signature : unit.signatures) {
        if (has_axis && signature.type == ParameterType::IntegerList) {
            for (const ParameterValue& value : extreme_numbers_of(signature.type)) {
                plans.push_back(with(unit, signature.key, value));
                plans.back().values.insert_or_assign("Axis", std::int64_t{0});
                plans.back().name += " Axis=0";
            }
        }
    }
    return plans;
}

// ---------------------------------------------------------------------------
// Requests to refuse

std::vector<std::size_t> times_to_refuse(std::size_t count) {
    constexpr std::size_t MOST = 6;
    std::vector<std::size_t> times{0}; // every time
    for (std::size_t nth = 1; nth <= std::min(count, MOST); ++nth) {
        times.push_back(nth);
    }
    if (count > MOST) {
        times.push_back(count);
    }
    return times;
}

void add_refusals(const RunPlan& plan, TreeOperation operation, std::size_t count,
                  std::vector<RunPlan>& plans) {
    for (const Injection::Mode mode : {Injection::Refuse, Injection::GiveNothing}) {
        for (const std::size_t nth : times_to_refuse(count)) {
            if (mode == Injection::GiveNothing && !can_give_nothing(operation)) {
                continue;
            }
            plans.push_back(plan);
            plans.back().injection = Injection{operation, nth, mode};
            plans.back().name += ", the host " + describe(*plans.back().injection);
        }
    }
}

std::array<std::size_t, TREE_OPERATION_COUNT> count_requests(const ExaminedUnit& unit,
                                                             const RunPlan& plan) {
    MemoryTree memory;
    plan.build(memory);
    InjectingTree tree(memory);
    call_run(unit.unit, tree, ParameterValues(unit.signatures, plan.values));
    std::array<std::size_t, TREE_OPERATION_COUNT> counts{};
    for (std::size_t i = 0; i < counts.size(); ++i) {
        counts[i] = tree.count(TreeOperation{static_cast<int>(i)});
    }
    return counts;
}

// ---------------------------------------------------------------------------
// Plans made up at random

using Random = std::mt19937_64;

template <typename Items>
const auto& choose(Random& random, const Items& items) {
    return *(std::ranges::begin(items) + static_cast<std::ptrdiff_t>(random() % items.size()));
}

// Nothing for a parameter without a value. Most are usual: one that is wrong hides the others.
std::optional<ParameterValue> make_up_value(Random& random, const ExaminedUnit& unit,
                                            const ParameterSignature& signature) {
    const auto usual = unit.usual.find(signature.key);
    const bool has_usual = usual != unit.usual.end();
    const auto odds = random() % 8;
    if (odds < 5) {
        return has_usual && odds < 4 ? std::optional(usual->second)
                                     : choose(random, ordinary_values_of(signature.type));
    }
    const auto& wrong =
        odds < 7 ? extreme_numbers_of(signature.type) : wrong_texts_of(signature.type);
    return wrong.empty() ? std::nullopt : std::optional(choose(random, wrong));
}

std::string describe_unless_usual(const ExaminedUnit& unit, const std::string& key,
                                  const ParameterValue& value) {
    const auto usual = unit.usual.find(key);
    return usual != unit.usual.end() && usual->second == value
               ? ""
               : fmt::format(" {}={}", key, show(value));
}

RunPlan make_up_plan(Random& random, const ExaminedUnit& unit) {
    RunPlan plan{{}, {}, build_ordinary_tree, {}};
    for (const ParameterSignature& signature : unit.signatures) {
        if (const auto value = make_up_value(random, unit, signature)) {
            plan.values.emplace(signature.key, *value);
            plan.name += describe_unless_usual(unit, signature.key, *value);
        }
    }
    if (random() % 2 == 0) {
        const SampleTree& tree = choose(random, odd_trees());
        plan.build = tree.build;
        plan.name += fmt::format(", on {}", tree.name);
    }
    return plan;
}

} // namespace

ExaminedUnit examine_unit(const Unit& unit, std::vector<ParameterSignature> signatures) {
    ExaminedUnit examined{unit, std::move(signatures), {}};
    for (const ParameterSignature& signature : examined.signatures) {
        if (const auto value = guess_value(signature)) {
            examined.usual.emplace(signature.key, *value);
        }
    }
    return examined;
}

std::vector<RunPlan> ordinary_runs(const ExaminedUnit& unit) {
    std::vector<RunPlan> plans{{"with the usual values", unit.usual, build_ordinary_tree, {}}};
    for (const ParameterSignature& signature : unit.signatures) {
        if (signature.type == ParameterType::Boolean) {
            plans.push_back(with(unit, signature.key, true));
        }
        if (signature.key == "SourceSets") {
            plans.push_back(with(unit, signature.key, Texts{SAMPLE_SET, "Imu/gyr", SAMPLE_SET}));
        }
    }
    return plans;
}

std::vector<RunPlan> runs_without_values(const ExaminedUnit& unit) {
    std::vector<RunPlan> plans;
    for (const auto& [key, value] : unit.usual) {
        plans.push_back(without(unit, key));
    }
    plans.push_back({"without any value", {}, build_ordinary_tree, {}});
    return plans;
}

std::vector<RunPlan> runs_with_wrong_texts(const ExaminedUnit& unit) {
    return one_by_one(unit, wrong_texts_of);
}

std::vector<RunPlan> runs_with_extreme_numbers(const ExaminedUnit& unit) {
    std::vector<RunPlan> plans = one_by_one(unit, extreme_numbers_of);
    std::ranges::move(integer_lists_on_axis(unit), std::back_inserter(plans));
    return plans;
}

std::vector<RunPlan> runs_on_odd_trees(const ExaminedUnit& unit) {
    std::vector<RunPlan> plans;
    for (const SampleTree& tree : odd_trees()) {
        plans.push_back({fmt::format("on {}", tree.name), unit.usual, tree.build, {}});
    }
    return plans;
}

std::vector<RunPlan> all_requested_runs(const ExaminedUnit& unit) {
    std::vector<RunPlan> plans;
    for (const auto make : {ordinary_runs, runs_without_values, runs_with_wrong_texts,
                            runs_with_extreme_numbers, runs_on_odd_trees}) {
        std::ranges::move(make(unit), std::back_inserter(plans));
    }
    return plans;
}

std::vector<RunPlan> runs_with_refusals(const ExaminedUnit& unit) {
    std::vector<RunPlan> plans;
    for (const RunPlan& plan : ordinary_runs(unit)) {
        const auto counts = count_requests(unit, plan);
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] > 0) {
                add_refusals(plan, TreeOperation{static_cast<int>(i)}, counts[i], plans);
            }
        }
    }
    return plans;
}

std::vector<RunPlan> runs_with_made_up_inputs(const ExaminedUnit& unit, std::uint64_t seed) {
    constexpr int COUNT = 60;
    Random random(seed);
    std::vector<RunPlan> plans;
    for (int i = 0; i < COUNT; ++i) {
        plans.push_back(make_up_plan(random, unit));
        plans.back().name =
            fmt::format("with made-up inputs {} (--seed {}){}", i + 1, seed, plans.back().name);
    }
    return plans;
}

RunOutcome try_run(const ExaminedUnit& unit, const RunPlan& plan) {
    MemoryTree memory;
    plan.build(memory);
    RunOutcome outcome;
    outcome.before = digest_objects(memory);
    InjectingTree tree(memory, plan.injection);
    outcome.report = call_run(unit.unit, tree, ParameterValues(unit.signatures, plan.values));
    outcome.after = digest_objects(memory);
    return outcome;
}

} // namespace talvora::host
