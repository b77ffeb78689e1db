#include "host/validate/check.h"

#include <algorithm>
#include <utility>

namespace talvora::host {

namespace {

constexpr const char* VERDICT_NAMES[] = {"pass", "skipped", "warn", "fail", "crash", "time-out"};

} // namespace

const char* name_of(Verdict verdict) {
    return VERDICT_NAMES[static_cast<std::size_t>(verdict)];
}

bool is_good(Verdict verdict) {
    return verdict <= Verdict::Warn;
}

void Examination::at(std::string where) {
    where_ = std::move(where);
    sink_("at", where_);
}

void Examination::expect(bool is_met, std::string_view otherwise) {
    if (!is_met) {
        fail(otherwise);
    }
}

void Examination::skip(std::string_view reason) {
    if (!std::exchange(is_skipped_, true)) {
        sink_("skip", reason);
    }
}

// The same finding in many places is told of the first.
void Examination::tell(std::string_view kind, std::string_view text) {
    if (std::ranges::find(told_, text) != told_.end()) {
        return;
    }
    told_.emplace_back(text);
    sink_(kind, where_.empty() ? std::string(text) : where_ + ": " + std::string(text));
}

} // namespace talvora::host
