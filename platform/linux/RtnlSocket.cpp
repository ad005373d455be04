#include "platform/linux/RtnlSocket.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace Linux {
namespace {

constexpr std::size_t datagramBytes = 64 * 1024;
constexpr int commandTimeoutSeconds = 2;

std::runtime_error failure(const char* what) {
   return std::runtime_error(std::string("netlink: ") + what + ": " + std::strerror(errno));
}

}  // namespace

RtnlSocket::RtnlSocket(Role role) {
   socket_ = mnl_socket_open(NETLINK_ROUTE);
   if (!socket_) {
      throw failure("socket");
   }
   const int fd = mnl_socket_get_fd(socket_);
   const unsigned groups = role == Role::events ? (RTMGRP_LINK | RTMGRP_NEIGH) : 0;
   if (role == Role::events) {
      // FORCE goes past rmem_max when we may; otherwise the plain request, capped.
      int bytes = eventBufferBytes;
      if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof(bytes)) != 0) {
         ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof(bytes));
      }
   }
   if (role != Role::commands) {
      ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
   } else {
      timeval timeout{commandTimeoutSeconds, 0};
      ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
   }
   ::fcntl(fd, F_SETFD, FD_CLOEXEC);
   if (mnl_socket_bind(socket_, groups, MNL_SOCKET_AUTOPID) < 0) {
      const auto error = failure("bind");
      mnl_socket_close(socket_);
      throw error;
   }
   portId_ = mnl_socket_get_portid(socket_);
   if (role == Role::dumps) {
      try {
         relay_ = std::make_unique<DumpRelay>();
      } catch (const std::runtime_error&) {
         // Served all the same: the kernel makes the parts in this process's reads.
      }
   }
}

RtnlSocket::~RtnlSocket() {
   mnl_socket_close(socket_);
}

int RtnlSocket::fd() const {
   return relay_ ? relay_->fd() : mnl_socket_get_fd(socket_);
}

long RtnlSocket::receive(std::vector<std::uint8_t>& buffer) {
   buffer.resize(datagramBytes);
   const ssize_t n = relay_ ? ::recv(relay_->fd(), buffer.data(), buffer.size(), MSG_DONTWAIT)
                            : mnl_socket_recvfrom(socket_, buffer.data(), buffer.size());
   if (n == 0 && relay_) {
      buffer.clear();
      return -EPIPE;  // the relay has ended
   }
   if (n < 0) {
      buffer.clear();
      return -errno;
   }
   buffer.resize(static_cast<std::size_t>(n));
   return n;
}

std::size_t RtnlSocket::drain() {
   bool empty = false;
   return drain(
       2 * static_cast<std::size_t>(receiveBufferBytes()), [] { return true; }, empty);
}

std::size_t RtnlSocket::drain(std::size_t most, const std::function<bool()>& more, bool& empty) {
   // Only the lengths matter: each datagram is truncated into a few bytes of scratch.
   constexpr unsigned batch = 256;
   std::array<char, 16> scratch;
   std::array<iovec, batch> iov;
   std::array<mmsghdr, batch> messages{};
   for (unsigned i = 0; i < batch; ++i) {
      iov[i] = {scratch.data(), scratch.size()};
      messages[i].msg_hdr.msg_iov = &iov[i];
      messages[i].msg_hdr.msg_iovlen = 1;
   }
   std::size_t dropped = 0;
   empty = false;
   while (dropped < most && more()) {
      const int n = ::recvmmsg(fd(), messages.data(), batch, MSG_DONTWAIT | MSG_TRUNC, nullptr);
      if (n == 0) {
         empty = true;  // a relay that has ended: the next receive() says so
         break;
      }
      if (n < 0) {
         if (errno == ENOBUFS || errno == EINTR) {
            continue;
         }
         empty = true;  // EAGAIN, or an error the next read reports again
         break;
      }
      // Fewer than asked may also mean an overrun, which the next call reports.
      for (int i = 0; i < n; ++i) {
         dropped += messages[i].msg_len;
      }
   }
   return dropped;
}

void RtnlSocket::dropRelay() {
   relay_.reset();
}

int RtnlSocket::receiveBufferBytes() const {
   int bytes = 0;
   socklen_t length = sizeof bytes;
   ::getsockopt(fd(), SOL_SOCKET, SO_RCVBUF, &bytes, &length);
   return bytes;
}

int RtnlSocket::send(const RtnlMessage& message) {
   const ssize_t sent = relay_ ? ::send(relay_->fd(), message.data(), message.size(), MSG_NOSIGNAL)
                               : mnl_socket_sendto(socket_, message.data(), message.size());
   return sent < 0 ? -errno : 0;
}

int RtnlSocket::request(const RtnlMessage& request) {
   LinkEvent ignored;
   const int error = query(request, ignored);
   return error == -ENODATA ? 0 : error;
}

int RtnlSocket::query(const RtnlMessage& request, LinkEvent& answer) {
   if (const int error = send(request)) {
      return error;
   }
   const std::uint32_t seq = reinterpret_cast<const nlmsghdr*>(request.data())->nlmsg_seq;
   std::vector<std::uint8_t> buffer;
   bool answered = false;
   while (true) {
      const long n = receive(buffer);
      if (n < 0) {
         return static_cast<int>(n);
      }
      // The answer comes right before its acknowledgement; a link read earlier belongs to a
      // request that timed out, and is replaced.
      for (auto& event : parseRtnlMessages(buffer.data(), buffer.size())) {
         if (auto* link = std::get_if<LinkEvent>(&event)) {
            answer = std::move(*link);
            answered = true;
         } else if (const auto* ack = std::get_if<Ack>(&event); ack && ack->seq == seq) {
            return ack->error ? ack->error : answered ? 0 : -ENODATA;
         }
      }
   }
}

}  // namespace Linux
