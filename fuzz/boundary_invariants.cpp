#include "fuzz/boundary_invariants.h"

#include "fuzz/finding.h"
#include "fuzz/same_bits.h"

#include <algorithm>
#include <set>

namespace talvora::fuzz {

namespace {

using test_support::Attributes;
using test_support::Channel;
using test_support::DataSet;
using test_support::Group;
using test_support::join_path;
using test_support::Message;
using test_support::RecordingHost;
using test_support::Texts;

[[noreturn]] void report(const World& world, const std::string& sentence) {
    report_finding(world.unit->identifier + ": " + sentence);
}

// --- equality

bool same_attributes(const Attributes& left, const Attributes& right) {
    return std::ranges::equal(left, right, [](const auto& one, const auto& other) {
        return one.first == other.first && same_bits(one.second.value, other.second.value);
    });
}

bool same_set(const DataSet& left, const DataSet& right) {
    return left.extents() == right.extents() && same_bits(left.samples(), right.samples()) &&
           same_attributes(left.attributes(), right.attributes());
}

// --- what a world says

template <typename T>
const T* parameter(const World& world, const char* key) {
    const auto found = world.parameters.find(key);
    return found == world.parameters.end() ? nullptr : &std::get<T>(found->second);
}

std::string text_parameter(const World& world, const char* key) {
    const auto* text = parameter<std::string>(world, key);
    return text == nullptr ? "" : *text;
}

Texts texts_parameter(const World& world, const char* key) {
    const auto* texts = parameter<Texts>(world, key);
    return texts == nullptr ? Texts{} : *texts;
}

bool declares(const World& world, const std::string& key) {
    return std::ranges::any_of(world.unit->parameters,
                               [&](const auto& one) { return one.key() == key; });
}

bool is_in_place(const World& world) {
    return declares(world, "SourceSets");
}

bool shortens_sets(const World& world) {
    return declares(world, "HintGroup");
}

std::string parent_of(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

bool is_below(const std::string& path, const std::string& group) {
    return group.empty() || path.starts_with(group + "/");
}

// --- where a unit may write

bool is_in_source_group(const World& world, const std::string& path) {
    const auto* given = parameter<std::string>(world, "SourceGroup");
    if (given == nullptr) {
        return false;
    }
    const std::string group = join_path("", *given);
    const bool* recursive = parameter<bool>(world, "ScanRecursive");
    return recursive != nullptr && *recursive ? is_below(path, group) : parent_of(path) == group;
}

bool is_named_source(const World& world, const std::string& path) {
    return std::ranges::any_of(texts_parameter(world, "SourceSets"), [&](const std::string& name) {
        return join_path("", name) == path;
    });
}

// The names under which an aggregation may take sets, and give them.
std::set<std::string> aggregated_names(const World& world) {
    std::set<std::string> names;
    for (const std::string& name : texts_parameter(world, "NamesFilter")) {
        names.insert(name);
    }
    const std::string group = join_path("", text_parameter(world, "SourceGroup"));
    for (const SetPlan& set : world.sets) {
        if (parent_of(set.path) == group) {
            names.insert(set.path.substr(set.path.rfind('/') + 1));
        }
    }
    return names;
}

bool is_destination(const World& world, const std::string& path) {
    if (declares(world, "DestinationSet")) {
        return join_path("", text_parameter(world, "DestinationSet")) == path;
    }
    const std::string group = join_path("", text_parameter(world, "DestinationGroup"));
    return std::ranges::any_of(aggregated_names(world), [&](const std::string& name) {
        return join_path(group, name) == path;
    });
}

bool may_write_set(const World& world, const std::string& path) {
    return is_in_place(world) ? is_named_source(world, path) || is_in_source_group(world, path)
                              : is_destination(world, path);
}

bool may_write_group(const World& world, const std::string& path) {
    const auto* source = parameter<std::string>(world, "SourceGroup");
    return shortens_sets(world) && source != nullptr &&
           (join_path("", *source) == path || is_below(path, join_path("", *source)));
}

// --- what a run was given, and what it left

struct Given {
    RecordingHost host;
    explicit Given(const World& world) { furnish(host, world); }
};

void check_set(const World& world, const DataSet& before, const DataSet& after) {
    if (!may_write_set(world, before.path()) && !same_set(before, after)) {
        report(world, "changed " + before.path() + ", which no parameter names");
    }
    if (!shortens_sets(world) && before.extents() != after.extents()) {
        report(world, "changed the shape of " + before.path());
    }
}

void check_group(const World& world, const Group& before, const Group& after) {
    if (!may_write_group(world, before.path()) &&
        !same_attributes(before.attributes(), after.attributes())) {
        report(world, "changed the attributes of group " + before.path());
    }
}

void check_new_set(const World& world, const DataSet& set) {
    if (is_in_place(world) || !is_destination(world, set.path())) {
        report(world, "made a data set " + set.path());
    }
}

// --- messages

// A set without a rate is reported by the unit that fills gaps, and passed over.
bool is_passed_over(const Message& message) {
    return message.text_template == "Missing attribute 'SampleRate' or null value to compute the "
                                    "maximum gap length for a set to fill";
}

bool is_error(const Message& message) {
    return message.channel == Channel::CONTEXT_ERROR && !is_passed_over(message);
}

// A host that answers with a handle of no group has its own word on that.
bool has_no_destination_group(const RecordingHost& host, const World& world) {
    const std::string path = join_path("", text_parameter(world, "DestinationGroup"));
    const Group* group = host.tree().find_group(path);
    return declares(world, "DestinationGroup") && (group == nullptr || !group->is_valid());
}

bool has_invalid_object(const World& world) {
    return std::ranges::any_of(world.groups, &GroupPlan::is_invalid) ||
           std::ranges::any_of(world.sets, &SetPlan::is_invalid);
}

// A set without dimensions is selected with no words: two for each dimension.
bool is_whole_scalar(const World& world, const std::string& violation) {
    return std::ranges::any_of(world.sets, [&](const SetPlan& set) {
        return set.extents.empty() &&
               violation.ends_with(" of " + set.path + " has a selection of 0 words");
    });
}

// What a host says exists and yet gives no valid handle for is found out by use.
bool is_use_of_invalid_object(const World& world, const std::string& violation) {
    return has_invalid_object(world) &&
           (violation.starts_with("a slot was called with a handle of no group") ||
            violation.starts_with("a slot was called with a handle of no data set"));
}

// A host that is asked to create a set and hands out the one that exists gets the writes
// that a new one would have taken.
bool is_write_to_set_not_created(const World& world, const std::string& violation) {
    return world.habits.creation_opens_existing &&
           std::ranges::any_of(world.sets, [&](const SetPlan& set) {
               return violation.starts_with("write_samples of " + set.path + " goes beyond it") &&
                      is_destination(world, set.path);
           });
}

bool is_permitted(const World& world, const std::string& violation) {
    return is_whole_scalar(world, violation) || is_use_of_invalid_object(world, violation) ||
           is_write_to_set_not_created(world, violation);
}

} // namespace

void check_violations(RecordingHost& host, const World& world) {
    for (const std::string& violation : host.take_violations()) {
        if (!is_permitted(world, violation)) {
            report(world, violation);
        }
    }
}

void check_messages(const RecordingHost& host, const World& world, bool result) {
    const bool has_error = std::ranges::any_of(host.messages(), is_error);
    if (result && has_error) {
        report(world, "succeeded, and reported an error");
    }
    if (!result && !has_error && !has_no_destination_group(host, world)) {
        report(world, "failed, and reported nothing");
    }
}

void check_untouched(const RecordingHost& host, const World& world) {
    const Given given(world);
    for (const auto& set : host.tree().datasets()) {
        const DataSet* before = given.host.tree().find_dataset(set->path());
        before == nullptr ? check_new_set(world, *set) : check_set(world, *before, *set);
    }
    for (const auto& group : host.tree().groups()) {
        if (const Group* before = given.host.tree().find_group(group->path())) {
            check_group(world, *before, *group);
        } else if (is_in_place(world)) {
            report(world, "made a group " + group->path());
        }
    }
}

void check_same(const RecordingHost& first, const RecordingHost& second) {
    if (first.calls() != second.calls()) {
        report_finding("a second run made other calls");
    }
    const bool same_sets = std::ranges::equal(
        first.tree().datasets(), second.tree().datasets(), [](const auto& one, const auto& other) {
            return one->path() == other->path() && same_set(*one, *other);
        });
    const bool same_groups = std::ranges::equal(
        first.tree().groups(), second.tree().groups(), [](const auto& one, const auto& other) {
            return one->path() == other->path() &&
                   same_attributes(one->attributes(), other->attributes());
        });
    if (!same_sets || !same_groups) {
        report_finding("a second run left other data");
    }
}

} // namespace talvora::fuzz
