#include "platform/sim/ControlServer.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <utility>

#include "platform/kel/Clock.h"
#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"
#include "platform/sim/CommandInterpreter.h"

namespace Sim {
namespace {

Kel::TraceHandle& controlTrace() {
   static Kel::TraceHandle handle("SimControl");
   return handle;
}

// Made at load, so that a trace setting can name the facility before its first line.
[[maybe_unused]] const Kel::TraceHandle& controlTraceAtLoad = controlTrace();

// Connections accepted per readable event of the listening socket, so that a flood of
// clients cannot hold the thread.
constexpr int acceptsPerEvent = 16;
// Bytes read and discarded from a client before closing it, so that a client whose
// line was refused unread reads its reply rather than a reset.
constexpr std::size_t drainBytes = 64 * 1024;
// How often a reply the client has not taken yet is offered again.
constexpr double resendInterval = 0.02;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
   throw std::runtime_error("control socket " + path + ": " + reason);
}

[[noreturn]] void failErrno(const std::string& path, int error) {
   fail(path, std::strerror(error));
}

sockaddr_un socketAddress(const std::string& path) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   std::memcpy(address.sun_path, path.data(), path.size());
   return address;
}

// Whether a process accepts connections on the socket file at `path`.
bool someoneListens(const std::string& path) {
   const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
   if (fd < 0) {
      failErrno(path, errno);
   }
   const sockaddr_un address = socketAddress(path);
   const int rc = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
   const int error = errno;
   ::close(fd);
   if (rc == 0 || error == EAGAIN || error == EINPROGRESS) {
      return true;
   }
   if (error == ECONNREFUSED) {
      return false;
   }
   failErrno(path, error);
}

// Sets the umask for its lifetime, so that the socket file is made with mode 0600.
class ScopedUmask {
 public:
   explicit ScopedUmask(mode_t mask) : previous_(::umask(mask)) {}
   ~ScopedUmask() { ::umask(previous_); }
   ScopedUmask(const ScopedUmask&) = delete;
   ScopedUmask& operator=(const ScopedUmask&) = delete;

 private:
   mode_t previous_;
};

}  // namespace

std::string defaultControlSocketPath() {
   const char* runtimeDir = std::getenv("XDG_RUNTIME_DIR");
   if (runtimeDir && *runtimeDir) {
      return std::string(runtimeDir) + "/bridgesnmp.sock";
   }
   if (::geteuid() == 0) {
      return "/run/bridgesnmp/control.sock";
   }
   return "/tmp/bridgesnmp-" + std::to_string(::geteuid()) + "/control.sock";
}

class ControlServer::Impl : public Kel::ActivityManager::FdReactor {
 public:
   Impl(Switch& sw, Kel::ActivityManager& manager, std::string path, ControlServerLimits limits,
        std::optional<SocketOwner> owner)
       : owner_(owner),
         interpreter_(sw),
         manager_(manager),
         path_(std::move(path)),
         limits_(limits),
         timer_(this) {
      open();
      if (!manager_.fdReactorIs(listenFd_, this)) {
         ::close(listenFd_);
         ::unlink(path_.c_str());
         fail(path_, "the loop has no room to watch another descriptor");
      }
      timer_.notifierIs(manager_.clock());
      KEL_TRACE(controlTrace(), 1, "listening on " << path_);
   }

   ~Impl() override {
      timer_.notifierIs(nullptr);
      while (!connections_.empty()) {
         closeConnection(connections_.begin()->first);
      }
      manager_.fdReactorDel(listenFd_);
      ::close(listenFd_);
      // Remove the socket file only if it is still the one bound here.
      struct stat st {};
      if (::lstat(path_.c_str(), &st) == 0 && st.st_dev == socketDev_ && st.st_ino == socketIno_) {
         ::unlink(path_.c_str());
      }
   }

   const std::string& path() const { return path_; }
   std::size_t connections() const { return connections_.size(); }

   void onReadable(int fd) override {
      if (fd == listenFd_) {
         acceptConnections();
      } else {
         readFrom(fd);
      }
   }

 private:
   struct Connection {
      bool authorised = false;
      uid_t uid = 0;
      std::string input;
      std::string reply;
      std::size_t sent = 0;
      bool replying = false;
      double deadline = 0.0;  // when the client has taken too long
   };

   class Timer : public Kel::Clock::NotifieeConst {
    public:
      explicit Timer(Impl* impl) : impl_(impl) {}
      void onTime() override { impl_->onTime(); }

    private:
      Impl* impl_;
   };

