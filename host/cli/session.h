// What every command of one call of the program shares.
#pragma once

#include "host/cli/console.h"
#include "host/interface/plugin_library.h"
#include "host/runs/worker_pool.h"
#include "host/text/failure.h"
#include "host/tree/cached_tree.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace talvora::host {

class Session {
  public:
    Console console;
    std::string plugin_option; // of --plugin; empty when it was not given
    std::uint64_t memory_mib = CachedTree::DEFAULT_BOUND >> 20U; // of --memory
    WorkerLimits limits;                                         // of --idle-time and --read-memory
    // A command that did part of its work says so here; one that did nothing throws.
    ExitCode exit_code = ExitCode::Done;

    // The file named by --plugin, by TALVORA_PLUGIN_PATH, or found beside the program; for a
    // folder the library in it. Throws a Failure of the plug-in when there is none.
    std::filesystem::path plugin_file() const;
    // The library in it, loaded at the first call. Throws a Failure of the plug-in.
    const PluginLibrary& plugin();

    // By its whole identifier or by what follows the last dot. Throws a Failure of
    // usage that names the nearest one.
    const Unit& find_unit(std::string_view name);

  private:
    std::optional<PluginLibrary> plugin_;
};

} // namespace talvora::host
