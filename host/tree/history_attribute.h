// Where a file keeps what was done to it.
#pragma once

namespace talvora::host {

// Of the root group: an array of texts, one JSON document per step that was run.
constexpr char HISTORY_ATTRIBUTE[] = "talvora_history";

} // namespace talvora::host
