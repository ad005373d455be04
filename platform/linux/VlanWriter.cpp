#include "platform/linux/VlanWriter.h"

#include <algorithm>
#include <cstring>

#include "platform/bridging/SwitchportWatch.h"
#include "platform/kel/Exception.h"
#include "platform/kel/Trace.h"
#include "platform/linux/PortVlans.h"
#include "platform/swix/VlanIdSet.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

// A port's VLANs after the kernel has applied one part of an edit: deleted VLANs go; an
// added one joins or replaces its VLAN, and takes the PVID from any other.
void applied(std::vector<PortVlan>& vlans, const std::vector<PortVlan>& part, bool remove) {
   for (const PortVlan& v : part) {
      std::erase_if(vlans, [&](const PortVlan& old) { return old.vid == v.vid; });
      if (remove) {
         continue;
      }
      if (v.pvid) {
         for (PortVlan& other : vlans) {
            other.pvid = false;
         }
      }
      vlans.push_back(v);
   }
   std::sort(vlans.begin(), vlans.end(),
             [](const PortVlan& a, const PortVlan& b) { return a.vid < b.vid; });
}

}  // namespace

// Keeps one reactor per port's input; a VLAN created or deleted changes the trunks that allow
// it.
class VlanWriter::InputReactor : public Bridging::Input::Config::NotifieeConst {
 public:
   explicit InputReactor(VlanWriter& writer) : writer_(writer) { notifierIs(writer.e_.input); }

   void onCommitRequest() override { writer_.commit(notifier()->commitRequest()); }
   void onVlanConfig(const Bridging::VlanId& vlan) override { writer_.vlanChanged(vlan); }
   void onSwitchIntfConfigkelImmediate() override {
      for (auto it = notifier()->switchIntfConfigIteratorConst(); it; ++it) {
         onSwitchIntfConfig(it.key());
      }
   }
   void onSwitchIntfConfig(const Velnet::IntfId& intf) override {
      if (const auto sic = notifier()->switchIntfConfig(intf)) {
         auto& reactor = ports_[intf];
         if (!reactor || reactor->notifier() != sic) {
            reactor = std::make_unique<Bridging::Input::SwitchportWatch>(
                sic, [writer = &writer_](const Velnet::IntfId& port) {
                   writer->portChanged(port.stringValue().stdString());
                });
         }
      } else {
         ports_.erase(intf);
      }
   }

 private:
   VlanWriter& writer_;
   std::map<Velnet::IntfId, std::unique_ptr<Bridging::Input::SwitchportWatch>> ports_;
};

VlanWriter::VlanWriter(Bridging::PlatformEntities& entities, BridgeMirror& mirror,
                       KernelRequest request, Kel::ActivityManager& manager)
    : e_(entities), mirror_(mirror), request_(std::move(request)) {
   notifierIs(manager.clock());
   input_ = std::make_unique<InputReactor>(*this);
}

VlanWriter::~VlanWriter() {
   input_.reset();
   notifierIs(nullptr);
}

void VlanWriter::portChanged(const std::string& name) {
   if (mirror_.writingInput()) {
      return;
   }
   pending_.insert(name);
   mirror_.inputHeldIs(pending_);
   timeMinIs(Kel::timeAsap);
}

void VlanWriter::vlanChanged(Bridging::VlanId vlan) {
   if (mirror_.writingInput()) {
      return;
   }
   // Only a trunk that allows the VLAN carries it or stops carrying it; every other port's
   // VLANs in the kernel stay as they are.
   for (auto it = e_.input->switchIntfConfigIteratorConst(); it; ++it) {
      if ((*it)->switchportMode() != Bridging::SwitchportMode::trunk) {
         continue;
      }
      SwixUtils::VlanIdSet allowed;
      try {
         Kel::Expect expect(Kel::ExceptionId::parse);
         SwixUtils::computeVlanSet(allowed, (*it)->trunkAllowedVlans().view());
      } catch (const Kel::Exception&) {
         continue;  // not a VLAN list: the port is refused where it is written
      }
      if (allowed.contains(vlan)) {
         portChanged(it.key().stringValue().stdString());
      }
   }
}

