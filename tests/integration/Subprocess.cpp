#include "Subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

extern char** environ;

namespace Harness {
namespace {

using Clock = std::chrono::steady_clock;

// How often a wait for a child to end looks again.
constexpr auto reapInterval = std::chrono::milliseconds(5);

std::runtime_error systemError(const std::string& what) {
   return std::runtime_error(what + ": " + std::strerror(errno));
}

// argv and envp as execve() wants them, built before fork so that the child only has
// async-signal-safe work left to do.
class ExecArgs {
 public:
   ExecArgs(const std::vector<std::string>& argv, const Environment& env)
       : args_(argv), envEntries_(env.entries()) {
      if (args_.empty()) {
         throw std::invalid_argument("a command needs at least a program name");
      }
      for (auto& arg : args_) {
         argv_.push_back(arg.data());
      }
      argv_.push_back(nullptr);
      for (auto& entry : envEntries_) {
         envp_.push_back(entry.data());
      }
      envp_.push_back(nullptr);
      execFailed_ = "cannot execute " + args_.front() + "\n";
   }

   // In the child: replaces the process image or exits with 127.
   [[noreturn]] void exec() {
      execvpe(argv_[0], argv_.data(), envp_.data());
      const ssize_t ignored = write(STDERR_FILENO, execFailed_.data(), execFailed_.size());
      (void)ignored;
      _exit(127);
   }

 private:
   std::vector<std::string> args_;
   std::vector<std::string> envEntries_;
   std::vector<char*> argv_;
   std::vector<char*> envp_;
   std::string execFailed_;
};

// In the child, before exec: tie the child's life to this process and drop every inherited
// descriptor above stderr (the test process's SNMP sockets among them).
void prepareChild(pid_t parent) {
   prctl(PR_SET_PDEATHSIG, SIGTERM);
   if (getppid() != parent) {
      _exit(126);  // the parent is already gone
   }
   if (close_range(3, ~0U, 0) != 0) {
      for (int fd = 3; fd < 1024; ++fd) {
         close(fd);
      }
   }
}

void redirect(int fd, int target) {
   if (fd != target) {
      dup2(fd, target);
   }
}

}  // namespace

Environment Environment::inherited() {
   Environment env;
   for (char** entry = environ; *entry != nullptr; ++entry) {
      const std::string text = *entry;
      const auto eq = text.find('=');
      if (eq != std::string::npos) {
         env.vars_[text.substr(0, eq)] = text.substr(eq + 1);
      }
   }
   return env;
}

std::vector<std::string> Environment::entries() const {
   std::vector<std::string> result;
   result.reserve(vars_.size());
   for (const auto& [name, value] : vars_) {
      result.push_back(name + "=" + value);
   }
   return result;
}

bool ExitStatus::exited() const {
   return WIFEXITED(raw);
}
int ExitStatus::exitCode() const {
   return WEXITSTATUS(raw);
}
bool ExitStatus::signalled() const {
   return WIFSIGNALED(raw);
}
int ExitStatus::signal() const {
   return WTERMSIG(raw);
}

std::string ExitStatus::describe() const {
   if (exited()) {
      return "exited with status " + std::to_string(exitCode());
   }
   if (signalled()) {
      return "killed by signal " + std::to_string(signal()) + " (" + strsignal(signal()) + ")";
   }
   return "ended with wait status " + std::to_string(raw);
}

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const Environment& env,
                           const std::filesystem::path& outputFile) {
   ExecArgs exec(argv, env);
   const int out = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
   if (out < 0) {
      throw systemError("cannot open " + outputFile.string());
   }
   const int devNull = open("/dev/null", O_RDONLY | O_CLOEXEC);
   if (devNull < 0) {
      close(out);
      throw systemError("cannot open /dev/null");
   }
   const pid_t parent = getpid();
   const pid_t pid = fork();
   if (pid == 0) {
      redirect(devNull, STDIN_FILENO);
      redirect(out, STDOUT_FILENO);
      redirect(out, STDERR_FILENO);
      prepareChild(parent);
      exec.exec();
   }
   const int forkErrno = errno;
   close(out);
   close(devNull);
   if (pid < 0) {
      errno = forkErrno;
      throw systemError("fork");
   }
   pid_ = pid;
}

