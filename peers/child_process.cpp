#include "peers/child_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <system_error>

namespace {

constexpr int kCannotStart = 127;

struct Pipe {
  platform::Descriptor read_end;
  platform::Descriptor write_end;
};

Pipe OpenPipe() {
  std::array<int, 2> ends{-1, -1};
  if (pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  return {platform::Descriptor(ends[0]), platform::Descriptor(ends[1])};
}

[[noreturn]] void Exec(const std::string& program, std::vector<char*>& arguments, int report) {
  execvp(program.c_str(), arguments.data());
  const int error = errno;
  [[maybe_unused]] const ssize_t written = write(report, &error, sizeof error);
  _exit(kCannotStart);
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const std::function<void()>& prepare) {
  Pipe output = OpenPipe();
  Pipe report = OpenPipe();  // closed by exec, or receives the errno value if exec fails
  std::vector<std::string> texts{program};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);

  id_ = fork();  // NOLINT(cppcoreguidelines-prefer-member-initializer): needs the pipes first
  if (id_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (id_ == 0) {
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    dup2(output.write_end.Number(), STDOUT_FILENO);
    if (prepare) prepare();
    Exec(program, pointers, report.write_end.Number());
  }
  output.write_end.Reset();
  report.write_end.Reset();
  int error = 0;
  if (read(report.read_end.Number(), &error, sizeof error) == sizeof error) {
    waitpid(id_, nullptr, 0);
    throw std::system_error(error, std::generic_category(), program);
  }
  fcntl(output.read_end.Number(), F_SETFL, O_NONBLOCK);
  output_ = std::make_unique<Channel>(std::move(output.read_end));
}

ChildProcess::~ChildProcess() {
  if (Status()) return;
  kill(id_, SIGKILL);
  waitpid(id_, nullptr, 0);
}

void ChildProcess::Signal(int signal) const {
  kill(id_, signal);
}

std::string ChildProcess::Field(const std::string& name) const {
  std::ifstream status("/proc/" + std::to_string(id_) + "/status");
  std::string word;
  while (status >> word && word != name) {
  }
  return status >> word ? word : "0";
}

std::optional<int> ChildProcess::Status() {
  int status = 0;
  rusage used{};
  if (!status_ && wait4(id_, &status, WNOHANG, &used) == id_) {
    peak_memory_kib_ = used.ru_maxrss;  // NOLINT(cppcoreguidelines-pro-type-union-access): a union in the C library
    status_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }
  return status_;
}
