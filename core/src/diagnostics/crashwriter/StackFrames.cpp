#include "diagnostics/crashwriter/StackFrames.h"

namespace orvo::crashwriter {

// Only the faulting instruction so far: walking further and naming frames
// needs the module's unwind tables and symbols.
std::vector<Frame> crashedThreadFrames(const CrashedProcess& process) {
  Frame top;
  top.address = process.threads().front().rip;
  return {top};
}

}  // namespace orvo::crashwriter
