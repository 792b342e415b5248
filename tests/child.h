// Runs a function in a child process, which may end in any way.

#ifndef TESTS_CHILD_H_
#define TESTS_CHILD_H_

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>

struct ChildResult {
  std::string console;
  int status = 0;

  bool IsAbort() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
  bool IsExit(int expected) const { return WIFEXITED(status) && WEXITSTATUS(status) == expected; }
};

// Runs `run`, which returns the child's exit status. Returns when the child has ended or is stopped.
inline ChildResult RunInChild(const std::function<int()>& run) {
  testing::internal::CaptureStdout();
  const pid_t child = fork();
  if (child == 0) {
    close(STDERR_FILENO);  // silence the C++ library's message
    const rlimit no_core{};
    setrlimit(RLIMIT_CORE, &no_core);
    _exit(run());
  }
  ChildResult result;
  EXPECT_EQ(waitpid(child, &result.status, WUNTRACED), child);
  result.console = testing::internal::GetCapturedStdout();
  return result;
}

#endif  // TESTS_CHILD_H_