void VlanWriter::commit(std::uint32_t request) {
   const Outcome outcome = settle();
   e_.config->inputCommitFailureIs(outcome.failure);
   e_.config->inputCommitUndoneIs(outcome.undone);
   e_.config->inputCommittedIs(request);
}

VlanWriter::Outcome VlanWriter::settle() {
   timeMinIs(Kel::timeNever);
   const auto ports = std::exchange(pending_, {});
   mirror_.inputHeldIs({});
   Outcome outcome;
   std::vector<Written> written;
   for (const auto& name : ports) {
      if (auto failure = write(name, written)) {
         outcome.failure = name + ": " + *failure;
         break;
      }
   }
   if (outcome.failure.empty()) {
      return outcome;
   }
   ++refusals_;
   outcome.undone = undo(written);
   KEL_TRACE(linuxTrace, 0,
             "VLAN configuration not applied: " << outcome.failure
                                                << (outcome.undone ? "" : "; and not undone"));
   // Every port of the change reads the kernel's truth again, its rows too.
   for (const auto& name : ports) {
      mirror_.mirrorInput(name);
   }
   mirror_.republishSwitchports(ports);
   return outcome;
}

std::optional<std::string> VlanWriter::write(const std::string& name,
                                             std::vector<Written>& written) {
   const KernelBridge& bridge = mirror_.bridge();
   const auto sic = e_.input->switchIntfConfig(Velnet::IntfId(name));
   const auto port = std::find_if(bridge.ports().begin(), bridge.ports().end(),
                                  [&](const auto& p) { return p.second.name == name; });
   if (!sic || port == bridge.ports().end()) {
      return std::nullopt;  // gone meanwhile: nothing of it to write
   }
   SwixUtils::VlanIdSet known;
   for (auto it = e_.input->vlanConfigIteratorConst(); it; ++it) {
      known.doAdd(it.key());
   }
   const WantedVlans wanted = wantedVlans(*sic, known);
   if (wanted.refusal) {
      return wanted.refusal;
   }
   auto current = switchportOf(port->second.vlans, bridge.vlanFiltering()).vlans;
   const VlanEdit edit = vlanEdit(current, wanted.vlans);
   if (edit.empty()) {
      return std::nullopt;
   }
   if (!bridge.vlanFiltering()) {
      return "bridge " + bridge.name() + " has no VLAN filtering (vlan_filtering 0)";
   }
   written.push_back({port->first, current, current});
   return send(port->first, edit, written.back().now);
}

std::optional<std::string> VlanWriter::send(int ifindex, const VlanEdit& edit,
                                            std::vector<PortVlan>& now) {
   // Additions first, so that a port moving its PVID is never left without one.
   for (const bool remove : {false, true}) {
      const auto& vlans = remove ? edit.remove : edit.add;
      if (vlans.empty()) {
         continue;
      }
      if (const int error = request_(portVlanRequest(remove, ifindex, vlans, ++seq_))) {
         return std::string("the kernel refused ") + (remove ? "deleting" : "adding") +
                " VLANs: " + std::strerror(-error);
      }
      applied(now, vlans, remove);
      KEL_TRACE(linuxTrace, 1,
                "port " << ifindex << ": " << (remove ? "removed " : "added ") << vlans.size()
                        << " VLANs");
   }
   return std::nullopt;
}

bool VlanWriter::undo(std::vector<Written>& written) {
   bool undone = true;
   for (auto port = written.rbegin(); port != written.rend(); ++port) {
      if (const auto failure = send(port->ifindex, vlanEdit(port->now, port->before), port->now)) {
         KEL_TRACE(linuxTrace, 0, "port " << port->ifindex << ": cannot undo: " << *failure);
         undone = false;
      }
   }
   return undone;
}

}  // namespace Linux
