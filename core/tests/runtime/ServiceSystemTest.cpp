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

TEST(ServiceSystemLaunch, SigintAndSigtermEndTheProcessInOrder) {
  for (int signalNumber : {SIGINT, SIGTERM}) {
    Child child("run");
    ASSERT_TRUE(child.readUntil("ready")) << child.text;
    kill(child.pid, signalNumber);
    const int status = child.status();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    const std::string warning = signalNumber == SIGINT ? "CTRL+C signal." : "Termination request.";
    EXPECT_EQ(child.text, "ready\nwarning: " + warning + "\nexit: tasks stopped\nlaunch: 0\n");
  }
}

TEST(ServiceSystemLaunch, ASecondSignalDuringTheStopChangesNothing) {
  Child child("second");
  ASSERT_TRUE(child.readUntil("ready")) << child.text;
  kill(child.pid, SIGINT);
  const int status = child.status();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(child.text, "ready\nwarning: CTRL+C signal.\nwarning: CTRL+C signal.\nexit: tasks stopped\nlaunch: 0\n");
}

TEST(ServiceSystemLaunch, ASignalDuringTheLaunchWaitsForTheSystem) {
  Child child("early");
  const int status = child.status();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  // The stop comes as soon as the System exists, whether its loop has begun
  // or not; without the wait the signal would be lost and the child killed.
  EXPECT_NE(child.text.find("warning: CTRL+C signal.\n"), std::string::npos) << child.text;
  EXPECT_TRUE(child.text.ends_with("launch: 0\n")) << child.text;
}

}  // namespace
}  // namespace orvo
