#include "tests/support/plugin_memory.h"

namespace talvora::test_support {

namespace {

// Plain values, so that they can be used before any constructor has run.
struct Account {
    bool in_plugin;
    std::uint64_t allocation_count;
    std::int64_t unreleased_count;
    std::uint64_t refused_allocation;
};
Account account{};

} // namespace

PluginSection::PluginSection() {
    account.allocation_count = 0;
    account.unreleased_count = 0;
    account.in_plugin = true;
}

PluginSection::~PluginSection() {
    account.in_plugin = false;
    account.refused_allocation = 0;
}

HostSection::HostSection() : was_plugin_(account.in_plugin) {
    account.in_plugin = false;
}

HostSection::~HostSection() {
    account.in_plugin = was_plugin_;
}

CallbackSection::CallbackSection() {
    account.in_plugin = true;
}

CallbackSection::~CallbackSection() {
    account.in_plugin = false;
}

std::uint64_t plugin_allocation_count() {
    return account.allocation_count;
}

std::int64_t unreleased_plugin_allocation_count() {
    return account.unreleased_count;
}

void refuse_plugin_allocation(std::uint64_t n) {
    account.refused_allocation = n;
}

bool note_plugin_allocation() {
    if (!account.in_plugin) {
        return false;
    }
    const bool is_refused = ++account.allocation_count == account.refused_allocation;
    account.unreleased_count += is_refused ? 0 : 1;
    return is_refused;
}

void note_plugin_free() {
    if (account.in_plugin) {
        --account.unreleased_count;
    }
}

bool is_in_plugin() {
    return account.in_plugin;
}

} // namespace talvora::test_support
