// From a SIGTERM sent to a process to its ServiceSystem's exit() having run:
// the signal's way through the kernel to the launcher's signal thread, the
// warning, the stop of the loop and exit(). The time ends when the target's
// "exit" line arrives on a pipe; starting the process is not timed.
#include <benchmark/benchmark.h>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

extern char** environ;

namespace {

// Reads from `fd` until `text` has arrived; false at the end of the output.
bool readUntil(int fd, std::string& seen, const char* text) {
  char chunk[64];
  while (seen.find(text) == std::string::npos) {
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got <= 0) return false;
    seen.append(chunk, static_cast<std::size_t>(got));
  }
  return true;
}

void BM_ServiceSystem_SignalToExit(benchmark::State& state) {
  for (auto _ : state) {
    int ends[2];
    if (pipe(ends) != 0) return state.SkipWithError("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    char* arguments[] = {const_cast<char*>(ORVO_SERVICE_TARGET), nullptr};
    pid_t pid = 0;
    posix_spawn(&pid, ORVO_SERVICE_TARGET, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string seen;
    const bool ready = readUntil(ends[0], seen, "ready\n");
    const auto sent = std::chrono::steady_clock::now();
    kill(pid, SIGTERM);
    const bool ended = ready && readUntil(ends[0], seen, "exit\n");
    const auto arrived = std::chrono::steady_clock::now();
    close(ends[0]);
    waitpid(pid, nullptr, 0);
    if (!ended) return state.SkipWithError("the target did not run to its exit");
    state.SetIterationTime(std::chrono::duration<double>(arrived - sent).count());
  }
}
BENCHMARK(BM_ServiceSystem_SignalToExit)->UseManualTime()->Iterations(200);

}  // namespace

BENCHMARK_MAIN();
