// What is told of a worker that broke off.
#pragma once

#include "host/runs/worker_pool.h"
#include "host/text/failure.h"

namespace talvora::host {

// The part of a sentence behind the name of the file that was worked on, and hints. What happens
// while the library of the file's format is at work is the file's fault, and so is what the
// program does wrong before any of the plug-in's code has run; all else is the plug-in's.
Failure explain_end(const WorkerEnd& end, const WorkerLimits& limits);

} // namespace talvora::host
