#include "host/runs/exceptions.h"

#include "host/interface/plugin_library.h"
#include "host/system/file_limit.h"
#include "host/system/memory_limit.h"
#include "host/text/join_texts.h"
#include "host/tree/data_tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <system_error>
#include <vector>

namespace talvora::host {
namespace {

// The failure of a write that met the limit on the size of files tells of it, once.
Failure with_file_limit(const Failure& failure) {
    const auto limit = find_met_file_limit();
    if (failure.code() != ExitCode::Output || !limit) {
        return failure;
    }
    const std::string hint =
        fmt::format("no file may grow beyond {} bytes here: ulimit -f raises it", *limit);
    std::vector<std::string> hints = failure.hints();
    if (std::ranges::find(hints, hint) == hints.end()) {
        hints.push_back(hint);
    }
    return {failure.code(), failure.what(), hints};
}

Failure explain_bound(const WorkPlace& place) {
    return {ExitCode::Input,
            begin_with(place.input, "more memory is needed than --read-memory allows"),
            {"--read-memory MIB allows more; 0: as much as the machine has"}};
}

// On the way to an output what the storage cannot do is a failure of the output, unless it is
// that the copied input cannot be read. What nobody foresaw comes of what was read.
Failure explain(const WorkPlace& place) {
    const bool writing = !place.output.empty();
    const ExitCode of_storage = writing ? ExitCode::Output : ExitCode::Input;
    const std::string& file = writing ? place.output : place.input;
    try {
        // cppcheck-suppress rethrowNoCurrentException; the caller is in a handler of it
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const PluginError& error) {
        return {ExitCode::Plugin, error.what()};
    } catch (const StorageError& error) {
        const bool reading = error.access() == StorageError::Access::Reading;
        // What was copied on the way to an output is damaged where its original is.
        const bool blames_input = reading && !place.input.empty();
        return {reading ? ExitCode::Input : of_storage,
                begin_with(blames_input ? place.input : file, error.what())};
    } catch (const TreeError& error) {
        return {of_storage, begin_with(file, error.what())};
    } catch (const std::filesystem::filesystem_error& error) {
        return {of_storage, writing ? begin_with(place.output, error.code().message())
                                    : begin_with(place.input, error.what())};
    } catch (const std::bad_alloc&) {
        if (is_memory_bounded()) {
            return explain_bound(place);
        }
        // Where a file was only read, it is what it holds that memory does not take.
        const bool reading = !writing && !place.input.empty();
        return {reading ? ExitCode::Input : ExitCode::Output,
                begin_with(place.input, "not enough memory")};
    } catch (const std::system_error& error) { // no thread, of which memory is the usual reason
        if (is_memory_bounded()) {
            return explain_bound(place);
        }
        return {ExitCode::Output, begin_with(place.input, error.what())};
    } catch (const std::exception& error) {
        return {ExitCode::Input, begin_with(place.input, error.what())};
    }
}

} // namespace

Failure explain_exception(const WorkPlace& place) {
    return with_file_limit(explain(place));
}

} // namespace talvora::host
