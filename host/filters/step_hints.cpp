#include "host/filters/step_hints.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/text/join_texts.h"
#include "host/text/quote_word.h"
#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace talvora::host {
namespace {

using Texts = std::vector<std::string>;

// ---------------------------------------------------------------------------
// Sample rates

// In the tests of units NaN passes, and so does what cannot be read, which is refused instead.
std::optional<std::string> describe_lacking_rate(DataTree& tree, ObjectId set) {
    const auto rate = read_number_attribute(tree, set, SAMPLE_RATE_ATTRIBUTE);
    if (!rate) {
        return fmt::format("{} (none)", tree.path(set));
    }
    return *rate <= 0.0 ? std::optional(fmt::format("{} ({:.6g} Hz)", tree.path(set), *rate))
                        : std::nullopt;
}

// ---------------------------------------------------------------------------
// Shapes

constexpr std::size_t WANTED_RANK = 3;

// How other sets are chosen: all that fit, unless they are many.
std::string describe_choice(const Texts& fitting) {
    if (fitting.empty()) {
        return "import makes such sets of a table";
    }
    return fmt::format("of three dimensions are: {}    choose them by NamesFilter",
                       list_some(fitting));
}

Texts hint_at_shapes(const Step& step, DataTree& tree, const std::string& /*source*/) {
    Texts unfit;
    Texts fitting;
    for (const ObjectId set : find_source_sets(step.values, tree)) {
        const Extents extents = tree.extents(set);
        const std::string path = tree.path(set);
        if (extents.size() == WANTED_RANK) {
            fitting.push_back(split_last(path).second);
        } else {
            unfit.push_back(fmt::format("{} {}", path, describe_extents(extents)));
        }
    }
    if (unfit.empty()) {
        return {};
    }
    return {fmt::format("not [components, 1, samples]: {}", list_some(unfit)),
            describe_choice(fitting)};
}

// ---------------------------------------------------------------------------
// Names of groups among those of data sets; the host itself tells of what is neither

bool is_group(DataTree& tree, const std::string& path) {
    const auto object = tree.find(tree.root(), path);
    return object && tree.kind(*object) == ObjectKind::Group;
}

Texts hint_at_names(const Step& step, DataTree& tree, const std::string& /*source*/) {
    const auto* group = find_value<std::string>(step.values, SOURCE_GROUP_KEY);
    const auto* names = find_value<Texts>(step.values, NAMES_FILTER_KEY);
    Texts groups;
    for (const std::string& name : group != nullptr && names != nullptr ? *names : Texts()) {
        if (std::string path = join_path(*group, name); is_group(tree, path)) {
            groups.push_back(std::move(path));
        }
    }
    return groups.empty() ? Texts() : Texts{"a group, no data set: " + list_some(groups)};
}

// ---------------------------------------------------------------------------

struct KnownMessage {
    std::string_view begin;
    std::string_view end;
    Texts (*find_hints)(const Step& step, DataTree& tree, const std::string& source);
};

constexpr KnownMessage KNOWN_MESSAGES[] = {
    {"At least one data set has no 'SampleRate' attribute", "", find_lacking_rates},
    {"Missing attribute 'SampleRate' or null value", "", find_lacking_rates},
    {"Shape for data set ", " did not contain 3 elements.", hint_at_shapes},
    {"No data set '", "' found", hint_at_names},
};

} // namespace

std::vector<std::string> find_hints(const Step& step, std::string_view message, DataTree& tree,
                                    const std::string& source) {
    const auto known = std::ranges::find_if(KNOWN_MESSAGES, [&](const KnownMessage& candidate) {
        return message.starts_with(candidate.begin) && message.ends_with(candidate.end);
    });
    return known == std::end(KNOWN_MESSAGES) ? Texts() : known->find_hints(step, tree, source);
}

std::vector<std::string> find_lacking_rates(const Step& step, DataTree& tree,
                                            const std::string& source) {
    Texts lacking;
    std::string first;
    for (const ObjectId set : find_source_sets(step.values, tree)) {
        if (auto text = describe_lacking_rate(tree, set)) {
            first = lacking.empty() ? tree.path(set) : first;
            lacking.push_back(std::move(*text));
        }
    }
    if (lacking.empty()) {
        return {};
    }
    Texts hints = {fmt::format("without a SampleRate above 0: {}    name others by {}",
                               list_some(lacking), SOURCE_SETS_KEY)};
    if (!source.empty()) {
        hints.push_back(fmt::format("talvora-host attributes {} SampleRate=HZ -o FILE.h5 gives it "
                                    "one",
                                    quote_word(fmt::format("{}::{}", source, first))));
    }
    return hints;
}

} // namespace talvora::host
