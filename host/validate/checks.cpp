// The list of checks.
#include "host/validate/check.h"
#include "host/validate/declare_checks.h"
#include "host/validate/library_checks.h"
#include "host/validate/memory_checks.h"
#include "host/validate/process_checks.h"
#include "host/validate/run_checks.h"
#include "host/validate/table_checks.h"

namespace talvora::host {

namespace {

constexpr Check CHECKS[] = {
    {"library.loads", "the library loads, has the entry and unloads, three times over",
     check_loading},
    {"library.one-name", "the library exports the entry and nothing else", check_exported_names},

    {"tables.descriptor", "kind 0 gives one descriptor with all its texts", check_descriptor},
    {"tables.units", "kind 3 gives as many rows as it counts, each with a name of its own",
     check_unit_rows},
    {"tables.null-rules", "current units have version and description, legacy ones a date alone",
     check_null_rules},
    {"tables.texts", "every getter gives the same ended text each time", check_texts},
    {"tables.reserved", "the reserved bytes of every row are zero", check_reserved_bytes},
    {"tables.repeatable", "asked again, the entry gives the same tables at the same place",
     check_repeated_entry},
    {"tables.unknown-kinds", "an unknown kind gives null and leaves the count alone",
     check_unknown_kinds},

    {"declare.ordinary", "declare keeps to the interface and throws nothing", check_declaring},
    {"declare.signatures", "every signature can be read, and no key comes twice", check_signatures},
    {"declare.required", "what is required has no default", check_required},
    {"declare.repeatable", "declare registers the same each time", check_repeated_declaring},
    {"declare.answer", "declare returns the answer to its last declaration in full",
     check_declare_answer},

    {"run.ordinary", "run keeps to the interface with usual values", check_ordinary_runs},
    {"run.absent-values", "run keeps to the interface without some of its values, or all",
     check_runs_without_values},
    {"run.wrong-values", "run keeps to the interface with texts that name nothing",
     check_runs_with_wrong_texts},
    {"run.extreme-values", "run keeps to the interface with numbers at every limit",
     check_runs_with_extreme_numbers},
    {"run.odd-sets", "run keeps to the interface on sets of odd shapes, rates and samples",
     check_runs_on_odd_trees},
    {"run.refusals", "run keeps to the interface when the host refuses a request, each in turn",
     check_runs_with_refusals},
    {"run.reported-failures", "run returns false only after an error message",
     check_reported_failures},
    {"run.extents", "what run asks for is there and lies inside the extents", check_extents},
    {"run.buffers", "the host and run stay inside the buffers that run hands over", check_buffers},
    {"run.small-stack", "run gets along with 256 KiB of stack", check_small_stack},
    {"run.made-up-inputs", "run keeps to the interface with values and sets made up together",
     check_made_up_inputs},
    {"run.sources", "units with a destination leave everything else as it was", check_sources},

    {"records.of-successes", "host records are freed exactly once when run succeeds",
     check_records_of_successes},
    {"records.of-failures", "host records are freed exactly once when run fails",
     check_records_of_failures},

    {"calls.memory", "no call leaves memory behind", check_memory},
    {"calls.nothing-kept", "no table, handle, context or callback is kept from call to call",
     check_kept_state},
    {"calls.same-bits", "two processes with other bytes in fresh memory give the same bits",
     check_same_bits},
    {"calls.same-elsewhere", "another locale and another time give the same bits",
     check_same_elsewhere},

    {"process.silent", "nothing is printed", check_silence},
    {"process.threads", "no thread is started", check_threads},
    {"process.files", "no file is touched and no program started", check_files},
    {"process.floating-point", "rounding, exceptions and denormals are left as they were",
     check_floating_point},
    {"process.locale", "the locale is left as it was", check_locale},
    {"process.signals", "signal masks and handlers are left as they were", check_signals},
    {"process.handlers", "the handlers of new and of terminate are left as they were",
     check_handlers},
    {"process.limits", "resource limits, priority and processors are left as they were",
     check_limits},
    {"process.surroundings", "working folder, file mode and environment are left as they were",
     check_surroundings},
};

// Started by other checks.
constexpr Check PARTS[] = {
    {"digests.first", "", give_digests},
    {"digests.second", "", give_digests_on_other_memory},
    {"digests.locale", "", give_digests_in_other_locale},
    {"digests.time", "", give_digests_at_other_time},
};

} // namespace

std::span<const Check> all_checks() {
    return CHECKS;
}

const Check* find_check(std::string_view id) {
    for (const std::span<const Check> checks :
         {std::span<const Check>(CHECKS), std::span<const Check>(PARTS)}) {
        for (const Check& check : checks) {
            if (check.id == id) {
                return &check;
            }
        }
    }
    return nullptr;
}

} // namespace talvora::host
