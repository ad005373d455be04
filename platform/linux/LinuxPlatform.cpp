#include "platform/linux/LinuxPlatform.h"

#include <linux/netlink.h>

#include <array>
#include <exception>
#include <sstream>
#include <utility>

#include "platform/kel/Trace.h"
#include "platform/linux/BridgeMirror.h"
#include "platform/linux/BridgeMonitor.h"
#include "platform/linux/StpReader.h"
#include "platform/linux/StpWriter.h"
#include "platform/linux/VlanWriter.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

// A message given the socket's next sequence number, so that requests from several writers
// never share one.
RtnlMessage sequenced(RtnlSocket& socket, RtnlMessage message) {
   reinterpret_cast<nlmsghdr*>(message.data())->nlmsg_seq = socket.nextSeq();
   return message;
}

}  // namespace

LinuxPlatform::LinuxPlatform(Kel::ActivityManager& manager, Kel::Dir& root, std::string bridge)
    : root_(root), bridgeName_(std::move(bridge)) {
   entities_.mountIn(root_);
   mirror_ = std::make_unique<BridgeMirror>(entities_, bridgeName_);
   try {
      monitor_ = std::make_unique<BridgeMonitor>(*mirror_, manager);
      writer_ = std::make_unique<VlanWriter>(
          entities_, *mirror_,
          [this](const RtnlMessage& request) { return monitor_->commands().request(request); },
          manager);
      auto query = [this](const RtnlMessage& request, LinkEvent& answer) {
         return monitor_->commands().query(sequenced(monitor_->commands(), request), answer);
      };
      stpWriter_ = std::make_unique<StpWriter>(
          entities_, *mirror_,
          [this](const RtnlMessage& request) {
             return monitor_->commands().request(sequenced(monitor_->commands(), request));
          },
          query);
      stpReader_ = std::make_unique<StpReader>(entities_, *mirror_, query, manager);
      KEL_TRACE(linuxTrace, 1, "serving Linux bridge " << bridgeName_);
   } catch (const std::exception& e) {
      problems_ += std::string(e.what()) + "\n";
      KEL_TRACE(linuxTrace, 0, e.what() << "; bridge " << bridgeName_ << " is not served");
   }
}

LinuxPlatform::~LinuxPlatform() {
   stpReader_.reset();
   stpWriter_.reset();
   writer_.reset();
   monitor_.reset();
   mirror_.reset();
   entities_.unmountFrom(root_);
}

std::string LinuxPlatform::summary() const {
   std::ostringstream out;
   const KernelBridge& bridge = mirror_->bridge();
   out << "linux bridge " << bridgeName_ << ": " << (bridge.exists() ? "present" : "absent") << ", "
       << bridge.ports().size() << " ports, " << bridge.hosts().size() << " entries";
   if (monitor_) {
      out << ", " << monitor_->notifications() << " notifications, " << monitor_->resyncs()
          << " resyncs, longest wake " << monitor_->longestWake() * 1000.0 << " ms";
   }
   return out.str();
}

}  // namespace Linux
