// What has to hold for every run, whatever it was asked for.
#pragma once

#include "host/validate/check.h"
#include "host/validate/watched_call.h"

namespace talvora::host {

// Nothing is thrown and no use made of the interface that it does not allow. More memory than
// there is may be asked for, which is a warning.
void expect_kept_interface(Examination& examination, const CallReport& report);
void expect_reported_failure(Examination& examination, const CallReport& report);
void expect_freed_records(Examination& examination, const HeapSettlement& heap);
// Of the plug-in's own memory, nothing was written outside.
void expect_whole_blocks(Examination& examination, const HeapSettlement& heap);

} // namespace talvora::host
