#include "host/interface/unit_run.h"

#include "host/interface/interface_tables.h"
#include "host/system/thread_end.h"
#include "host/system/work_state.h"
#include "host/tree/memory_tree.h"

#include <fmt/format.h>

#include <exception>
#include <new>

namespace talvora::host {

namespace {

// Calls an operation of the plug-in, turning whatever leaves it into a PluginError. That memory
// has run out is no fault of its.
template <typename Result>
Result call_operation(const Unit& unit, std::string_view name,
                      Result (*operation)(call_context*, get_interface_function), HostCall& call) {
    const InPlugin here;
    try {
        return operation(call.context(), get_interface);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const ThreadEnd&) {
        throw;
    } catch (const std::exception& error) {
        throw PluginError(
            fmt::format("{}: its operation '{}' broke off: {}", unit.name, name, error.what()));
    } catch (...) {
        throw PluginError(fmt::format("{}: its operation '{}' broke off", unit.name, name));
    }
}

void check_declaration(const Unit& unit, const HostCall& call, std::uint64_t result) {
    for (const std::string& problem : call.problems().interface_breaks) {
        throw PluginError(
            fmt::format("{}: its operation 'declare' broke the interface: {}", unit.name, problem));
    }
    if (!call.declared().empty() && result != call.last_answer()) {
        throw PluginError(fmt::format("{}: its operation 'declare' returns {:#x} (allowed: the "
                                      "answer to its last declaration, {:#x})",
                                      unit.name, result, call.last_answer()));
    }
}

std::vector<ParameterSignature> parse_declared(const Unit& unit, const HostCall& call) {
    std::vector<ParameterSignature> signatures;
    for (const DeclaredParameter& declared : call.declared()) {
        auto signature = parse_signature(declared.signature, declared.required);
        if (declares(signatures, signature.key)) {
            throw PluginError(
                fmt::format("{}: declares the parameter '{}' twice", unit.name, signature.key));
        }
        signatures.push_back(std::move(signature));
    }
    return signatures;
}

} // namespace

std::vector<ParameterSignature> declare_unit(const Unit& unit) {
    MemoryTree nothing;
    const ParameterValues none;
    const MessageSink ignore = [](const Message&) {};
    HostCall call(Operation::Declare, nothing, none, ignore);
    const std::uint64_t result = call_operation(unit, "declare", unit.declare, call);
    check_declaration(unit, call, result);
    try {
        return parse_declared(unit, call);
    } catch (const std::invalid_argument& error) {
        throw PluginError(fmt::format("{}: {}", unit.name, error.what()));
    }
}

UnitOutcome run_unit(const Unit& unit, DataTree& tree, const ParameterValues& values,
                     const MessageSink& sink) {
    HostCall call(Operation::Run, tree, values, sink);
    const bool succeeded = call_operation(unit, "run", unit.run, call);
    return {succeeded, call.problems()};
}

} // namespace talvora::host
