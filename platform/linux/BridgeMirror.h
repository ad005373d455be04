#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <vector>

#include "platform/bridging/PlatformEntities.h"
#include "platform/linux/KernelBridge.h"

namespace Linux {

// Keeps the bridging and interface entities equal to one kernel bridge: each event is
// applied to the bridge's model and what it changed is published; a resync publishes only
// the differences between the model and a freshly dumped one.
//
// Published: the bridge's address and ageing time (Bridging::Config); each port as an
// Interface::EthIntfStatus named after the interface, with the kernel's ifindex and port
// number and its link (IFF_RUNNING); VLANs, memberships and switchports from the ports'
// VLANs (VLAN 1, untagged everywhere, without VLAN filtering); VLAN status (members whose
// link is up); learned entries in Bridging::Status, a host that reappears on another port
// counting a move; static and permanent entries as configured hosts; the spanning tree in
// Bridging::StpStatus (see publishStp). The input
// configuration mirrors the kernel too, except for ports whose input is being written.
class BridgeMirror {
 public:
   BridgeMirror(Bridging::PlatformEntities& entities, std::string bridgeName);

   // Returns what the event changed (BridgeChange::appeared: the bridge has just come).
   BridgeChange apply(const RtnlEvent& event);
   // Replaces the model by `fresh` and publishes the bridge, its ports and VLANs. The rows
   // that differ from the replaced model are published afterwards, by publishDifferences, in
   // slices: a resync can differ in millions.
   void resyncTo(KernelBridge fresh);
   // Compares replaced models with the model row by row, publishing each row that differs,
   // for as long as `more()` says (asked before every row); returns the rows published. What
   // has been compared of a replaced model is freed as it goes.
   std::size_t publishDifferences(const std::function<bool()>& more);
   bool differencesPending() const { return !replaced_.empty(); }
   // Brings one served row's entities in line with the model.
   void publishHost(const Bridging::HostKey& key);

   const KernelBridge& bridge() const { return bridge_; }
   // Takes the bridge's spanning tree from a fresh reading of its link (the kernel announces
   // port states, but not its root, path cost or topology-change flags) and publishes it.
   void refreshStp(const LinkEvent& bridgeLink);

   // Ports whose input configuration is being applied: the mirror leaves their input alone.
   void inputHeldIs(std::set<std::string> names) { inputHeld_ = std::move(names); }
   // Writes the kernel's truth to one port's input configuration (after a refused write).
   void mirrorInput(const std::string& port);
   // Publishes the ports' applied switchports afresh, so that readers which showed a written
   // value at once (a SET's PVID) go back to the kernel's.
   void republishSwitchports(const std::set<std::string>& ports);
   // True while the mirror itself writes the input configuration: such changes ask nothing
   // of the kernel.
   bool writingInput() const { return writingInput_; }

 private:
   void publishBridge();
   void publishPorts();
   void publishVlans();
   void mirrorInputVlans(const std::set<Bridging::VlanId>& vlans);
   // Takes a row away, move count and all, whatever the model says of it.
   void withdrawHost(const Bridging::HostKey& key);
   void dropConfigured(const Bridging::HostKey& key);
   void dropLearned(const Bridging::HostKey& key);

   // A model a resync replaced, with what is left of it to compare: the rows after
   // `compared` (every entry left in `entries` lies beyond it).
   struct Replaced {
      KernelBridge::HostMap entries;
      bool vlanFiltering = false;  // which of them it served
      std::optional<Bridging::HostKey> compared;
   };

   Bridging::PlatformEntities& e_;
   KernelBridge bridge_;
   // Oldest first. Each is compared on its own: the entities show, for every entry not yet
   // compared, what that model held, or what a notification has published since.
   std::deque<Replaced> replaced_;
   std::set<std::string> inputHeld_;
   bool writingInput_ = false;
};

}  // namespace Linux
