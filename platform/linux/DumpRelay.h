#pragma once

#include <sys/types.h>

namespace Linux {

// The kernel makes each part of a dump in the reader's own recvmsg, and resumes a
// forwarding-database dump by walking the bridge's entries from the first: at a million
// entries one part costs it up to a hundred milliseconds, which on snmpd's one thread every
// request would wait behind.
//
// A relay is a child process with a netlink socket of its own. It sends the kernel each
// request written to it and writes back every datagram of the answers, one for one, so the
// kernel makes the parts in the child's calls while snmpd reads finished ones from a local
// socket. The child shares nothing with snmpd but that socket; it keeps no descriptor of
// snmpd's, takes the default action for every signal, gives up root when it has it (a dump
// needs no privilege), and ends when snmpd closes its end or ends. It runs at snmpd's own
// priority: a lower one starves the dumps on a busy machine.
class DumpRelay {
 public:
   // Starts the child; raises std::runtime_error naming the failed call.
   DumpRelay();
   ~DumpRelay();
   DumpRelay(const DumpRelay&) = delete;
   DumpRelay& operator=(const DumpRelay&) = delete;

   // snmpd's end: a non-blocking SOCK_SEQPACKET socket, one datagram per netlink datagram.
   int fd() const { return fd_; }

 private:
   int fd_ = -1;
   pid_t child_ = -1;
};

}  // namespace Linux
