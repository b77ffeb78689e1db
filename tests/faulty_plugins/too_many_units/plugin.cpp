// Counts more units than any memory holds.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

constexpr unit_descriptor UNITS[] = {
    make_unit(text<"maker.samples.negate-group">, declare_group, negate_group)};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    const void* rows = answer(count_out, kind, UNITS);
    if (kind == UNIT_TABLE_KIND) {
        *count_out = 0xFFFF'FFFF;
    }
    return rows;
}
