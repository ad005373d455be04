#include "platform/linux/VlanWriter.h"

#include <cstring>

#include "platform/bridging/SwitchportWatch.h"
#include "platform/kel/Exception.h"
#include "platform/kel/Trace.h"
#include "platform/linux/PortVlans.h"
#include "platform/swix/VlanIdSet.h"

namespace Linux {
namespace {

Kel::TraceHandle linuxTrace("LinuxBridge");

}  // namespace

// Keeps one reactor per port's input; a VLAN created or deleted changes the trunks that allow
// it.
class VlanWriter::InputReactor : public Bridging::Input::Config::NotifieeConst {
 public:
   explicit InputReactor(VlanWriter& writer) : writer_(writer) { notifierIs(writer.e_.input); }

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

void VlanWriter::settle() {
   timeMinIs(Kel::timeNever);
   const auto ports = std::exchange(pending_, {});
   mirror_.inputHeldIs({});
   for (const auto& name : ports) {
      apply(name);
   }
}

void VlanWriter::refuse(const std::string& name, const std::string& reason) {
   ++refusals_;
   KEL_TRACE(linuxTrace, 0, name << ": VLAN configuration not applied: " << reason);
   mirror_.mirrorInput(name);
   mirror_.republishSwitchport(name);
}

void VlanWriter::apply(const std::string& name) {
   const KernelBridge& bridge = mirror_.bridge();
   const auto sic = e_.input->switchIntfConfig(Velnet::IntfId(name));
   const KernelPort* port = nullptr;
   int ifindex = 0;
   for (const auto& [index, p] : bridge.ports()) {
      if (p.name == name) {
         port = &p;
         ifindex = index;
      }
   }
   if (!sic || !port) {
      return;
   }
   SwixUtils::VlanIdSet known;
   for (auto it = e_.input->vlanConfigIteratorConst(); it; ++it) {
      known.doAdd(it.key());
   }
   const WantedVlans wanted = wantedVlans(*sic, known);
   if (wanted.refusal) {
      refuse(name, *wanted.refusal);
      return;
   }
   const VlanEdit edit =
       vlanEdit(switchportOf(port->vlans, bridge.vlanFiltering()).vlans, wanted.vlans);
   if (edit.empty()) {
      return;
   }
   if (!bridge.vlanFiltering()) {
      refuse(name, "bridge " + bridge.name() + " has no VLAN filtering (vlan_filtering 0)");
      return;
   }
   // Additions first, so that a port moving its PVID is never left without one.
   for (const bool remove : {false, true}) {
      const auto& vlans = remove ? edit.remove : edit.add;
      if (vlans.empty()) {
         continue;
      }
      const int error = request_(portVlanRequest(remove, ifindex, vlans, ++seq_));
      if (error != 0) {
         refuse(name, std::string("the kernel refused ") + (remove ? "deleting" : "adding") +
                          " VLANs: " + std::strerror(-error));
         return;
      }
      KEL_TRACE(linuxTrace, 1,
                name << ": " << (remove ? "removed " : "added ") << vlans.size() << " VLANs");
   }
}

}  // namespace Linux
