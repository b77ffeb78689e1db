#include "library/guarded_call.h"

#include "host/interface/parameters.h"
#include "host/interface/plugin_library.h"
#include "host/text/failure.h"
#include "host/text/utf8.h"
#include "host/tree/data_tree.h"
#include "library/error_text.h"

#include <exception>
#include <new>
#include <string_view>

namespace talvora::library {
namespace {

talvora_status status_of(host::ExitCode code) {
    switch (code) {
    case host::ExitCode::Usage:
        return TALVORA_INVALID_ARGUMENT;
    case host::ExitCode::Input:
    case host::ExitCode::Output:
        return TALVORA_FILE_ERROR;
    case host::ExitCode::Plugin:
        return TALVORA_PLUGIN_ERROR;
    case host::ExitCode::UnitFailed:
        return TALVORA_UNIT_FAILED;
    case host::ExitCode::Done:
        break;
    }
    return TALVORA_INTERNAL_ERROR;
}

// Names of files and texts of plug-ins may hold any bytes.
void write_as_utf8(std::string_view text, char* error, std::size_t error_size) noexcept {
    try {
        write_error_text(host::escape_invalid_utf8(text), error, error_size);
    } catch (...) { // no memory for that
        write_error_text(text, error, error_size);
    }
}

} // namespace

talvora_status explain_exception(char* error, std::size_t error_size) noexcept {
    const auto explain = [&](talvora_status status, const char* text) {
        write_as_utf8(text, error, error_size);
        return status;
    };
    try {
        // cppcheck-suppress rethrowNoCurrentException; the caller is in a handler of it
        throw;
    } catch (const CallError& failure) {
        return explain(failure.status(), failure.what());
    } catch (const host::GuardFailure& failure) {
        return explain(TALVORA_GUARDED, failure.what());
    } catch (const host::Failure& failure) {
        return explain(status_of(failure.code()), failure.what());
    } catch (const host::PluginError& failure) {
        return explain(TALVORA_PLUGIN_ERROR, failure.what());
    } catch (const host::ParameterError& failure) {
        return explain(TALVORA_INVALID_ARGUMENT, failure.what());
    } catch (const host::StorageError& failure) {
        return explain(TALVORA_FILE_ERROR, failure.what());
    } catch (const host::TreeError& failure) {
        return explain(TALVORA_INVALID_ARGUMENT, failure.what());
    } catch (const std::bad_alloc&) {
        return explain(TALVORA_OUT_OF_MEMORY, "not enough memory");
    } catch (const std::exception& failure) {
        return explain(TALVORA_INTERNAL_ERROR, failure.what());
    } catch (...) {
        return explain(TALVORA_INTERNAL_ERROR, "an exception that is none of the standard's");
    }
}

} // namespace talvora::library
