#include "host/maps/set_plan.h"

#include "host/tables/row_placement.h"
#include "host/tables/time_column.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/path_glob.h"
#include "host/text/plural.h"
#include "host/text/quote_word.h"
#include "host/tree/group_walk.h"
#include "host/tree/number_attribute.h"
#include "host/tree/packed_samples.h"
#include "host/tree/rate_tolerance.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace talvora::host {
namespace {

// More numbers than anything has components.
constexpr std::uint64_t MAX_NUMBERS = std::uint64_t{1} << 20;

// Thrown with the reason for which a data set is left.
class Left : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A data set where it was found, of real numbers or of something else.
struct Candidate {
    ObjectId id{};
    std::string path;
    std::string description; // of something else
};

std::vector<Candidate> list_candidates(Hdf5Tree& tree) {
    std::vector<Candidate> candidates;
    walk_group_places(tree, tree.root(), "", [&](const GroupPlace& group) {
        if (!group.is_first) {
            return;
        }
        const auto add = [&](const std::string& name, const std::string& description) {
            candidates.push_back(
                {tree.find(group.id, name).value(), join_path(group.path, name), description});
        };
        for (const std::string& name : tree.list_datasets(group.id)) {
            add(name, "");
        }
        for (const OtherObject& other : tree.list_others(group.id)) {
            add(other.name, other.description);
        }
    });
    return candidates;
}

bool matches_one(std::span<const std::string> patterns, const std::string& path) {
    return std::ranges::any_of(
        patterns, [&](const std::string& pattern) { return matches_path(pattern, path); });
}

const MappedSets* find_sets(const ImportMap& map, const std::string& path) {
    const auto sets = std::ranges::find_if(map.sets, [&](const MappedSets& candidate) {
        return matches_one(candidate.data, path) && !matches_one(candidate.except, path);
    });
    return sets == map.sets.end() ? nullptr : &*sets;
}

// ---------------------------------------------------------------------------
// Dimensions

bool is_single_number(const Extents& extents) {
    return std::ranges::all_of(extents, [](std::uint64_t extent) { return extent == 1; });
}

// The one that holds more than one index; nothing where several do.
std::optional<std::size_t> find_only_long(const Extents& extents) {
    const auto is_long = [](std::uint64_t extent) { return extent != 1; };
    if (std::ranges::count_if(extents, is_long) != 1) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(std::ranges::find_if(extents, is_long) - extents.begin());
}

// Programs that count dimensions from the last one on know no arrays of one dimension: a row or a
// column of numbers runs in time whichever way it lies.
std::size_t find_time_dimension(const MappedSets& sets, const Extents& extents) {
    if (sets.column_order) {
        if (is_single_number(extents)) {
            throw Left("it is a single number");
        }
        if (const auto only = find_only_long(extents)) {
            return *only;
        }
    }
    const auto rank = static_cast<int>(extents.size());
    const int wanted = sets.time_dimension;
    const int counted = wanted < 0 ? wanted + rank : wanted;
    if (counted < 0 || counted >= rank) {
        throw Left(fmt::format("it has {}, dimension {} would be time",
                               count_things(extents.size(), "dimension"), wanted));
    }
    return static_cast<std::size_t>(sets.column_order ? rank - 1 - counted : counted);
}

void plan_dimensions(const MappedSets& sets, SetPlan& plan) {
    if (std::ranges::find(plan.extents, 0) != plan.extents.end()) {
        throw Left("it holds no samples");
    }
    plan.time_dimension = find_time_dimension(sets, plan.extents);
    plan.row_count = plan.extents[plan.time_dimension];
    for (std::size_t d = 0; d < plan.extents.size(); ++d) {
        if (d == plan.time_dimension || plan.extents[d] == 1) {
            continue;
        }
        if (plan.component_dimension) {
            throw Left("beside time, more than one dimension holds more than one index (allowed: "
                       "one, the components)");
        }
        plan.component_dimension = d;
        plan.component_count = plan.extents[d];
    }
}

// Empty where there are not as many numbers.
std::vector<double> read_numbers(Hdf5Tree& source, const SetPlan& set, const FoundPlace& place,
                                 std::uint64_t count) {
    try {
        auto numbers = SourceValues(source, set.id, set.path).read_numbers(place, count);
        return numbers.size() == count ? numbers : std::vector<double>();
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) {
        return {};
    }
}

// A time that is lost, repeated or out of order is for the comparison with the rate to tell.
bool look_like_times(std::span<const double> numbers) {
    constexpr double MOST = 0.9;
    std::size_t ascending_count = 0;
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        ascending_count += numbers[i] > numbers[i - 1] ? 1U : 0U;
    }
    return numbers.size() >= 2 &&
           static_cast<double>(ascending_count) >= MOST * static_cast<double>(numbers.size() - 1);
}

