#include "platform/linux/RtnlSocket.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

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
}

RtnlSocket::~RtnlSocket() {
   mnl_socket_close(socket_);
}

int RtnlSocket::fd() const {
   return mnl_socket_get_fd(socket_);
}

long RtnlSocket::receive(std::vector<std::uint8_t>& buffer) {
   buffer.resize(datagramBytes);
   const ssize_t n = mnl_socket_recvfrom(socket_, buffer.data(), buffer.size());
   if (n < 0) {
      buffer.clear();
      return -errno;
   }
   buffer.resize(static_cast<std::size_t>(n));
   return n;
}

void RtnlSocket::drain() {
   std::vector<std::uint8_t> buffer;
   while (true) {
      const long n = receive(buffer);
      if (n == -EAGAIN || n == -EWOULDBLOCK || n == 0) {
         return;
      }
      // -ENOBUFS reports the overflow once; the queue behind it is read on.
   }
}

std::optional<std::vector<RtnlEvent>> RtnlSocket::dump(const RtnlMessage& request,
                                                       std::string& error) {
   if (mnl_socket_sendto(socket_, request.data(), request.size()) < 0) {
      error = std::string("sending a dump request: ") + std::strerror(errno);
      return std::nullopt;
   }
   const std::uint32_t seq = reinterpret_cast<const nlmsghdr*>(request.data())->nlmsg_seq;
   std::vector<RtnlEvent> events;
   std::vector<std::uint8_t> buffer;
   while (true) {
      const long n = receive(buffer);
      if (n < 0) {
         error = std::string("reading a dump: ") + std::strerror(static_cast<int>(-n));
         return std::nullopt;
      }
      for (auto& event : parseRtnlMessages(buffer.data(), buffer.size())) {
         if (const auto* done = std::get_if<DumpDone>(&event); done && done->seq == seq) {
            return events;
         }
         if (const auto* ack = std::get_if<Ack>(&event); ack && ack->seq == seq && ack->error) {
            error = std::string("dump refused: ") + std::strerror(-ack->error);
            return std::nullopt;
         }
         events.push_back(std::move(event));
      }
   }
}

int RtnlSocket::request(const RtnlMessage& request) {
   if (mnl_socket_sendto(socket_, request.data(), request.size()) < 0) {
      return -errno;
   }
   const std::uint32_t seq = reinterpret_cast<const nlmsghdr*>(request.data())->nlmsg_seq;
   std::vector<std::uint8_t> buffer;
   while (true) {
      const long n = receive(buffer);
      if (n < 0) {
         return static_cast<int>(n);
      }
      for (const auto& event : parseRtnlMessages(buffer.data(), buffer.size())) {
         if (const auto* ack = std::get_if<Ack>(&event); ack && ack->seq == seq) {
            return ack->error;
         }
      }
   }
}

}  // namespace Linux
