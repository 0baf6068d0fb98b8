// StackFrames.h: the frames of the crashed thread for the report, walked
// from the context its handler recorded.
#pragma once

#include <vector>

#include "diagnostics/crashwriter/CrashReport.h"
#include "diagnostics/crashwriter/CrashedProcess.h"

namespace orvo::crashwriter {

std::vector<Frame> crashedThreadFrames(const CrashedProcess& process);

}  // namespace orvo::crashwriter