// ---------------------------------------------------------------------------
// One data set

class SetPlanner {
  public:
    SetPlanner(Hdf5Tree& tree, const MappedSets& sets, const MapChoices& choices,
               const Candidate& candidate, std::set<ObjectId>& used)
        : tree_(tree), sets_(sets), choices_(choices), candidate_(candidate),
          values_(tree, candidate.id, candidate.path), used_(used) {}

    // Throws Left, or a TreeError for what is wrong.
    SetPlan plan() {
        check_conditions();
        SetPlan plan;
        plan.id = candidate_.id;
        plan.path = candidate_.path;
        plan.type = tree_.sample_type(candidate_.id);
        plan.extents = tree_.extents(candidate_.id);
        plan_dimensions(sets_, plan);
        refuse_other_calibrations();
        plan_time(plan);
        plan.calibration = read_calibration(plan.component_count);
        plan.units = read_fitting_texts(sets_.unit, "unit", plan.component_count, plan.notes);
        plan.labels = read_labels(plan.component_count, plan.notes);
        plan.result = join_path(choices_.group, make_name());
        return plan;
    }

  private:
    void check_conditions() {
        if (!candidate_.description.empty()) {
            throw Left(candidate_.description);
        }
        if (sets_.where) {
            check_text(*sets_.where);
        }
        if (const auto found = values_.find(sets_.unless)) {
            throw Left(fmt::format("there is {}", found->description));
        }
    }

    void check_text(const TextCondition& condition) {
        const ValueChoice choice = {
            {.kind = ValuePlace::Kind::Attribute, .attribute = condition.attribute}};
        const auto found = values_.find(choice);
        if (!found) {
            throw Left(values_.describe_missing(choice));
        }
        const std::vector<std::string> texts = values_.read_texts(*found);
        if (texts.size() != 1 ||
            std::ranges::find(condition.allowed, texts.front()) == condition.allowed.end()) {
            throw Left(
                fmt::format("its attribute '{}' is '{}'", condition.attribute, join_texts(texts)));
        }
    }

    void refuse_other_calibrations() {
        if (const auto found = values_.find(sets_.refuse)) {
            throw TreeError(fmt::format("the samples of '{}' are to be had by {}, which is no "
                                        "scale and offset",
                                        candidate_.path, found->description));
        }
    }

    // ---------------------------------------------------------------------
    // Values beside it

    FoundPlace find(const ValueChoice& choice) {
        const auto found = find_and_use(choice);
        if (!found) {
            throw Left(values_.describe_missing(choice));
        }
        return *found;
    }

    // What is read as something else is no set of samples.
    std::optional<FoundPlace> find_and_use(const ValueChoice& choice) {
        auto found = values_.find(choice);
        if (found && found->is_dataset()) {
            used_.insert(found->object);
        }
        return found;
    }

    // Where a rate is told on the command line, times are wanted for a grid alone.
    void plan_time(SetPlan& plan) {
        const bool is_told = choices_.sample_rate && choices_.placement == Placement::Steps;
        const auto times = find_and_use(sets_.times);
        if (times && !is_told) {
            plan.times = times;
            return;
        }
        const auto rate = find_and_use(sets_.rate);
        if (is_told) {
            plan.sample_rate = *choices_.sample_rate;
            plan.own_times = times;
            plan.own_rate = rate;
        } else if (rate) {
            plan.sample_rate = read_rate(*rate);
        } else {
            throw Left(explain_no_time());
        }
        const bool has_times = plan_times_beside(plan);
        if (const auto start = find_and_use(sets_.start)) {
            plan.start_time = read_start(*start);
        } else if (has_times) {
            return;
        } else if (!sets_.start.empty() && !is_told) {
            throw Left(values_.describe_missing(sets_.start));
        }
    }

