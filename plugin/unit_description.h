// What a unit is: the one constant that each file of units/ ends in and of which the
// entry makes the unit's rows; and what such a constant is written with: static texts,
// parameter signatures, the operation that declares them.
#pragma once

#include "plugin/plugin_api.h"
#include "plugin/static_text.h"
#include "plugin/unit_parameters.h"

namespace talvora {

// A constant of static lifetime, so that nothing has to run when the library is loaded.
struct UnitDescription {
    text_getter identifier;
    text_getter legacy_identifier; // null for a unit that never had another identifier
    text_getter description;
    declare_operation declare;
    run_operation run;
};

} // namespace talvora
