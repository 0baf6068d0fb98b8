// ServiceSystem: the signal texts and the stop they ask for, shutdownSystem
// at each stage of a launch, and the launcher in a child process that gets
// real signals.
#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <tuple>

#include <orvo/core/ServiceSystem.h>

#include "diagnostics/LogCollector.h"
#include "runtime/ServiceState.h"

extern char** environ;

namespace orvo {
namespace {

// Puts a loaded System in place as the process's, at a given stage of the
// launch, and restores the state afterwards.
struct LaunchedSystem {
  explicit LaunchedSystem(int stage, bool withSystem = true) {
    if (withSystem) system->load();
    SpinGuard guard(service::state().locked);
    service::state().system = withSystem ? system : nullptr;
    service::state().launch = stage;
  }
  ~LaunchedSystem() {
    SpinGuard guard(service::state().locked);
    service::state().system = nullptr;
    service::state().launch = service::kLaunching;
  }
  Unknown::THandle<ServiceSystem> system{new ServiceSystem};
};

TEST(ServiceSystem, EverySignalLogsItsNameAndStopsTheSystem) {
  const std::pair<int, const wchar_t*> signals[] = {
      {SIGINT, L"CTRL+C signal."},          {SIGILL, L"Illegal instruction."},
      {SIGFPE, L"Floating-point error."},   {SIGSEGV, L"Illegal storage access."},
      {SIGTERM, L"Termination request."},   {SIGABRT, L"Abnormal termination."},
      {SIGQUIT, L"Unknown signal."},        {SIGHUP, L"Unknown signal."}};
  for (const auto& [number, text] : signals) {
    LaunchedSystem launched(service::kLaunched);
    LogCollector log;
    ServiceSystem::signal(number);
    EXPECT_EQ(log.warnings, Texts{text});
    EXPECT_EQ(launched.system->getState(), System::StateStopping) << number;
  }
}

TEST(ServiceSystem, ShutdownSystemActsOnlyBetweenLaunchAndEnd) {
  {
    LaunchedSystem ended(service::kEnded);
    EXPECT_TRUE(ServiceSystem::shutdownSystem());
    EXPECT_EQ(ended.system->getState(), System::StateLoaded);
  }
  LaunchedSystem withoutSystem(service::kLaunched, false);
  EXPECT_TRUE(ServiceSystem::shutdownSystem());
  EXPECT_EQ(ServiceSystem::getSystem().get(), nullptr);
  EXPECT_EQ(std::tuple(ServiceSystem::argc(), ServiceSystem::argv()), std::tuple(0, nullptr));  // never launched
}

// The child program of ServiceChild.cpp, with its standard output on a pipe.
class Child {
 public:
  explicit Child(const char* mode) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    char* arguments[] = {const_cast<char*>(ORVO_SERVICE_CHILD), const_cast<char*>(mode), nullptr};
    EXPECT_EQ(posix_spawn(&pid, ORVO_SERVICE_CHILD, &actions, nullptr, arguments, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output = ends[0];
  }
  ~Child() { close(output); }

  // Reads until `line` has come, or the output ends, or 10 s pass with
  // nothing to read; true if the line came.
  bool readUntil(const std::string& line) {
    for (;;) {
      if (text.find(line + "\n") != std::string::npos) return true;
      pollfd readable{output, POLLIN, 0};
      char chunk[256];
      if (poll(&readable, 1, 10000) <= 0) return false;
      const ssize_t got = read(output, chunk, sizeof chunk);
      if (got <= 0) return false;
      text.append(chunk, static_cast<std::size_t>(got));
    }
  }

  // The exit status after the output has ended; the child is killed if it
  // does not end.
  int status() {
    readUntil("(end of output)");
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == 0) kill(pid, SIGKILL), waitpid(pid, &status, 0);
    return status;
  }

  pid_t pid = 0;
  int output = -1;
  std::string text;
};

// Each child ends in order with exit status 0 and says so. "second" gets a
// second SIGINT from exit(), which changes nothing. "early" sends its SIGINT
// before its System exists: the stop waits for the System (without the wait
// the signal would be lost and the child killed), and comes whether the loop
// has begun or not, so its "ready" and exit lines may or may not be there.
TEST(ServiceSystemLaunch, SignalsEndTheProcessInOrder) {
  const std::string stopped = "exit: tasks stopped\nlaunch: 0\n", interrupt = "warning: CTRL+C signal.\n";
  const std::string run = "service-child 1.0 2 run\nready\n";
  const std::tuple<const char*, int, std::string> cases[] = {
      {"run", SIGINT, run + interrupt + stopped},
      {"run", SIGTERM, run + "warning: Termination request.\n" + stopped},
      {"second", SIGINT, "service-child 1.0 2 second\nready\n" + interrupt + interrupt + stopped},
      {"early", 0, interrupt}};
  for (const auto& [mode, signalNumber, expected] : cases) {
    Child child(mode);
    if (signalNumber != 0) {
      ASSERT_TRUE(child.readUntil("ready")) << child.text;
      kill(child.pid, signalNumber);
    }
    const int status = child.status();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << mode << " " << status;
    if (signalNumber != 0) {
      EXPECT_EQ(child.text, expected);
    } else {
      EXPECT_NE(child.text.find(expected), std::string::npos) << child.text;
      EXPECT_TRUE(child.text.ends_with("launch: 0\n")) << child.text;
    }
  }
}

}  // namespace
}  // namespace orvo