    // What is not as many numbers, ascending but for a few, is a set like others.
    bool plan_times_beside(SetPlan& plan) {
        const auto found = values_.find(sets_.times_beside);
        if (!found || found->object == candidate_.id) {
            return false;
        }
        const std::vector<double> times = read_numbers(tree_, plan, *found, plan.row_count);
        if (!look_like_times(times)) {
            return false;
        }
        used_.insert(found->object);
        plan.start_time = times.front();
        plan.notes.push_back(fmt::format("{}: {} holds its times, and is no set of samples",
                                         plan.path, found->description));
        plan.times_beside = found;
        return true;
    }

    std::string explain_no_time() const {
        std::string reason = values_.describe_missing(sets_.rate);
        if (!sets_.times.empty()) {
            reason += (reason.empty() ? "" : " and ") + values_.describe_missing(sets_.times);
        }
        return reason.empty() ? "the map tells no rate (--rate HZ would)" : reason;
    }

    double read_rate(const FoundPlace& found) {
        const double rate = values_.read_number(found);
        const auto rounded = static_cast<float>(rate);
        if (!(std::isfinite(rounded) && rounded > 0)) {
            throw TreeError(fmt::format("{} is {} (allowed: a rate in Hz, greater than 0 and "
                                        "finite)",
                                        found.description, rate));
        }
        return rate;
    }

    double read_start(const FoundPlace& found) {
        const double start = values_.read_number(found);
        if (!std::isfinite(start) || find_no_second({&start, 1})) {
            throw TreeError(
                fmt::format("{} is {} (allowed: a finite time in seconds, before the year 5000)",
                            found.description, start));
        }
        return start;
    }

    Calibration read_calibration(std::uint64_t component_count) {
        if (!sets_.polynomial.empty()) {
            return read_line(find(sets_.polynomial));
        }
        Calibration calibration{read_factors(sets_.scale, component_count, 1),
                                read_factors(sets_.offset, component_count, 0)};
        const auto further = read_factors(sets_.component_scale, component_count, 1);
        multiply(calibration.scale, further);
        if (std::ranges::any_of(calibration.scale, [](double scale) { return scale == 0; })) {
            throw TreeError(
                fmt::format("a scale of '{}' is 0 (allowed: other numbers)", candidate_.path));
        }
        return calibration;
    }

    static void multiply(std::vector<double>& factors, const std::vector<double>& others) {
        factors.resize(std::max(factors.size(), others.size()), factors.front());
        for (std::size_t i = 0; i < factors.size(); ++i) {
            factors[i] *= others[others.size() == 1 ? 0 : i];
        }
    }

    // One for all components, or one for each.
    std::vector<double> read_factors(const ValueChoice& choice, std::uint64_t component_count,
                                     double otherwise) {
        if (choice.empty()) {
            return {otherwise};
        }
        const FoundPlace found = find(choice);
        std::vector<double> factors = values_.read_numbers(found, MAX_NUMBERS);
        if (factors.size() != 1 && factors.size() != component_count) {
            throw TreeError(fmt::format("{} holds {} for {} of '{}'", found.description,
                                        count_things(factors.size(), "number"),
                                        count_things(component_count, "component"),
                                        candidate_.path));
        }
        refuse_not_finite(factors, found);
        return factors;
    }

    static void refuse_not_finite(std::span<const double> numbers, const FoundPlace& found) {
        for (const double number : numbers) {
            if (!std::isfinite(number)) {
                throw TreeError(
                    fmt::format("{} is {} (allowed: finite numbers)", found.description, number));
            }
        }
    }

    Calibration read_line(const FoundPlace& found) {
        std::vector<double> coefficients = values_.read_numbers(found, MAX_NUMBERS);
        refuse_not_finite(coefficients, found);
        while (!coefficients.empty() && coefficients.back() == 0) {
            coefficients.pop_back();
        }
        if (coefficients.size() != 2) {
            throw TreeError(
                fmt::format("{} is {}, which is no scale and offset", found.description,
                            coefficients.size() > 2
                                ? fmt::format("a polynomial of degree {}", coefficients.size() - 1)
                                : "a constant"));
        }
        return {{coefficients[1]}, {coefficients[0]}};
    }

