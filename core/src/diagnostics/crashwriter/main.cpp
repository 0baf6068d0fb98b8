// orvo_crash_writer: started by the crash handler of a process that has just
// faulted, as that process's child, with the address of the handler's record
// as its one argument. It writes the minidump and the text report next to
// the executable, prints where they are on standard error and exits; the
// crashed process then dies by its signal. Exit status 0 when both were
// written.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "diagnostics/crashwriter/CrashReport.h"
#include "diagnostics/crashwriter/CrashedProcess.h"
#include "diagnostics/crashwriter/MinidumpWriter.h"
#include "diagnostics/crashwriter/StackFrames.h"

using namespace orvo::crashwriter;

namespace {

std::string executableDirectory(pid_t pid) {
  char path[4096];
  const ssize_t length =
      readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), path, sizeof path - 1);
  std::string directory(path, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  directory.resize(directory.rfind('/') + 1);  // empty without a slash
  return directory;
}

bool writeFile(const std::string& path, const void* data, std::size_t size) {
  FILE* file = std::fopen(path.c_str(), "w+");
  if (file == nullptr) return false;
  const bool written = std::fwrite(data, 1, size, file) == size;
  return std::fclose(file) == 0 && written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <record address>\n(started by a crashing process)\n", argv[0]);
    return 2;
  }
  const pid_t crashed = getppid();
  const CrashedProcess process(crashed, std::strtoull(argv[1], nullptr, 16));
  if (!process.ok()) return 1;
  const std::string directory = executableDirectory(crashed);
  const std::string dumpPath = createCrashFile(directory, "dmp");
  const std::string reportPath = dumpPath.empty() ? dumpPath : createCrashFile(directory, "log");
  if (reportPath.empty()) return 1;

  const std::string report = crashReport(process, crashedThreadFrames(process));
  const auto dump = buildMinidump(process, static_cast<std::uint32_t>(std::time(nullptr)));
  const bool written = writeFile(reportPath, report.data(), report.size()) &&
                       writeFile(dumpPath, dump.data(), dump.size());
  const std::string message = crashMessage(reportPath, dumpPath, process.record().contact);
  std::fputs(message.c_str(), stderr);
  return written ? 0 : 1;
}
