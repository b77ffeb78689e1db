#include "host/system/work_state.h"

#include <algorithm>

namespace talvora::host {
namespace {

WorkState unwatched;
WorkState* shared_state = &unwatched;

} // namespace

void tell_work_state(WorkState& shared) {
    shared_state = &shared;
}

InFile::InFile(std::string_view file) : before_(shared_state->code) {
    const std::size_t length = std::min(file.size(), WorkState::MAX_FILE_BYTES - 1);
    std::copy_n(file.data(), length, shared_state->file.data());
    shared_state->file[length] = '\0';
    shared_state->code = CodeAtWork::File;
}

InFile::~InFile() {
    count_call();
    shared_state->code = before_;
}

InPlugin::InPlugin() : before_(shared_state->code) {
    shared_state->plugin_ran = true;
    shared_state->code = CodeAtWork::Plugin;
}

InPlugin::~InPlugin() {
    shared_state->code = before_;
}

// One process counts: no other write can come in between.
void count_call() {
    shared_state->call_count.store(shared_state->call_count.load(std::memory_order_relaxed) + 1,
                                   std::memory_order_relaxed);
}

std::string_view last_file() {
    return shared_state->file.data();
}

} // namespace talvora::host
