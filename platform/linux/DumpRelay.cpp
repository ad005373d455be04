#include "platform/linux/DumpRelay.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/netlink.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace Linux {
namespace {

constexpr int peerFd = 3;  // the child's end, where the child keeps it
constexpr std::size_t datagramBytes = 64 * 1024;
constexpr uid_t unprivileged = 65534;  // nobody, nogroup

std::runtime_error failure(const char* what) {
   return std::runtime_error(std::string("dump relay: ") + what + ": " + std::strerror(errno));
}

// Tells the reader that a request never reached the kernel: the kernel's own form of a
// refusal, with the request's sequence number.
void refuse(const nlmsghdr& request, int error) {
   struct {
      nlmsghdr header;
      nlmsgerr body;
   } answer{};
   answer.header = {sizeof answer, NLMSG_ERROR, 0, request.nlmsg_seq, 0};
   answer.body.error = -error;
   answer.body.msg = request;
   ::send(peerFd, &answer, sizeof answer, MSG_NOSIGNAL);
}

// The child: forwards requests from snmpd to the kernel and the kernel's datagrams back,
// until snmpd's end closes. It never returns.
[[noreturn]] void relay(pid_t parent) {
   for (int signal = 1; signal < NSIG; ++signal) {
      ::signal(signal, SIG_DFL);  // snmpd's handlers are snmpd's
   }
   sigset_t none;
   ::sigemptyset(&none);
   ::sigprocmask(SIG_SETMASK, &none, nullptr);
   ::prctl(PR_SET_PDEATHSIG, SIGKILL);
   if (::getppid() != parent) {
      ::_exit(0);  // snmpd ended before the line above
   }
   ::close_range(peerFd + 1, ~0U, 0);
   const int kernel = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
   sockaddr_nl address{};
   address.nl_family = AF_NETLINK;
   if (kernel < 0 ||
       ::bind(kernel, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      ::_exit(1);
   }
   if (::geteuid() == 0) {
      // Failing leaves the child as it is, which is no worse than snmpd was when it started.
      const bool dropped = ::setgroups(0, nullptr) == 0 && ::setgid(unprivileged) == 0 &&
                           ::setuid(unprivileged) == 0;
      static_cast<void>(dropped);
   }
   std::array<pollfd, 2> watched{{{peerFd, POLLIN, 0}, {kernel, POLLIN, 0}}};
   alignas(nlmsghdr) char buffer[datagramBytes];
   for (;;) {
      if (::poll(watched.data(), watched.size(), -1) < 0) {
         if (errno == EINTR) {
            continue;
         }
         ::_exit(1);
      }
      if (watched[0].revents != 0) {
         const ssize_t n = ::recv(peerFd, buffer, sizeof buffer, 0);
         if (n <= 0) {
            ::_exit(0);  // snmpd closed its end
         }
         if (::send(kernel, buffer, static_cast<std::size_t>(n), 0) < 0 &&
             static_cast<std::size_t>(n) >= sizeof(nlmsghdr)) {
            refuse(*reinterpret_cast<const nlmsghdr*>(buffer), errno);
         }
      }
      if (watched[1].revents != 0) {
         // Here the kernel makes the dump's next part. A full local socket blocks the send,
         // and with it the kernel's dump, until snmpd reads on.
         const ssize_t n = ::recv(kernel, buffer, sizeof buffer, MSG_DONTWAIT);
         if (n > 0 && ::send(peerFd, buffer, static_cast<std::size_t>(n), MSG_NOSIGNAL) < 0) {
            ::_exit(0);
         }
      }
   }
}

}  // namespace

DumpRelay::DumpRelay() {
   int ends[2];
   if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
      throw failure("socketpair");
   }
   const pid_t parent = ::getpid();
   child_ = ::fork();
   if (child_ == 0) {
      // Moved to its place without O_CLOEXEC; nothing is executed anyway.
      if (::dup2(ends[1], peerFd) < 0) {
         ::_exit(1);
      }
      relay(parent);
   }
   ::close(ends[1]);
   if (child_ < 0) {
      const auto error = failure("fork");
      ::close(ends[0]);
      throw error;
   }
   fd_ = ends[0];
   ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) | O_NONBLOCK);
}

DumpRelay::~DumpRelay() {
   ::close(fd_);
   // It may be in the middle of a kernel call that takes a while; it holds nothing to save.
   ::kill(child_, SIGKILL);
   ::waitpid(child_, nullptr, 0);
}

}  // namespace Linux
