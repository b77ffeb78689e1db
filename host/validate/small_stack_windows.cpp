// Not tried here.
#include "host/validate/small_stack.h"

namespace talvora::host {

bool has_small_stack() {
    return false;
}

void run_on_small_stack(const std::function<void()>& work) {
    work();
}

const char* explain_small_stack(const void*) {
    return "";
}

} // namespace talvora::host