ChildProcess::~ChildProcess() {
   if (pid_ > 0 && !status_) {
      stop();
   }
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), status_(std::exchange(other.status_, std::nullopt)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
   if (this != &other) {
      if (pid_ > 0 && !status_) {
         stop();
      }
      pid_ = std::exchange(other.pid_, -1);
      status_ = std::exchange(other.status_, std::nullopt);
   }
   return *this;
}

bool ChildProcess::reap(bool block) {
   if (status_) {
      return true;
   }
   if (pid_ <= 0) {
      return false;
   }
   int raw = 0;
   pid_t result;
   do {
      result = waitpid(pid_, &raw, block ? 0 : WNOHANG);
   } while (result < 0 && errno == EINTR);
   if (result == pid_) {
      status_ = ExitStatus{raw};
      return true;
   }
   return false;
}

bool ChildProcess::running() {
   return pid_ > 0 && !reap(false);
}

bool ChildProcess::waitFor(std::chrono::milliseconds timeout) {
   const auto deadline = Clock::now() + timeout;
   while (!reap(false)) {
      if (pid_ <= 0 || Clock::now() >= deadline) {
         return status_.has_value();
      }
      std::this_thread::sleep_for(reapInterval);
   }
   return true;
}

ExitStatus ChildProcess::stop(std::chrono::milliseconds grace) {
   if (pid_ <= 0) {
      throw std::logic_error("stop() on a process that was never started");
   }
   if (!reap(false)) {
      kill(pid_, SIGTERM);
      if (!waitFor(grace)) {
         kill(pid_, SIGKILL);
         reap(true);
      }
   }
   return *status_;
}

CommandResult runCommand(const std::vector<std::string>& argv, const Environment& env,
                         std::chrono::milliseconds timeout) {
   ExecArgs exec(argv, env);
   int outPipe[2];
   int errPipe[2];
   if (pipe2(outPipe, O_CLOEXEC) != 0) {
      throw systemError("pipe");
   }
   if (pipe2(errPipe, O_CLOEXEC) != 0) {
      close(outPipe[0]);
      close(outPipe[1]);
      throw systemError("pipe");
   }
   const int devNull = open("/dev/null", O_RDONLY | O_CLOEXEC);
   const pid_t parent = getpid();
   const pid_t pid = fork();
   if (pid == 0) {
      if (devNull >= 0) {
         redirect(devNull, STDIN_FILENO);
      }
      redirect(outPipe[1], STDOUT_FILENO);
      redirect(errPipe[1], STDERR_FILENO);
      prepareChild(parent);
      exec.exec();
   }
   const int forkErrno = errno;
   close(outPipe[1]);
   close(errPipe[1]);
   if (devNull >= 0) {
      close(devNull);
   }
   if (pid < 0) {
      close(outPipe[0]);
      close(errPipe[0]);
      errno = forkErrno;
      throw systemError("fork");
   }

   CommandResult result;
   pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
   std::string* sinks[2] = {&result.out, &result.err};
   int open = 2;
   const auto deadline = Clock::now() + timeout;
   while (open > 0) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0) {
         result.timedOut = true;
         break;
      }
      const int ready = poll(fds, 2, static_cast<int>(left.count()));
      if (ready < 0 && errno != EINTR) {
         break;
      }
      for (int i = 0; i < 2; ++i) {
         if (fds[i].fd < 0 || fds[i].revents == 0) {
            continue;
         }
         char buffer[4096];
         const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
         if (n > 0) {
            sinks[i]->append(buffer, static_cast<std::size_t>(n));
         } else if (n == 0 || errno != EINTR) {
            close(fds[i].fd);
            fds[i].fd = -1;
            --open;
         }
      }
   }
   for (auto& fd : fds) {
      if (fd.fd >= 0) {
         close(fd.fd);
      }
   }
   if (result.timedOut) {
      kill(pid, SIGKILL);
   }
   int raw = 0;
   while (waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
   }
   result.status = ExitStatus{raw};
   return result;
}

}  // namespace Harness
