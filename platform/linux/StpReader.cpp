#include "platform/linux/StpReader.h"

#include <cstring>

#include "platform/kel/Time.h"
#include "platform/kel/Trace.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

}  // namespace

class StpReader::InputReactor : public Bridging::Input::StpConfig::NotifieeConst {
 public:
   explicit InputReactor(StpReader& reader) : reader_(reader) { notifierIs(reader.e_.stpInput); }
   // Naming the port and raising the number notify alike: one ask is served once.
   void onCountersRequest() override {
      const auto request = notifier()->countersRequest();
      if (request != served_) {
         served_ = request;
         reader_.refreshCounters(notifier()->countersPort());
      }
   }

 private:
   StpReader& reader_;
   std::uint32_t served_ = 0;
};

// A port that changed state may have started a topology change: the bridge is read on the
// next pass.
class StpReader::PortReactor : public Bridging::StpStatus::NotifieeConst {
 public:
   explicit PortReactor(StpReader& reader) : reader_(reader) { notifierIs(reader.e_.stpStatus); }
   void onStpPort(const Velnet::IntfId&) override { reader_.timeMinIs(Kel::timeAsap); }

 private:
   StpReader& reader_;
};

StpReader::StpReader(Bridging::PlatformEntities& entities, BridgeMirror& mirror, KernelQuery query,
                     Kel::ActivityManager& manager)
    : e_(entities), mirror_(mirror), query_(std::move(query)) {
   notifierIs(manager.clock());
   input_ = std::make_unique<InputReactor>(*this);
   ports_ = std::make_unique<PortReactor>(*this);
   timeMinIs(Kel::now() + period);
}

StpReader::~StpReader() {
   ports_.reset();
   input_.reset();
   notifierIs(nullptr);
}

void StpReader::onTime() {
   timeMinIs(Kel::now() + period);
   const KernelBridge& bridge = mirror_.bridge();
   if (!bridge.exists() || !bridge.stp() || bridge.stp()->stpState == 0) {
      return;  // nothing changes unannounced
   }
   LinkEvent link;
   ++queries_;
   if (const int error = query_(linkGetRequest(bridge.ifindex(), 0), link)) {
      KEL_TRACE(
          linuxTrace, 0,
          "reading bridge " << bridge.name() << "'s spanning tree: " << std::strerror(-error));
      return;
   }
   mirror_.refreshStp(link);
}

void StpReader::refreshCounters(const Velnet::IntfId& port) {
   auto& status = *e_.stpStatus;
   const Bridging::PortFrameCounters* known = status.portCountersCollection().find(port);
   if (known && Kel::now() - known->readAt < period) {
      return;
   }
   for (const auto& [ifindex, kernelPort] : mirror_.bridge().ports()) {
      if (kernelPort.name != port.stringValue().view()) {
         continue;
      }
      LinkEvent link;
      ++queries_;
      const int error = query_(linkGetRequest(ifindex, 0), link);
      if (error || !link.counters) {
         KEL_TRACE(linuxTrace, 0,
                   "reading port " << port << "'s counters: "
                                   << (error ? std::strerror(-error) : "the kernel sent none"));
         return;
      }
      status.portCountersIs(
          port, Bridging::PortFrameCounters{link.counters->rxPackets, link.counters->txPackets,
                                            link.counters->rxDropped, Kel::now()});
      return;
   }
}

}  // namespace Linux
