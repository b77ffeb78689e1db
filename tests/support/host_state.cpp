#include "tests/support/host_state.h"

#include <algorithm>

namespace talvora::test_support {

namespace {

HostState* active_host = nullptr;

constexpr std::uint64_t LOWER_HALF = 0x5EED'0001;
constexpr std::size_t NO_INDEX = ~std::size_t{0};
constexpr int GENERATION_SHIFT = 52;
constexpr int KIND_SHIFT = 48;
constexpr int INDEX_SHIFT = 32;
constexpr std::uint64_t INDEX_MASK = 0xFFFF;

template <typename Object>
std::size_t position_of(const std::vector<std::unique_ptr<Object>>& objects, const Object* object) {
    const auto found = std::find_if(objects.begin(), objects.end(),
                                    [object](const auto& one) { return one.get() == object; });
    return static_cast<std::size_t>(found - objects.begin());
}

std::string hexadecimal(std::uint64_t number) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text = "0x";
    for (int shift = 60; shift >= 0; shift -= 4) {
        text += DIGITS[number >> shift & 0xF];
    }
    return text;
}

} // namespace

std::string Declaration::key() const {
    return signature.substr(0, signature.find(": "));
}

std::string Declaration::type() const {
    const std::string rest = signature.substr(std::min(key().size() + 2, signature.size()));
    return rest.substr(0, rest.find(" = "));
}

std::string Declaration::default_text() const {
    const auto equals = signature.find(" = ");
    return equals == std::string::npos ? "" : signature.substr(equals + 3);
}

HostState::HostState() {
    active_host = this;
}

HostState::~HostState() {
    active_host = nullptr;
}

HostState& HostState::active() {
    return *active_host;
}

void HostState::start_operation() {
    active_host = this;
    generation_ = (generation_ + 1) & 0xFFF;
    absent_paths_.clear();
    interface_requests.clear();
    is_running = true;
}

void HostState::end_operation() {
    is_running = false;
}

void HostState::add_violation(const std::string& sentence) {
    violations.push_back(sentence);
}

std::uint64_t HostState::make_handle(HandleKind kind, std::size_t index) const {
    return generation_ << GENERATION_SHIFT | static_cast<std::uint64_t>(kind) << KIND_SHIFT |
           (index + 1) << INDEX_SHIFT | LOWER_HALF;
}

std::size_t HostState::index_of(std::uint64_t handle, HandleKind kind) const {
    const std::size_t index = (handle >> INDEX_SHIFT & INDEX_MASK) - 1;
    return handle == make_handle(kind, index) ? index : NO_INDEX;
}

std::size_t HostState::absent_index(const std::string& path) {
    const auto found = std::find(absent_paths_.begin(), absent_paths_.end(), path);
    const auto index = static_cast<std::size_t>(found - absent_paths_.begin());
    if (found == absent_paths_.end()) {
        absent_paths_.push_back(path);
    }
    return index;
}

std::uint64_t HostState::group_handle(const std::string& path) {
    const Group* group = tree.find_group(path);
    if (group == nullptr || !group->is_valid()) {
        return no_group_handle(path);
    }
    return make_handle(HandleKind::GROUP, position_of(tree.groups(), group));
}

std::uint64_t HostState::dataset_handle(const std::string& path) {
    const DataSet* set = tree.find_dataset(path);
    if (set == nullptr || !set->is_valid()) {
        return no_dataset_handle(path);
    }
    return make_handle(HandleKind::DATASET, position_of(tree.datasets(), set));
}

std::uint64_t HostState::no_group_handle(const std::string& path) {
    return make_handle(HandleKind::NO_GROUP, absent_index(path));
}

std::uint64_t HostState::no_dataset_handle(const std::string& path) {
    return make_handle(HandleKind::NO_DATASET, absent_index(path));
}

bool HostState::is_group(std::uint64_t handle) {
    return index_of(handle, HandleKind::GROUP) < tree.groups().size();
}

bool HostState::is_dataset(std::uint64_t handle) {
    return index_of(handle, HandleKind::DATASET) < tree.datasets().size();
}

Group* HostState::group_of(std::uint64_t handle) {
    if (is_group(handle)) {
        return tree.groups()[index_of(handle, HandleKind::GROUP)].get();
    }
    add_violation("a slot was called with a handle of no group: " + name_of(handle));
    return nullptr;
}

DataSet* HostState::dataset_of(std::uint64_t handle) {
    if (is_dataset(handle)) {
        return tree.datasets()[index_of(handle, HandleKind::DATASET)].get();
    }
    add_violation("a slot was called with a handle of no data set: " + name_of(handle));
    return nullptr;
}

std::string HostState::name_of(std::uint64_t handle) {
    if (is_group(handle)) {
        return tree.groups()[index_of(handle, HandleKind::GROUP)]->path() + "/";
    }
    if (is_dataset(handle)) {
        return tree.datasets()[index_of(handle, HandleKind::DATASET)]->path();
    }
    const std::size_t no_group = index_of(handle, HandleKind::NO_GROUP);
    if (no_group < absent_paths_.size()) {
        return absent_paths_[no_group] + "/";
    }
    const std::size_t no_dataset = index_of(handle, HandleKind::NO_DATASET);
    return no_dataset < absent_paths_.size() ? absent_paths_[no_dataset] : hexadecimal(handle);
}

} // namespace talvora::test_support
