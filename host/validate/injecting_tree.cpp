#include "host/validate/injecting_tree.h"

#include "host/interface/host_call.h"

#include <fmt/format.h>

namespace talvora::host {

namespace {

struct OperationTraits {
    const char* name;
    bool can_give_nothing;
};

// In the order of TreeOperation.
constexpr OperationTraits TRAITS[TREE_OPERATION_COUNT] = {{"find", true},
                                                          {"tell the kind", false},
                                                          {"list groups", true},
                                                          {"list data sets", true},
                                                          {"create a group", false},
                                                          {"create a data set", false},
                                                          {"tell extents", false},
                                                          {"resize", false},
                                                          {"read samples", false},
                                                          {"write samples", false},
                                                          {"list attributes", true},
                                                          {"read an attribute", true},
                                                          {"write an attribute", false}};

const OperationTraits& traits_of(TreeOperation operation) {
    return TRAITS[static_cast<std::size_t>(operation)];
}

// Handles use all 64 bits, and no two trees give the same.
std::uint64_t next_tag() {
    static std::uint64_t last = 0xA1B2'0000'0000'0000;
    return last += std::uint64_t{1} << 32;
}

constexpr std::uint64_t LOWER_HALF = 0xFFFF'FFFF;

} // namespace

const char* name_of(TreeOperation operation) {
    return traits_of(operation).name;
}

bool can_give_nothing(TreeOperation operation) {
    return traits_of(operation).can_give_nothing;
}

std::string describe(const Injection& injection) {
    return fmt::format(
        "{} to {} {}", injection.mode == Injection::Refuse ? "failing" : "finding nothing",
        name_of(injection.operation),
        injection.nth == 0 ? "every time" : fmt::format("at request {}", injection.nth));
}

InjectingTree::InjectingTree(DataTree& inner, std::optional<Injection> injection)
    : inner_(inner), injection_(injection), tag_(next_tag()) {}

bool InjectingTree::strike(TreeOperation operation) const {
    const std::size_t count = ++counts_[static_cast<std::size_t>(operation)];
    if (!injection_ || injection_->operation != operation ||
        (injection_->nth != 0 && injection_->nth != count)) {
        return false;
    }
    if (injection_->mode == Injection::Refuse) {
        throw TreeError(fmt::format("made to fail: {}", name_of(operation)));
    }
    return true;
}

ObjectId InjectingTree::outward(ObjectId inner) const {
    return ObjectId{static_cast<std::uint64_t>(inner) | tag_};
}

ObjectId InjectingTree::inward(ObjectId object) const {
    const auto value = static_cast<std::uint64_t>(object);
    if ((value & ~LOWER_HALF) == tag_) {
        return ObjectId{value & LOWER_HALF};
    }
    if (value != 0) {
        foreign_slots_.insert(SlotScope::is_active() ? SlotScope::current() : "");
    }
    throw TreeError(fmt::format("the handle {:#x} is none of this call's", value));
}

ObjectId InjectingTree::root() const {
    return outward(inner_.root());
}

std::optional<ObjectId> InjectingTree::find(ObjectId group, std::string_view path) {
    if (strike(TreeOperation::Find)) {
        return std::nullopt;
    }
    const auto found = inner_.find(inward(group), path);
    return found ? std::optional(outward(*found)) : std::nullopt;
}

ObjectKind InjectingTree::kind(ObjectId object) const {
    strike(TreeOperation::Kind);
    return inner_.kind(inward(object));
}

std::string InjectingTree::path(ObjectId object) const {
    return inner_.path(inward(object));
}

std::vector<std::string> InjectingTree::list_groups(ObjectId group) {
    return strike(TreeOperation::ListGroups) ? std::vector<std::string>{}
                                             : inner_.list_groups(inward(group));
}

std::vector<std::string> InjectingTree::list_datasets(ObjectId group) {
    return strike(TreeOperation::ListDatasets) ? std::vector<std::string>{}
                                               : inner_.list_datasets(inward(group));
}

std::vector<OtherObject> InjectingTree::list_others(ObjectId group) {
    return inner_.list_others(inward(group));
}

ObjectId InjectingTree::create_group(ObjectId parent, std::string_view path) {
    strike(TreeOperation::CreateGroup);
    return outward(inner_.create_group(inward(parent), path));
}

ObjectId InjectingTree::create_dataset(ObjectId group, std::string_view path,
                                       const Extents& extents) {
    strike(TreeOperation::CreateDataset);
    return outward(inner_.create_dataset(inward(group), path, extents));
}

Extents InjectingTree::extents(ObjectId set) const {
    strike(TreeOperation::TellExtents);
    return inner_.extents(inward(set));
}

void InjectingTree::resize(ObjectId set, const Extents& extents) {
    strike(TreeOperation::Resize);
    inner_.resize(inward(set), extents);
}

void InjectingTree::read(ObjectId set, const Hyperslab& slab, std::span<float> samples) {
    strike(TreeOperation::Read);
    inner_.read(inward(set), slab, samples);
}

void InjectingTree::write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) {
    strike(TreeOperation::Write);
    inner_.write(inward(set), slab, samples);
}

std::vector<std::string> InjectingTree::list_attributes(ObjectId object) {
    return strike(TreeOperation::ListAttributes) ? std::vector<std::string>{}
                                                 : inner_.list_attributes(inward(object));
}

std::optional<AttributeValue> InjectingTree::read_attribute(ObjectId object,
                                                            const std::string& name) {
    return strike(TreeOperation::ReadAttribute) ? std::nullopt
                                                : inner_.read_attribute(inward(object), name);
}

void InjectingTree::write_attribute(ObjectId object, const std::string& name,
                                    const AttributeValue& value) {
    strike(TreeOperation::WriteAttribute);
    inner_.write_attribute(inward(object), name, value);
}

} // namespace talvora::host
