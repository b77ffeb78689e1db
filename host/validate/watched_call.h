// One call of a unit's operation, watched from all sides: what it asked of the host, what
// became of the memory, and whether anything of an earlier call was used.
#pragma once

#include "host/interface/host_call.h"
#include "host/interface/plugin_library.h"
#include "host/validate/guarded_heap.h"
#include "host/validate/injecting_tree.h"

#include <string>
#include <vector>

namespace talvora::host {

struct CallReport {
    bool is_success = false;       // what `run` returned
    std::uint64_t answer = 0;      // what `declare` returned
    std::uint64_t last_answer = 0; // what it had to
    std::string thrown;            // what left the operation; empty for nothing
    bool is_out_of_memory = false; // it was std::bad_alloc
    CallProblems problems;
    std::vector<std::string> kept; // things of an earlier call that were used
    std::vector<Message> messages;
    std::vector<DeclaredParameter> declared;
    HeapSettlement heap;
    // Of memory that operations mapped and did not give back, in this call and in those before.
    std::size_t mapped_bytes = 0;
};

// Every call has its own context, its own copies of the tables and its own callback, which
// are of no use after it.
CallReport call_declare(const Unit& unit);
CallReport call_run(const Unit& unit, InjectingTree& tree, const ParameterValues& values);

} // namespace talvora::host
