// The child's side of the validator.
#include "host/interface/host_call.h"
#include "host/interface/record_makers.h"
#include "host/validate/child_process.h"
#include "host/validate/guard_pages.h"
#include "host/validate/guarded_heap.h"
#include "host/validate/protocol.h"
#include "host/validate/small_stack.h"
#include "host/validate/static_data.h"
#include "host/validate/validator.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace talvora::host {

namespace {

// Keeps a check that asks for too much from taking the machine. A sanitizer maps more
// than that before it begins.
#if defined(TALVORA_ADDRESS_SANITIZER)
constexpr std::size_t MAX_MEMORY = 0;
#else
constexpr std::size_t MAX_MEMORY = std::size_t{4} << 30;
#endif

// Its own way to the parent, whatever becomes of standard output.
int parent = -1;

// How much of the text went out; 0 when nobody listens any more.
std::size_t write_some(std::string_view text) {
#if defined(_WIN32)
    const int count = _write(parent, text.data(), static_cast<unsigned>(text.size()));
#else
    const ssize_t count = write(parent, text.data(), text.size());
#endif
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void tell(std::string_view kind, std::string_view text) {
    const std::string line = format_line(kind, text);
    for (std::string_view rest = line; !rest.empty();) {
        const std::size_t count = write_some(rest);
        if (count == 0) {
            std::_Exit(EXIT_FAILURE);
        }
        rest.remove_prefix(count);
    }
}

// In the midst of a crash: nothing is allocated.
void tell_in_crash(const char* kind, const char* how, const char* what) {
    static char line[300];
    std::snprintf(line, sizeof(line), "\n\x1etalvora\t%s\t%s%s\n", kind, how, what);
    write_some(line);
}

const char* explain_fault(const void* address, bool is_write) {
    for (const char* what :
         {GuardedHeap::explain(address, is_write), explain_static_data(address, is_write),
          explain_small_stack(address)}) {
        if (*what != '\0') {
            return what;
        }
    }
    return "";
}

// The slot is the one that the plug-in called, or came from last.
void tell_fault(const void* address, bool is_write) {
    const char* what = explain_fault(address, is_write);
    if (*what != '\0') {
        tell_in_crash("fault", "", what);
    }
    if (SlotScope::latest() != nullptr) {
        tell_in_crash("slot", SlotScope::is_active() ? "in " : "after ",
                      SlotScope::is_active() ? SlotScope::current() : SlotScope::latest());
    }
}

void* allocate_record(std::size_t byte_count) {
    // A text ends where the closed page begins; words are where words may be.
    const std::size_t alignment = byte_count % alignof(void*) == 0 ? alignof(void*) : 1;
    void* block =
        GuardedHeap::allocate(byte_count, BlockOwner::Record, alignment, SlotScope::current());
    return block != nullptr ? block : std::malloc(byte_count);
}

void release_record(void* block) {
    GuardedHeap::contains(block) ? GuardedHeap::release(block) : std::free(block);
}

} // namespace

int run_check_here(const std::string& id, const std::filesystem::path& plugin,
                   const std::vector<std::string>& self, const CheckSettings& settings) {
    const Check* check = find_check(id);
    if (check == nullptr) {
        return EXIT_FAILURE;
    }
    limit_this_process(MAX_MEMORY);
    take_default_signals();
    parent = dup(1);
    set_record_heap({allocate_record, release_record, true});
    GuardedHeap::open(GuardedEnd::Back, 0xCD);
    note_page_faults(tell_fault);
    Examination examination(plugin, self, settings, tell);
    try {
        check->run(examination);
    } catch (const std::exception& error) {
        examination.fail(std::string("throws: ") + error.what());
    } catch (...) {
        examination.fail("throws something that is no std::exception");
    }
    tell("done", "");
    // A plug-in that is unloaded here, or at the exit, has nothing to add.
    std::_Exit(EXIT_SUCCESS);
}

} // namespace talvora::host
