// MessageQueue.h: the message step of the main loop.
//
// The loop takes at most one message of the calling thread's queue per pass,
// without waiting. Linux has no such per-thread window-message queue, so the
// step always answers that there was none.
#pragma once

namespace orvo::platform {

// Dispatches one waiting message of this thread's queue; false if none.
inline bool dispatchOneMessage() { return false; }

}  // namespace orvo::platform