   // The socket's directory must be one where no other user can put a socket of their own
   // in its place: ours or root's, and writable by others only if sticky (as /tmp is). A
   // missing directory is made, for this user alone.
   void secureDirectory() const {
      const std::string dir = path_.find('/') == std::string::npos
                                  ? std::string(".")
                                  : path_.substr(0, std::max<std::size_t>(path_.rfind('/'), 1));
      if (::mkdir(dir.c_str(), 0700) == 0) {
         giveToOwner(dir);
      } else if (errno != EEXIST) {
         fail(path_, "cannot make its directory: " + std::string(std::strerror(errno)));
      }
      struct stat st {};
      if (::lstat(dir.c_str(), &st) != 0) {
         failErrno(path_, errno);
      }
      if (!S_ISDIR(st.st_mode)) {
         fail(path_, dir + " is not a directory");
      }
      if (st.st_uid != ::geteuid() && st.st_uid != 0 && !(owner_ && st.st_uid == owner_->uid)) {
         fail(path_, dir + " belongs to uid " + std::to_string(st.st_uid) +
                         ", who could put another socket in its place");
      }
      if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (st.st_mode & S_ISVTX) == 0) {
         fail(path_, dir + " is writable by other users");
      }
   }

   void open() {
      if (path_.empty()) {
         fail(path_, "empty path");
      }
      if (path_.size() >= sizeof(sockaddr_un{}.sun_path)) {
         fail(path_,
              "path longer than " + std::to_string(sizeof(sockaddr_un{}.sun_path) - 1) + " bytes");
      }
      secureDirectory();
      struct stat st {};
      if (::lstat(path_.c_str(), &st) == 0) {
         if (!S_ISSOCK(st.st_mode)) {
            fail(path_, "exists and is not a socket");
         }
         if (someoneListens(path_)) {
            fail(path_, "another process is listening on it");
         }
         if (::unlink(path_.c_str()) != 0) {
            failErrno(path_, errno);
         }
         KEL_TRACE(controlTrace(), 1, "replaced the stale socket " << path_);
      } else if (errno != ENOENT) {
         failErrno(path_, errno);
      }

      listenFd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
      if (listenFd_ < 0) {
         failErrno(path_, errno);
      }
      const sockaddr_un address = socketAddress(path_);
      int rc;
      {
         ScopedUmask umask(0177);
         rc = ::bind(listenFd_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
      }
      if (rc != 0) {
         const int error = errno;
         ::close(listenFd_);
         failErrno(path_, error);
      }
      if (::lstat(path_.c_str(), &st) != 0 || ::listen(listenFd_, 16) != 0) {
         const int error = errno;
         ::close(listenFd_);
         ::unlink(path_.c_str());
         failErrno(path_, error);
      }
      socketDev_ = st.st_dev;
      socketIno_ = st.st_ino;
      giveToOwner(path_);
   }

   void giveToOwner(const std::string& file) const {
      if (owner_ && ::lchown(file.c_str(), owner_->uid, owner_->gid) != 0) {
         fail(path_, "cannot give " + file + " to uid " + std::to_string(owner_->uid) + ": " +
                         std::strerror(errno));
      }
   }

   void acceptConnections() {
      for (int i = 0; i < acceptsPerEvent; ++i) {
         const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
         if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED) {
               continue;
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK) {
               KEL_TRACE(controlTrace(), 0, "accept on " << path_ << ": " << std::strerror(errno));
            }
            break;
         }
         if (reading() >= limits_.maxConnections || manager_.fdRoom() <= limits_.spareFds ||
             !manager_.fdReactorIs(fd, this)) {
            static const char busy[] = "error: too many control connections\n";
            [[maybe_unused]] const ssize_t n =
                ::send(fd, busy, sizeof busy - 1, MSG_NOSIGNAL | MSG_DONTWAIT);
            ::close(fd);
            KEL_TRACE(controlTrace(), 1, "turned a client away: too many control connections");
            continue;
         }
         Connection& c = connections_[fd];
         ucred credentials{};
         socklen_t length = sizeof credentials;
         if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) == 0 &&
             length == sizeof credentials) {
            c.uid = credentials.uid;
            c.authorised = ControlServer::authorised(credentials.uid, ::geteuid());
         }
         c.deadline = Kel::now() + limits_.idleTimeout;
         KEL_TRACE(controlTrace(), 5, "client fd " << fd << " uid " << c.uid);
      }
      reschedule();
   }

   void readFrom(int fd) {
      const auto found = connections_.find(fd);
      if (found == connections_.end() || found->second.replying) {
         return;
      }
      Connection& c = found->second;
      // Never more than the longest line and its newline is buffered.
      char buffer[4096];
      for (;;) {
         const std::size_t room = limits_.maxLineLength + 1 - c.input.size();
         const ssize_t n = ::read(fd, buffer, std::min(room, sizeof buffer));
         if (n < 0) {
            if (errno == EINTR) {
               continue;
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK) {
               closeConnection(fd);
            }
            return;
         }
         if (n == 0) {
            if (c.input.empty()) {
               closeConnection(fd);
            } else {
               respond(fd, "error: connection closed before the end of the command line\n");
            }
            return;
         }
         const std::size_t searchFrom = c.input.size();
         c.input.append(buffer, static_cast<std::size_t>(n));
         const std::size_t newline = c.input.find('\n', searchFrom);
         if (newline != std::string::npos) {
            std::string line = c.input.substr(0, newline);
            if (!line.empty() && line.back() == '\r') {
               line.pop_back();
            }
            run(fd, c, line);
            return;
         }
         if (c.input.size() > limits_.maxLineLength) {
            respond(fd, "error: command line longer than " + std::to_string(limits_.maxLineLength) +
                            " bytes\n");
            return;
         }
      }
   }

   void run(int fd, Connection& c, const std::string& line) {
      if (!c.authorised) {
         KEL_TRACE(controlTrace(), 1, "refused a command from uid " << c.uid);
         respond(fd, "error: not authorised\n");
         return;
      }
      KEL_TRACE(controlTrace(), 3, "command: " << line);
      if (unsent_ > 0 && unsent_ >= limits_.maxUnsentBytes) {
         respond(fd, "error: earlier replies are still waiting to be read; try again\n");
         return;
      }
      std::string reply = interpreter_.execute(line);
      KEL_TRACE(controlTrace(), 4, "reply: " << reply.substr(0, reply.find('\n')));
      respond(fd, std::move(reply));
   }

   // Stops reading and sends the reply; what the socket does not take now is sent by the
   // timer as it drains.
   void respond(int fd, std::string reply) {
      Connection& c = connections_.at(fd);
      manager_.fdReactorDel(fd);
      c.replying = true;
      c.reply = std::move(reply);
      c.sent = 0;
      unsent_ += c.reply.size();
      c.deadline = Kel::now() + limits_.idleTimeout;
      if (sendSome(fd, c)) {
         closeConnection(fd);
      }
      reschedule();
   }

   // Sends what it can of the reply; true when the connection is done with (all sent, or
   // the client went away).
   bool sendSome(int fd, Connection& c) {
      while (c.sent < c.reply.size()) {
         const ssize_t n = ::send(fd, c.reply.data() + c.sent, c.reply.size() - c.sent,
                                  MSG_NOSIGNAL | MSG_DONTWAIT);
         if (n < 0) {
            if (errno == EINTR) {
               continue;
            }
            return errno != EAGAIN && errno != EWOULDBLOCK;
         }
         c.sent += static_cast<std::size_t>(n);
         unsent_ -= static_cast<std::size_t>(n);
      }
      return true;
   }

   // Connections still sending their command line: the ones the loop watches.
   std::size_t reading() const {
      return static_cast<std::size_t>(
          std::count_if(connections_.begin(), connections_.end(),
                        [](const auto& c) { return !c.second.replying; }));
   }

   void closeConnection(int fd) {
      const auto found = connections_.find(fd);
      if (found == connections_.end()) {
         return;
      }
      if (!found->second.replying) {
         manager_.fdReactorDel(fd);
      }
      // Unread input would make the close reset the connection; take it off first.
      char buffer[4096];
      std::size_t drained = 0;
      while (drained < drainBytes) {
         const ssize_t n = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
         if (n <= 0) {
            break;
         }
         drained += static_cast<std::size_t>(n);
      }
      ::close(fd);
      if (found->second.replying) {
         unsent_ -= found->second.reply.size() - found->second.sent;
      }
      connections_.erase(found);
   }

   void onTime() {
      const double now = Kel::now();
      for (auto it = connections_.begin(); it != connections_.end();) {
         const int fd = it->first;
         Connection& c = it->second;
         ++it;
         if (c.replying) {
            if (sendSome(fd, c) || now >= c.deadline) {
               closeConnection(fd);
            }
         } else if (now >= c.deadline) {
            KEL_TRACE(controlTrace(), 3, "client fd " << fd << " timed out");
            respond(fd, "error: timed out waiting for the command line\n");
            // The client is not reading either, most likely: do not wait on it again.
            closeConnection(fd);
         }
      }
      reschedule();
   }

   void reschedule() {
      double next = Kel::timeNever;
      const double now = Kel::now();
      for (const auto& [fd, c] : connections_) {
         next =
             std::min(next, c.replying ? std::min(c.deadline, now + resendInterval) : c.deadline);
      }
      timer_.timeMinIs(next);
   }

   std::optional<SocketOwner> owner_;
   CommandInterpreter interpreter_;
   Kel::ActivityManager& manager_;
   std::string path_;
   ControlServerLimits limits_;
   int listenFd_ = -1;
   dev_t socketDev_ = 0;
   ino_t socketIno_ = 0;
   std::map<int, Connection> connections_;
   std::size_t unsent_ = 0;  // reply bytes not yet taken, over every connection
   Timer timer_;
};

ControlServer::ControlServer(Switch& sw, Kel::ActivityManager& manager, std::string path,
                             ControlServerLimits limits, std::optional<SocketOwner> owner)
    : impl_(std::make_unique<Impl>(sw, manager, std::move(path), limits, owner)) {}

ControlServer::~ControlServer() = default;

const std::string& ControlServer::path() const {
   return impl_->path();
}

std::size_t ControlServer::connections() const {
   return impl_->connections();
}

}  // namespace Sim
