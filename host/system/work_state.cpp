#include "host/system/work_state.h"

#include <algorithm>

namespace talvora::host {
namespace {

WorkState unwatched;
WorkState* state = &unwatched;

} // namespace

void tell_work_state(WorkState& shared) {
    state = &shared;
}

InFile::InFile(std::string_view file) : before_(state->code) {
    const std::size_t length = std::min(file.size(), WorkState::MAX_FILE_BYTES - 1);
    std::copy_n(file.data(), length, state->file.data());
    state->file[length] = '\0';
    state->code = CodeAtWork::File;
}

InFile::~InFile() {
    count_call();
    state->code = before_;
}

InPlugin::InPlugin() : before_(state->code) {
    state->plugin_ran = true;
    state->code = CodeAtWork::Plugin;
}

InPlugin::~InPlugin() {
    state->code = before_;
}

// One process counts: no other write can come in between.
void count_call() {
    state->call_count.store(state->call_count.load(std::memory_order_relaxed) + 1,
                            std::memory_order_relaxed);
}

std::string_view last_file() {
    return state->file.data();
}

} // namespace talvora::host
