// Crash reporter figures. Each iteration starts a copy of this program that
// loads 50 of the system's shared libraries, starts its threads and faults;
// the parent measures the time from the fault to the child's end:
//   with the crash handler installed (report and minidump written)  vs  the
//   same crash without a handler (the default action, no core file)
// and the size of the minidump of a crashed process with 8 threads.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <orvo/core/CrashReporter.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kLibraries = 50;

double monotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The child: loads libraries, starts threads, says when it faults, faults.
[[noreturn]] void crashChild(int threads, bool handled, int timeFile) {
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  // Each library once, by its soname form (libx.so.N), none of the loader's
  // own and none of the toolchain's giants.
  const std::regex soname(R"(lib[^.]+\.so\.\d+)");
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator("/usr/lib/x86_64-linux-gnu")) {
    const std::string name = entry.path().filename().string();
    if (std::regex_match(name, soname) && name.find("LLVM") == std::string::npos)
      names.push_back(entry.path().string());
  }
  std::sort(names.begin(), names.end());
  std::set<void*> loaded;
  for (std::size_t i = 0; i < names.size() && loaded.size() < kLibraries; ++i)
    if (void* library = dlopen(names[i].c_str(), RTLD_LAZY | RTLD_LOCAL)) loaded.insert(library);
  // A library may have taken the signal for itself.
  signal(SIGSEGV, SIG_DFL);
  if (handled) orvo::handled_exception_filter();
  for (int i = 1; i < threads; ++i) std::thread([] { pause(); }).detach();
  const double faultTime = monotonicSeconds();
  if (write(timeFile, &faultTime, sizeof faultTime) != sizeof faultTime) _exit(3);
  volatile int* volatile nowhere = nullptr;  // a store that is not left out
  *nowhere = static_cast<int>(loaded.size());
  _exit(4);
}

// One crashed child in a directory of its own, where it leaves its files:
// seconds from its fault to its end, and the size of its minidump.
bool crashOnce(int threads, bool handled, double& seconds, std::uintmax_t& dumpBytes) {
  const fs::path self = fs::read_symlink("/proc/self/exe");
  std::string pattern = (self.parent_path() / "crash_run_XXXXXX").string();
  const fs::path directory = mkdtemp(pattern.data());
  const fs::path program = directory / self.filename();
  fs::create_hard_link(self, program);
  int times[2];
  if (pipe(times) != 0) return false;
  const std::string threadText = std::to_string(threads), handledText = handled ? "1" : "0",
                    fileText = std::to_string(times[1]);
  const pid_t child = fork();
  if (child == 0) {
    close(times[0]);
    const int quiet = open("/dev/null", O_WRONLY);  // the message on standard error
    dup2(quiet, STDERR_FILENO);
    execl(program.c_str(), program.c_str(), "--crash-child", threadText.c_str(),
          handledText.c_str(), fileText.c_str(), nullptr);
    _exit(127);
  }
  close(times[1]);
  double faultTime = 0;
  const bool told = read(times[0], &faultTime, sizeof faultTime) == sizeof faultTime;
  int status = 0;
  waitpid(child, &status, 0);
  seconds = monotonicSeconds() - faultTime;
  close(times[0]);
  int files = 0;
  dumpBytes = 0;
  for (const auto& entry : fs::directory_iterator(directory)) {
    files += entry.path().filename().string().starts_with("crash@");
    if (entry.path().extension() == ".dmp") dumpBytes = entry.file_size();
  }
  fs::remove_all(directory);
  return told && WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV &&
         files == (handled ? 2 : 0);
}

void runCrashes(benchmark::State& state, int threads, bool handled) {
  std::uintmax_t dumpBytes = 0;
  for (auto _ : state) {
    double seconds = 0;
    if (!crashOnce(threads, handled, seconds, dumpBytes)) {
      state.SkipWithError("the child did not crash as planned");
      return;
    }
    state.SetIterationTime(seconds);
  }
  state.counters["minidump_bytes"] = static_cast<double>(dumpBytes);
}

void BM_Crash_Reported50Libraries(benchmark::State& state) { runCrashes(state, 1, true); }
BENCHMARK(BM_Crash_Reported50Libraries)
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);

void BM_Crash_Unhandled50Libraries(benchmark::State& state) { runCrashes(state, 1, false); }
BENCHMARK(BM_Crash_Unhandled50Libraries)
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);

void BM_Crash_Reported8Threads(benchmark::State& state) { runCrashes(state, 8, true); }
BENCHMARK(BM_Crash_Reported8Threads)
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "--crash-child") == 0)
    crashChild(std::atoi(argv[2]), std::strcmp(argv[3], "1") == 0, std::atoi(argv[4]));
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
