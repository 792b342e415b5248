// Runs a function in a child process, which may end in any way.

#ifndef TESTS_CHILD_H_
#define TESTS_CHILD_H_

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>
#include <string>

struct End {
  std::string console;
  int status = 0;

  bool IsAbort() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
  bool IsExit(int expected) const { return WIFEXITED(status) && WEXITSTATUS(status) == expected; }
};

// Runs `run`, which returns the child's exit status.
inline End InAChild(const std::function<int()>& run) {
  std::array<int, 2> console{};
  EXPECT_EQ(pipe(console.data()), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(console[1], STDOUT_FILENO);
    close(STDERR_FILENO);  // silence the C++ library's message
    const rlimit no_core{};
    setrlimit(RLIMIT_CORE, &no_core);
    _exit(run());
  }
  close(console[1]);
  End end;
  char bytes[4096];
  for (ssize_t count = 0; (count = read(console[0], bytes, sizeof bytes)) > 0;) {
    end.console.append(bytes, static_cast<std::size_t>(count));
  }
  close(console[0]);
  EXPECT_EQ(waitpid(child, &end.status, 0), child);
  return end;
}

#endif  // TESTS_CHILD_H_
