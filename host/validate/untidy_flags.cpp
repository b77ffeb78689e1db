#include "host/validate/untidy_flags.h"

#include <cstddef>

namespace talvora::host {

namespace {

constexpr std::uint64_t OTHER_BITS = 0xA5A5'5A5A'A5A5'5A00;

// The function that fills the register of a flag which the slot returns.
template <const auto& TABLE, auto FLAG, typename... Arguments>
void* untidy(host_flag (*)(Arguments...)) {
    std::uint64_t (*const function)(Arguments...) = [](Arguments... arguments) -> std::uint64_t {
        return OTHER_BITS | (TABLE.*FLAG)(arguments...);
    };
    return reinterpret_cast<void*>(function);
}

struct UntidyFlag {
    std::int32_t table_id;
    std::size_t offset;
    void* function;
};

#define TALVORA_UNTIDY(id, table, type, flag)                                                      \
    { id, offsetof(type, flag), untidy<table, &type::flag>(table.flag) }

const UntidyFlag FLAGS[] = {
    TALVORA_UNTIDY(CONTEXT_API_ID, CONTEXT_TABLE, context_api, read_boolean),
    TALVORA_UNTIDY(GROUP_API_ID, GROUP_TABLE, group_api, group_exists),
    TALVORA_UNTIDY(GROUP_API_ID, GROUP_TABLE, group_api, group_is_valid),
    TALVORA_UNTIDY(GROUP_API_ID, GROUP_TABLE, group_api, visit_groups),
    TALVORA_UNTIDY(GROUP_API_ID, GROUP_TABLE, group_api, has_attribute),
    TALVORA_UNTIDY(DATASET_API_ID, DATASET_TABLE, dataset_api, dataset_exists),
    TALVORA_UNTIDY(DATASET_API_ID, DATASET_TABLE, dataset_api, dataset_is_valid),
    TALVORA_UNTIDY(DATASET_API_ID, DATASET_TABLE, dataset_api, has_attribute)};

} // namespace

void make_flags_untidy(std::int32_t table_id, std::array<void*, TABLE_SIZE>& slots) {
    for (const UntidyFlag& flag : FLAGS) {
        if (flag.table_id == table_id) {
            slots[flag.offset / sizeof(void*)] = flag.function;
        }
    }
}

} // namespace talvora::host