    bool holds_texts(const ValueChoice& choice, std::vector<std::string>& notes) {
        const auto found = values_.find(choice);
        try {
            return found && !values_.read_texts(*found).empty();
        } catch (const StorageError&) {
            throw;
        } catch (const TreeError&) {
            notes.push_back(fmt::format("{}: left {}, which holds no texts", candidate_.path,
                                        found->description));
            return false;
        }
    }

    // Names that do not fit are left, for what they name cannot be told.
    std::vector<std::string> read_fitting_texts(const ValueChoice& choice, std::string_view what,
                                                std::uint64_t component_count,
                                                std::vector<std::string>& notes) {
        if (choice.empty() || (sets_.are_plain && !holds_texts(choice, notes))) {
            return {};
        }
        const FoundPlace found = find(choice);
        std::vector<std::string> texts = values_.read_texts(found);
        const bool is_one_for_all = what == "unit" && texts.size() == 1;
        if (!is_one_for_all && texts.size() != component_count) {
            notes.push_back(fmt::format("{}: left {}, {} for {}", candidate_.path,
                                        found.description, count_things(texts.size(), what),
                                        count_things(component_count, "component")));
            return {};
        }
        return texts;
    }

    std::vector<std::string> read_labels(std::uint64_t component_count,
                                         std::vector<std::string>& notes) {
        std::vector<std::string> labels =
            read_fitting_texts(sets_.names, "name", component_count, notes);
        const std::set<std::string_view> different(labels.begin(), labels.end());
        if (different.size() < labels.size() || different.contains("")) {
            notes.push_back(fmt::format("{}: left the names of its components, which are not all "
                                        "different: {}",
                                        candidate_.path, list_some(labels)));
            return {};
        }
        return labels;
    }

    std::string make_name() const {
        const auto [group, last] = split_last(candidate_.path);
        std::string name;
        for (std::string_view rest = sets_.name; !rest.empty();) {
            if (rest.front() != '{') {
                name += rest.front();
                rest.remove_prefix(1);
                continue;
            }
            const std::string_view word = rest.substr(1, rest.find('}') - 1);
            name += word == "path" ? candidate_.path : word == "group" ? group : last;
            rest.remove_prefix(word.size() + 2);
        }
        return split_path(name).empty() ? candidate_.path : name;
    }

    Hdf5Tree& tree_;
    const MappedSets& sets_;
    const MapChoices& choices_;
    const Candidate& candidate_;
    SourceValues values_;
    std::set<ObjectId>& used_;
};

// ---------------------------------------------------------------------------
// What the command line tells of them, against what they tell themselves

bool contradicts(std::optional<double> own_rate, double told_rate) {
    const bool is_rate = own_rate && std::isfinite(*own_rate) && *own_rate > 0;
    return is_rate && std::abs(*own_rate - told_rate) > RATE_TOLERANCE * *own_rate;
}

std::string hint_at_map(const SetPlan& set, std::string_view times_key) {
    return fmt::format("if {0:.6g} Hz is right, a map says so: --map FILE.yaml with rate: {0:.6g} "
                       "and no {1}",
                       set.sample_rate, times_key);
}

[[noreturn]] void refuse_rate(const SetPlan& set, const std::string& contradicted,
                              const std::string& own, const std::string& file) {
    throw Failure(ExitCode::Input,
                  fmt::format("{}: {}: --rate {:.6g} contradicts {}", file, set.path,
                              set.sample_rate, contradicted),
                  {fmt::format("without --rate {}", own), hint_at_map(set, "times")});
}

// A rate that stands in the map itself is one for files that tell none.
void refuse_mapped_rate(Hdf5Tree& source, const SetPlan& set, const std::string& file) {
    if (set.own_rate && set.own_rate->place->kind != ValuePlace::Kind::Constant) {
        const auto own = read_numbers(source, set, *set.own_rate, 1);
        if (!own.empty() && contradicts(own.front(), set.sample_rate)) {
            refuse_rate(set, fmt::format("{}, {:.6g} Hz", set.own_rate->description, own.front()),
                        "that one is taken", file);
        }
    }
    if (set.own_times) {
        const auto times = read_numbers(source, set, *set.own_times, set.row_count);
        if (const auto contradiction = find_contradiction(times, set.sample_rate, 0)) {
            refuse_rate(set, fmt::format("{}: {}", set.own_times->description, *contradiction),
                        "the rows are placed by it", file);
        }
    }
}

