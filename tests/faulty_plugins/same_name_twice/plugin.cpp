// Two units have one name.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

constexpr unit_descriptor UNITS[] = {
    make_unit(text<"maker.samples.negate-group">, declare_group, negate_group),
    make_unit(text<"maker.samples.negate-group">, declare_group, negate_group)};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    return answer(count_out, kind, UNITS);
}
