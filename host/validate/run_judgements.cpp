#include "host/validate/run_judgements.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace talvora::host {

namespace {

bool has_error(const CallReport& report) {
    return std::ranges::count(report.messages, Message::Error, &Message::level) > 0;
}

} // namespace

// A refusal that this host made up is none of the plug-in's requests.
void expect_kept_interface(Examination& examination, const CallReport& report) {
    if (!report.thrown.empty() && report.is_out_of_memory) {
        examination.warn("asks for more memory than there is: " + report.thrown);
    } else if (!report.thrown.empty()) {
        examination.fail("throws: " + report.thrown);
    }
    for (const std::string& problem : report.problems.interface_breaks) {
        examination.fail(problem);
    }
}

void expect_reported_failure(Examination& examination, const CallReport& report) {
    examination.expect(report.is_success || !report.thrown.empty() || has_error(report),
                       "returns false without an error message");
}

void expect_freed_records(Examination& examination, const HeapSettlement& heap) {
    if (heap.unfreed_records > 0) {
        examination.fail(fmt::format("does not free {} of the buffers of host records ({} bytes of "
                                     "{})",
                                     heap.unfreed_records, heap.unfreed_record_bytes,
                                     fmt::join(heap.unfreed_origins, ", ")));
    }
    for (const std::string& problem : heap.record_problems) {
        examination.fail(problem);
    }
}

void expect_whole_blocks(Examination& examination, const HeapSettlement& heap) {
    for (const std::string& problem : heap.block_problems) {
        examination.fail(problem);
    }
}

} // namespace talvora::host