void refuse_other_times(Hdf5Tree& source, const SetPlan& set, const std::string& file) {
    if (!set.times_beside) {
        return;
    }
    const auto times = read_numbers(source, set, *set.times_beside, set.row_count);
    if (const auto contradiction = find_contradiction(times, set.sample_rate, 0)) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: {}: {:.6g} Hz contradicts {}: {}", file, set.path,
                                  set.sample_rate, set.times_beside->description, *contradiction),
                      {fmt::format("--variable times={} places the rows by it, in seconds",
                                   split_last(set.times_beside->path).second),
                       hint_at_map(set, "times_beside")});
    }
}

void refuse_other_rate(Hdf5Tree& source, const SetPlan& set, const std::string& file) {
    const auto own = read_number_attribute(source, set.id, SAMPLE_RATE_ATTRIBUTE);
    if (!contradicts(own, set.sample_rate)) {
        return;
    }
    const std::string place = quote_word(fmt::format("{}::{}", file, set.path));
    throw Failure(ExitCode::Input,
                  fmt::format("{}: {}: --rate {:.6g} contradicts its SampleRate of {:.6g} Hz", file,
                              set.path, set.sample_rate, *own),
                  {fmt::format("its own: talvora-host import {} --rate {:.6g}", place, *own),
                   fmt::format("if {:.6g} Hz is right, set it first: talvora-host attributes {} "
                               "SampleRate={:.6g} -o FILE.h5",
                               set.sample_rate, place, set.sample_rate)});
}

// As a map counts them.
std::size_t count_dimension(const MappedSets& sets, const SetPlan& set, std::size_t dimension) {
    return sets.column_order ? set.extents.size() - 1 - dimension : dimension;
}

// What to type for another dimension of time.
std::string name_time_option(const MappedSets& sets, const SetPlan& set, std::size_t dimension) {
    const std::size_t counted = count_dimension(sets, set, dimension);
    if (sets.are_plain) {
        return fmt::format("--time-axis {}", counted);
    }
    return sets.column_order ? fmt::format("--map mat --variable time={}", counted)
                             : fmt::format("--map FILE.yaml with time: {}", counted);
}

void check_time(const MappedSets& sets, const SetPlan& set, const std::string& file,
                ImportPlan& plan) {
    if (const auto other = find_likelier_time(set.extents, set.time_dimension)) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: {}: of {} dimension {} would be time, and dimension {} has {} times "
                        "as many samples",
                        file, set.path, describe_extents(set.extents), set.time_dimension, *other,
                        set.extents[*other] / set.row_count),
            {fmt::format("take that one: talvora-host import {} {}",
                         quote_word(fmt::format("{}::{}", file, set.path)),
                         name_time_option(sets, set, *other)),
             fmt::format("if dimension {0} is meant, a map says so: --map FILE.yaml with time: {0}",
                         count_dimension(sets, set, set.time_dimension))});
    }
    if (set.component_count > set.row_count) {
        plan.warnings.push_back(fmt::format(
            "{}: {}: of {} dimension {} is taken for time, and dimension {} is longer "
            "({} takes that one)",
            file, set.path, describe_extents(set.extents), set.time_dimension,
            *set.component_dimension, name_time_option(sets, set, *set.component_dimension)));
    }
}

// A map of somebody's own says what is meant.
void warn_of_packing(Hdf5Tree& source, const SetPlan& set, const std::string& file,
                     ImportPlan& plan) {
    if (const std::string packing = describe_packing(source, set.id); !packing.empty()) {
        plan.warnings.push_back(
            fmt::format("{}: {}: {} (--map FILE.yaml with scale and offset takes them so)", file,
                        set.path, packing));
    }
}

// ---------------------------------------------------------------------------
// All of them

struct LeftSet {
    std::string path;
    std::string reason;
};

void refuse_same_results(std::span<const SetPlan> sets, const std::string& file) {
    std::map<std::string, const SetPlan*> known;
    for (const SetPlan& set : sets) {
        const auto [first, is_new] = known.emplace(set.result, &set);
        if (!is_new) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: '{}' and '{}' would both become '{}'", file,
                                      first->second->path, set.path, set.result),
                          {fmt::format("take them one by one: {}::{}", file, set.path)});
        }
    }
    for (const SetPlan& set : sets) {
        const auto inside = known.lower_bound(set.result + "/");
        if (inside != known.end() && inside->first.starts_with(set.result + "/")) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: '{}' would become '{}', and '{}' go below it", file,
                                      set.path, set.result, inside->second->path),
                          {fmt::format("take them one by one: {}::{}", file, set.path)});
        }
    }
}

