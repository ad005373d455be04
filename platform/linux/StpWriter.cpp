#include "platform/linux/StpWriter.h"

#include <cstring>
#include <utility>
#include <vector>

#include "platform/kel/Trace.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

std::string refusal(const std::string& what, int error) {
   return "the kernel refused " + what + ": " + std::strerror(-error);
}

}  // namespace

class StpWriter::InputReactor : public Bridging::Input::StpConfig::NotifieeConst {
 public:
   explicit InputReactor(StpWriter& writer) : writer_(writer) { notifierIs(writer.e_.stpInput); }
   void onCommitRequest() override { writer_.commit(); }

 private:
   StpWriter& writer_;
};

StpWriter::StpWriter(Bridging::PlatformEntities& entities, BridgeMirror& mirror,
                     KernelRequest request, KernelQuery query)
    : e_(entities), mirror_(mirror), request_(std::move(request)), query_(std::move(query)) {
   input_ = std::make_unique<InputReactor>(*this);
}

StpWriter::~StpWriter() = default;

std::string StpWriter::commit() {
   auto& input = *e_.stpInput;
   std::optional<std::string> failure = writeBridge();
   std::vector<std::pair<Velnet::IntfId, Bridging::Input::StpPortConfig>> ports;
   for (auto it = input.stpPortConfigIteratorConst(); it; ++it) {
      ports.emplace_back(it.key(), *it);
   }
   for (const auto& [name, settings] : ports) {
      if (failure) {
         break;
      }
      failure = writePort(name, settings);
   }
   input.bridgePriorityIs(std::nullopt);
   input.bridgeMaxAgeIs(std::nullopt);
   input.bridgeHelloTimeIs(std::nullopt);
   input.bridgeForwardDelayIs(std::nullopt);
   input.stpPortConfigDelAll();
   if (failure) {
      KEL_TRACE(linuxTrace, 0, "spanning-tree settings not applied: " << *failure);
   }
   e_.stpStatus->commitFailureIs(failure.value_or(""));
   e_.stpStatus->committedIs(input.commitRequest());
   return failure.value_or("");
}

std::optional<std::string> StpWriter::writeBridge() {
   const auto& input = *e_.stpInput;
   const BridgeStpSettings settings{input.bridgePriority(), input.bridgeMaxAge(),
                                    input.bridgeHelloTime(), input.bridgeForwardDelay()};
   if (!settings.priority && !settings.maxAge && !settings.helloTime && !settings.forwardDelay) {
      return std::nullopt;
   }
   const KernelBridge& bridge = mirror_.bridge();
   if (!bridge.exists()) {
      return "bridge " + bridge.name() + " does not exist";
   }
   const int ifindex = bridge.ifindex();
   if (const int error = request_(bridgeStpRequest(ifindex, settings, 0))) {
      return "bridge " + bridge.name() + ": " + refusal("its spanning-tree settings", error);
   }
   // The kernel shows the timers a bridge would use as the root only while it is: the
   // written ones are its own from now on.
   auto& status = *e_.stpStatus;
   status.bridgeMaxAgeIs(settings.maxAge.value_or(status.bridgeMaxAge()));
   status.bridgeHelloTimeIs(settings.helloTime.value_or(status.bridgeHelloTime()));
   status.bridgeForwardDelayIs(settings.forwardDelay.value_or(status.bridgeForwardDelay()));
   reread(ifindex);
   KEL_TRACE(linuxTrace, 1, "bridge " << bridge.name() << ": spanning-tree settings written");
   return std::nullopt;
}

std::optional<std::string> StpWriter::writePort(const Velnet::IntfId& name,
                                                const Bridging::Input::StpPortConfig& settings) {
   if (!settings.priority && !settings.pathCost && !settings.enabled) {
      return std::nullopt;
   }
   for (const auto& [ifindex, port] : mirror_.bridge().ports()) {
      if (port.name != name.stringValue().view()) {
         continue;
      }
      if (const int error = request_(portStpRequest(ifindex, settings, 0))) {
         return "port " + port.name + ": " + refusal("its spanning-tree settings", error);
      }
      reread(ifindex);
      KEL_TRACE(linuxTrace, 1, "port " << name << ": spanning-tree settings written");
      return std::nullopt;
   }
   return "port " + name.stringValue().stdString() + " is not a port of bridge " +
          mirror_.bridge().name();
}

void StpWriter::reread(int ifindex) {
   LinkEvent link;
   if (const int error = query_(linkGetRequest(ifindex, 0), link)) {
      KEL_TRACE(linuxTrace, 0,
                "reading link " << ifindex << " back: " << std::strerror(-error)
                                << "; its notification brings it");
      return;
   }
   mirror_.apply(link);
}

}  // namespace Linux
