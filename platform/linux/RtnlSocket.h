#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/DumpRelay.h"
#include "platform/linux/RtnlRequests.h"

struct mnl_socket;

namespace Linux {

// A routing netlink socket. An event socket joins the link and neighbour groups and never
// blocks; a dump socket joins none and never blocks; a command socket joins none and waits
// (a bounded time) for the kernel's answers to its requests.
//
// A dump socket reaches the kernel through a DumpRelay where it can start one, so that the
// kernel makes the dumps' parts outside this process; otherwise it talks to the kernel
// itself.
class RtnlSocket {
 public:
   enum class Role { events, dumps, commands };

   // Raises std::runtime_error naming the failed call.
   explicit RtnlSocket(Role role);
   ~RtnlSocket();
   RtnlSocket(const RtnlSocket&) = delete;
   RtnlSocket& operator=(const RtnlSocket&) = delete;

   int fd() const;
   // Whether a dump socket goes through a relay.
   bool relayed() const { return relay_ != nullptr; }
   // Talks to the kernel itself from now on (fd() changes).
   void dropRelay();
   std::uint32_t nextSeq() { return ++seq_; }

   // One datagram into `buffer` (resized to what arrived): its length, or -errno (-EAGAIN
   // when nothing is queued, -ENOBUFS when the kernel dropped notifications, -EPIPE when
   // the relay has ended).
   long receive(std::vector<std::uint8_t>& buffer);
   // Reads and drops what is queued, up to twice the receive buffer (notifications keep
   // coming); returns the bytes dropped.
   std::size_t drain();
   // Reads and drops queued datagrams, many to a call, while `more()` says so (asked before
   // each call) and until `most` bytes went; returns the bytes dropped. `empty` tells
   // whether the queue was found empty (or a read failed with another error than ENOBUFS,
   // which the next read reports again).
   std::size_t drain(std::size_t most, const std::function<bool()>& more, bool& empty);
   // The receive buffer the kernel gave the socket, in bytes.
   int receiveBufferBytes() const;
   // Sends a message: 0, or -errno.
   int send(const RtnlMessage& message);
   // Sends an acknowledged request: 0, or the kernel's negative errno.
   int request(const RtnlMessage& request);
   // Sends an acknowledged RTM_GETLINK and takes the link it answers with: 0, or the kernel's
   // negative errno (-ENODATA when it acknowledged without one).
   int query(const RtnlMessage& request, LinkEvent& answer);

   // Receive buffer of the event socket: room for a burst of notifications.
   static constexpr int eventBufferBytes = 32 * 1024 * 1024;

 private:
   mnl_socket* socket_ = nullptr;
   std::unique_ptr<DumpRelay> relay_;
   std::uint32_t portId_ = 0;
   std::uint32_t seq_ = 0;
};

}  // namespace Linux