[[noreturn]] void refuse_nothing(const ImportMap& map, std::span<const LeftSet> left,
                                 const MapChoices& choices, const std::string& file) {
    const std::string where =
        choices.glob.empty() ? file : fmt::format("{}::{}", file, choices.glob);
    if (left.empty()) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: no data set that the map '{}' names", where, map.name),
                      {fmt::format("what it holds: talvora-host tree {}", file)});
    }
    throw Failure(ExitCode::Input,
                  fmt::format("{}: no data set is taken; {}: {}{}", where, left.front().path,
                              left.front().reason,
                              left.size() > 1 ? fmt::format(" ({} more)", left.size() - 1) : ""),
                  {fmt::format("what it holds: talvora-host tree {} --attributes", file)});
}

void report_left(std::span<const LeftSet> left, std::span<const std::string> unnamed,
                 const ImportMap& map, const std::string& file, ImportPlan& plan) {
    for (const SetPlan& set : plan.sets) {
        for (const std::string& note : set.notes) {
            plan.infos.push_back(fmt::format("{}: {}", file, note));
        }
    }
    for (const auto& [path, reason] : left) {
        plan.infos.push_back(fmt::format("{}: left {}: {}", file, path, reason));
    }
    if (!unnamed.empty()) {
        plan.infos.push_back(fmt::format("{}: left {} that the map '{}' does not name: {}", file,
                                         count_things(unnamed.size(), "data set"), map.name,
                                         list_some(unnamed)));
    }
}

bool is_chosen(const MapChoices& choices, const std::string& path) {
    return choices.glob.empty() || matches_path(choices.glob + "/**", path);
}

ImportPlan make_plan(Hdf5Tree& source, const ImportMap& map, const MapChoices& choices,
                     const std::string& file) {
    ImportPlan plan;
    std::vector<LeftSet> left;
    std::vector<std::string> unnamed;
    std::set<ObjectId> used;
    for (const Candidate& candidate : list_candidates(source)) {
        const MappedSets* sets = find_sets(map, candidate.path);
        if (!is_chosen(choices, candidate.path)) {
            continue;
        }
        if (sets == nullptr) {
            unnamed.push_back(candidate.path);
            continue;
        }
        try {
            plan.sets.push_back(SetPlanner(source, *sets, choices, candidate, used).plan());
        } catch (const Left& reason) {
            left.push_back({candidate.path, reason.what()});
        }
    }
    std::erase_if(plan.sets, [&](const SetPlan& set) { return used.contains(set.id); });
    std::erase_if(left, [&](const LeftSet& set) {
        return used.contains(source.find(source.root(), set.path).value());
    });
    std::erase_if(unnamed, [&](const std::string& path) {
        return used.contains(source.find(source.root(), path).value());
    });
    if (plan.sets.empty()) {
        refuse_nothing(map, left, choices, file);
    }
    for (const SetPlan& set : plan.sets) {
        const MappedSets& sets = *find_sets(map, set.path);
        if (sets.are_plain || map.is_shipped) {
            check_time(sets, set, file, plan);
            warn_of_packing(source, set, file, plan);
        }
        if (sets.are_plain) {
            refuse_other_rate(source, set, file);
        } else {
            refuse_mapped_rate(source, set, file);
            refuse_other_times(source, set, file);
        }
    }
    refuse_same_results(plan.sets, file);
    report_left(left, unnamed, map, file, plan);
    return plan;
}

} // namespace

double Calibration::scale_of(std::uint64_t component) const {
    return scale[scale.size() == 1 ? 0 : component];
}

double Calibration::offset_of(std::uint64_t component) const {
    return offset[offset.size() == 1 ? 0 : component];
}

ImportPlan plan_import(Hdf5Tree& source, const ImportMap& map, const MapChoices& choices,
                       const std::string& file) {
    try {
        return make_plan(source, map, choices, file);
    } catch (const TreeError& error) {
        throw Failure(ExitCode::Input, fmt::format("{}: {}", file, error.what()),
                      {fmt::format("other data sets of it: {}::PATTERN", file)});
    }
}

} // namespace talvora::host
