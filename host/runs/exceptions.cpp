#include "host/runs/exceptions.h"

#include "host/interface/plugin_library.h"
#include "host/tree/data_tree.h"

#include <filesystem>
#include <new>

namespace talvora::host {
namespace {

std::string begin_with(const std::string& file, const std::string& text) {
    return file.empty() ? text : file + ": " + text;
}

} // namespace

// On the way to an output what the storage cannot do is a failure of the output, unless it is
// that the copied input cannot be read. What nobody foresaw comes of what was read.
Failure explain_exception(const WorkPlace& place) {
    const bool writing = !place.output.empty();
    const ExitCode of_storage = writing ? ExitCode::Output : ExitCode::Input;
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
        const bool blames_input = reading && writing && !place.input.empty();
        return {reading ? ExitCode::Input : of_storage,
                begin_with(blames_input ? place.input : place.output, error.what())};
    } catch (const TreeError& error) {
        return {of_storage, begin_with(place.output, error.what())};
    } catch (const std::filesystem::filesystem_error& error) {
        return {of_storage, writing ? begin_with(place.output, error.code().message())
                                    : begin_with(place.input, error.what())};
    } catch (const std::bad_alloc&) {
        return {ExitCode::Output, begin_with(place.input, "not enough memory")};
    } catch (const std::exception& error) {
        return {ExitCode::Input, begin_with(place.input, error.what())};
    }
}

} // namespace talvora::host
