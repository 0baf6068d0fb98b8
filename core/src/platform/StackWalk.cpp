#include "platform/StackWalk.h"

#include <pthread.h>
#include <signal.h>
#include <sys/uio.h>
#include <unistd.h>
#include <unwind.h>

namespace orvo::platform {
namespace {

#if defined(__x86_64__)
constexpr int kFramePointerRegister = 6;  // rbp, in the DWARF numbering
#elif defined(__aarch64__)
constexpr int kFramePointerRegister = 29;  // x29
#endif

struct UnwindTarget {
  AddressSink sink;
  void* context;
  StackBounds stack;
};

// True if `bytes` at `address` can be read, asked of the kernel so that an
// address into nowhere costs an error code instead of a fault.
bool isReadable(std::uintptr_t address, std::size_t bytes) {
  unsigned char copy[16];
  if (bytes > sizeof copy) return false;
  iovec local{copy, bytes};
  iovec remote{reinterpret_cast<void*>(address), bytes};
  return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) == static_cast<ssize_t>(bytes);
}

// The unwinder trusts the registers that it restores: for a frame whose
// code keeps a frame pointer it reads the two words at that pointer, and a
// saved frame pointer into nowhere would fault inside the unwinder. So a
// frame pointer that is neither on this stack nor readable ends the walk.
// The price: code without frame pointers may keep any number in that
// register, and one that is no readable address ends the walk there too.
// That happens mostly in the start-up frames of the C library, outermost on
// every thread. A corrupt pointer to readable memory still misleads the
// unwinder, as it does glibc's backtrace(); the frame-pointer walk is the
// one that is bounded in every case.
bool framePointerLeadsNowhere(_Unwind_Context* frame, const StackBounds& stack) {
#if defined(__x86_64__) || defined(__aarch64__)
  constexpr std::size_t kRecordBytes = 2 * sizeof(std::uintptr_t);
  const std::uintptr_t framePointer = _Unwind_GetGR(frame, kFramePointerRegister);
  return !stack.contains(framePointer, kRecordBytes) && !isReadable(framePointer, kRecordBytes);
#else
  (void)frame;
  (void)stack;
  return false;
#endif
}

_Unwind_Reason_Code onUnwindFrame(_Unwind_Context* frame, void* argument) {
  auto* target = static_cast<UnwindTarget*>(argument);
  const std::uintptr_t address = _Unwind_GetIP(frame);
  if (address == 0) return _URC_END_OF_STACK;
  target->sink(target->context, address);
  if (framePointerLeadsNowhere(frame, target->stack)) return _URC_END_OF_STACK;
  return _URC_NO_REASON;
}

StackBounds queryThreadStack() {
  StackBounds bounds;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return bounds;
  void* base = nullptr;
  std::size_t size = 0;
  if (pthread_attr_getstack(&attributes, &base, &size) == 0 && base) {
    bounds.low = reinterpret_cast<std::uintptr_t>(base);
    bounds.high = bounds.low + size;
  }
  pthread_attr_destroy(&attributes);
  return bounds;
}

// The thread's stack does not move, and asking for it is slow (for the main
// thread glibc reads /proc/self/maps), so each thread asks once.
const StackBounds& threadStack() {
  thread_local StackBounds bounds;
  thread_local bool known = false;
  if (!known) {
    bounds = queryThreadStack();
    known = true;
  }
  return bounds;
}

bool alternateSignalStack(StackBounds& bounds) {
  stack_t current;
  if (sigaltstack(nullptr, &current) != 0) return false;
  if ((current.ss_flags & SS_ONSTACK) == 0 || !current.ss_sp) return false;
  bounds.low = reinterpret_cast<std::uintptr_t>(current.ss_sp);
  bounds.high = bounds.low + current.ss_size;
  return true;
}

}  // namespace

__attribute__((noinline)) void unwindStack(AddressSink sink, void* context) {
  UnwindTarget target{sink, context, {}};
  stackBoundsOf(currentFramePointer(), target.stack);
  _Unwind_Backtrace(onUnwindFrame, &target);
}

bool stackBoundsOf(std::uintptr_t address, StackBounds& bounds) {
  const StackBounds& own = threadStack();
  if (own.contains(address, 1)) {
    bounds = own;
    return true;
  }
  StackBounds signalStack;
  if (alternateSignalStack(signalStack) && signalStack.contains(address, 1)) {
    bounds = signalStack;
    return true;
  }
  return false;
}

}  // namespace orvo::platform
