// LogState.h: internal control of the log's process-wide state. The
// teardown takes the log's own lock and may run on any thread.
#pragma once

namespace orvo::detail {

// The process-exit teardown of the log, callable earlier by tests: the log
// is silent from then on.
void tearDownLog();

}  // namespace orvo::detail
