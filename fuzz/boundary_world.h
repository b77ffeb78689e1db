// What a host may look like to the plug-in: a tree, parameter values, habits and faults,
// all made up from the bytes of one input.
#pragma once

#include "tests/support/recording_host.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talvora::fuzz {

// A unit of the plug-in with the parameters that it declares.
struct DeclaredUnit {
    std::string identifier;
    std::vector<test_support::Declaration> parameters;
};

using NamedAttributes = std::vector<std::pair<std::string, test_support::AttributeValue>>;

struct GroupPlan {
    std::string path;
    NamedAttributes attributes;
    bool is_invalid = false;
};

struct SetPlan {
    std::string path;
    std::vector<std::uint64_t> extents;
    std::vector<float> samples;
    NamedAttributes attributes;
    bool is_invalid = false;
};

struct World {
    const DeclaredUnit* unit = nullptr;
    std::vector<GroupPlan> groups;
    std::vector<SetPlan> sets;
    std::map<std::string, test_support::ParameterValue> parameters;
    std::vector<std::string> refused_creations;
    test_support::Habits habits;
};

World make_world(std::span<const std::uint8_t> input, std::span<const DeclaredUnit> units);

// Brings the host into the state of the world.
void furnish(test_support::RecordingHost& host, const World& world);

} // namespace talvora::fuzz
