// What the units that summarise sets into other sets share: which sets they take from
// a source group, by name and by metric, and where their results go.
//
// The parameters "SourceGroup" and "DestinationGroup" name groups from the root of the
// call; a parameter without a value reaches the host as the empty text. Sources are
// never written here, and nothing is created but the destination group.
#pragma once

#include "plugin/host_interfaces.h"
#include "plugin/host_records.h"
#include "plugin/unit_call.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::units {

// A source set with the name under which it was asked for.
struct ChosenSet {
    std::string name;
    dataset_handle handle{};
};

// From one text to another by exact equality. Both sides are borrowed from whoever
// built the map.
using TextMap = std::map<std::string_view, const char*>;

// The values of "NamesFilter" and "MetricFilter".
struct SourceChoice {
    OwnedTextList names;
    OwnedText metric;
};

SourceChoice read_choice(const UnitCall& call);

// The group named in "SourceGroup". Nothing when there is no such group, which has
// been reported.
std::optional<group_handle> open_source_group(const UnitCall& call);

struct DestinationGroup {
    OwnedText name; // the value of "DestinationGroup"
    group_handle handle{};
};

// Opens the group named in "DestinationGroup", or creates it. Nothing when that gives
// no valid group; a refused creation has been reported.
std::optional<DestinationGroup> open_or_create_destination_group(const UnitCall& call);

struct SourceAndDestination {
    group_handle source;
    DestinationGroup destination;
};

// Both of them, the source group first.
std::optional<SourceAndDestination> open_groups(const UnitCall& call);

// The sets of the source group, in the order of the names asked for, when there are any,
// and of the group's listing otherwise; the listing is asked for in any case, before a
// set is opened. A name that is a key of `source_names` opens the set that it is mapped
// to. A name that opens no set is warned of and passed over. With a metric, only sets
// whose "MetricType" equals it are taken. A name given twice is taken twice.
std::vector<ChosenSet> choose_sets(const UnitCall& call, group_handle source_group,
                                   const SourceChoice& choice, const TextMap& source_names = {});

// A new set of that name in the group. Nothing when the host did not create it, which has
// been reported.
std::optional<dataset_handle> create_destination_set(const UnitCall& call, group_handle group,
                                                     const char* name,
                                                     std::span<const std::uint64_t> extents);

// True when every set has three dimensions and no set of its name, or one of extents
// [e0, e1, 1], in the destination group; e0 and e1 are its own. Every set that fails is
// reported.
bool check_destination_shapes(const UnitCall& call, const std::vector<ChosenSet>& sources,
                              group_handle destination);

} // namespace talvora::units
