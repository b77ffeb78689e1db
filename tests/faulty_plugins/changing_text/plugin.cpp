// A unit's name is another at every call.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

const char* give_changing_name() {
    static char name[] = "maker.samples.unit-0";
    ++name[sizeof(name) - 2];
    return name;
}

constexpr unit_descriptor UNITS[] = {make_unit(give_changing_name, declare_group, negate_group)};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    return answer(count_out, kind, UNITS);
}
