#pragma once

#include <cstdint>
#include <string>

#include "platform/kel/EntityMacros.h"
#include "platform/kel/HashMap.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/kel/String8.h"

// Small entities declared with the framework's macros, for framework tests and benchmarks.
namespace TestModel {

class Port : public Kel::Entity {
 public:
#define TEST_PORT_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(number, std::uint32_t)                                               \
   ATTRIBUTE(speed, Speed, std::uint32_t, 0)                                \
   SHARED(mode, ModeAndVlan, int, 0)                                        \
   SHARED(vlan, ModeAndVlan, int, 1)                                        \
   NOTIFICATION(ModeAndVlan)
   KEL_ENTITY(Port, Kel::Entity, "TestModel::Port", TEST_PORT_MEMBERS)
#undef TEST_PORT_MEMBERS

   explicit Port(std::uint32_t number) {
      number_ = number;
   }
};

class Switch;

// A row that takes its owner, as cache rows with a parent do.
class Module : public Kel::Entity {
 public:
#define TEST_MODULE_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   KEY(slot, std::uint32_t)                                                   \
   ATTRIBUTE(label, Label, Kel::String8, "")
   KEL_ENTITY(Module, Kel::Entity, "TestModel::Module", TEST_MODULE_MEMBERS)
#undef TEST_MODULE_MEMBERS

   Module(std::uint32_t slot, Switch* parent) : parent_(parent) {
      slot_ = slot;
   }
   Switch* parent() const {
      return parent_;
   }

 private:
   Switch* parent_;
};

using PortTable = Kel::RbTreeMap<std::uint32_t, Kel::Ptr<Port>>;
using ModuleTable = Kel::RbTreeMap<std::uint32_t, Kel::Ptr<Module>>;
using NameMap = Kel::HashMap<Kel::String8, std::uint32_t>;

class Switch : public Kel::Entity {
 public:
#define TEST_SWITCH_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   ATTRIBUTE(agingTime, AgingTime, double, 300.0)                             \
   COLLECTION(port, Port, PortTable)                                          \
   COLLECTION(module, Module, ModuleTable)                                    \
   COLLECTION(portByName, PortByName, NameMap)
   KEL_ENTITY(Switch, Kel::Entity, "TestModel::Switch", TEST_SWITCH_MEMBERS)
#undef TEST_SWITCH_MEMBERS
};

// A derived entity: notifiees of Switch hear of its base members, notifiees of
// ManagedSwitch of both.
class ManagedSwitch : public Switch {
 public:
#define TEST_MANAGED_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   ATTRIBUTE(sysName, SysName, Kel::String8, "switch")
   KEL_ENTITY(ManagedSwitch, Switch, "TestModel::ManagedSwitch", TEST_MANAGED_MEMBERS)
#undef TEST_MANAGED_MEMBERS
};

}  // namespace TestModel
