#include <gtest/gtest.h>

#include <vector>

#include "model/PortList.h"

namespace {

using namespace BridgeSnmp;
using Octets = std::vector<unsigned char>;

class PortListTest : public ::testing::Test {
 protected:
   void SetUp() override {
      map = Kel::make<PortIdMap>();
      for (unsigned p : {1u, 8u, 9u, 17u, 4095u, 4096u}) {
         map->portIdIs("port" + std::to_string(p), Interface::EthPortId(p));
      }
      currentPortIdMapIs(map);
   }
   void TearDown() override { currentPortIdMapIs(nullptr); }

   // Encodes the VLAN's configured members (untagged unless named in `tagged`).
   Octets allowed(const std::vector<std::string>& members,
                  const std::vector<std::string>& tagged = {}, bool untaggedOnly = false) {
      auto vlan = Kel::make<Bridging::VlanConfig>(Bridging::VlanId(10));
      for (const auto& m : members) {
         const bool t = std::find(tagged.begin(), tagged.end(), m) != tagged.end();
         vlan->intfIs(Velnet::IntfId(m), Bridging::VlanMember{t});
      }
      Octets buf(1024, 0xee);
      const int n = untaggedOnly ? VlanConfigToUntaggedPortList(vlan, buf.data(), 1024)
                                 : VlanConfigToAllowedPortList(vlan, buf.data(), 1024);
      EXPECT_GE(n, 0);
      buf.resize(static_cast<std::size_t>(n));
      return buf;
   }

   PortIdMap::Ptr map;
};

struct EdgePort {
   unsigned port;
   std::size_t octets;  // encoded length with this port as the only member
   std::size_t octet;   // where its bit is
   unsigned char bit;
};

TEST_F(PortListTest, EdgePortsEncodeAndDecode) {
   for (const EdgePort e : {EdgePort{1, 1, 0, 0x80}, EdgePort{8, 1, 0, 0x01},
                            EdgePort{9, 2, 1, 0x80}, EdgePort{4095, 512, 511, 0x02}}) {
      SCOPED_TRACE("port " + std::to_string(e.port));
      const Octets encoded = allowed({"port" + std::to_string(e.port)});
      ASSERT_EQ(encoded.size(), e.octets);
      for (std::size_t i = 0; i < encoded.size(); ++i) {
         EXPECT_EQ(encoded[i], i == e.octet ? e.bit : 0) << "octet " << i;
      }
      const auto set = PortListToPortIdSet(encoded.data(), static_cast<int>(encoded.size()));
      EXPECT_TRUE(set->portId(static_cast<unsigned short>(e.port)));
      EXPECT_FALSE(set->portId(static_cast<unsigned short>(e.port + 1)));
      EXPECT_FALSE(set->portId(static_cast<unsigned short>(e.port - 1)));
   }
}

// Members are bits from the high one of the first octet; the list ends at the last member's
// octet; what a PortList cannot carry (port 4096, an interface without a port id) is left out.
TEST_F(PortListTest, ConfiguredMembersEncodeUpToTheLastMember) {
   EXPECT_EQ(allowed({"port1", "port17"}), (Octets{0x80, 0x00, 0x80}));
   EXPECT_EQ(allowed({"port17", "port1", "port9"}), (Octets{0x80, 0x80, 0x80}));
   EXPECT_EQ(allowed({"port1", "port9", "port8"}, {"port9"}, true), (Octets{0x81})) << "untagged";
   EXPECT_EQ(allowed({"port1", "port9", "port8"}, {"port9"}), (Octets{0x81, 0x80}));
   EXPECT_EQ(allowed({"port4096", "unmapped"}), Octets{});
   EXPECT_EQ(allowed({}), Octets{});
}

TEST_F(PortListTest, StatusListsActivePortsAndUntaggedOnes) {
   auto vlan = Kel::make<Bridging::VlanStatus>(Bridging::VlanId(20));
   vlan->vlanPortStatusIs("port9", Bridging::VlanPortStatus{true});
   vlan->vlanPortStatusIs("port1", Bridging::VlanPortStatus{false});
   unsigned char buf[8] = {};
   ASSERT_EQ(VlanStatusToEgressPortList(vlan, buf, sizeof buf), 2);
   EXPECT_EQ(Octets(buf, buf + 2), (Octets{0x80, 0x80}));
   ASSERT_EQ(VlanStatusToUntaggedPortList(vlan, buf, sizeof buf), 2);
   EXPECT_EQ(Octets(buf, buf + 2), (Octets{0x00, 0x80}));
   EXPECT_LT(VlanStatusToEgressPortList(nullptr, buf, sizeof buf), 0);
}

TEST_F(PortListTest, InterfaceStatusesYieldTheirOwnPortIds) {
   Kel::RbTreeMap<Velnet::IntfId, Kel::Ptr<Interface::EthIntfStatus>> statuses;
   for (unsigned p : {2u, 16u}) {
      auto s = Kel::make<Interface::EthIntfStatus>(Velnet::IntfId("Ethernet" + std::to_string(p)));
      s->portIdIs(Interface::EthPortId(p));
      statuses.assign(s->intfId(), s);
   }
   unsigned char buf[4] = {};
   ASSERT_EQ(PortListConversionV(statuses.begin(), EthIntfStatusPortListFunctor(), buf, 4), 2);
   EXPECT_EQ(Octets(buf, buf + 2), (Octets{0x40, 0x01}));
}

// A received list: port N is bit N, never port 0 nor ports past the octets; the set keeps its
// own copy of the octets and knows no port once destroyed.
TEST(PortListDecodeTest, MembershipIsTheBitsOfAPrivateCopy) {
   unsigned char data[] = {0x81, 0x00};
   auto set = PortListToPortIdSet(data, 2);
   data[0] = 0;
   EXPECT_EQ(set->length(), 2);
   EXPECT_TRUE(set->portId(1));
   EXPECT_TRUE(set->portId(8));
   EXPECT_FALSE(set->portId(0));
   EXPECT_FALSE(set->portId(9));
   EXPECT_FALSE(set->portId(17));
   EXPECT_EQ(PortListToPortIdSet(nullptr, 0)->length(), 0);
   set->doDestroy();
   EXPECT_FALSE(set->portId(1));
}

TEST(PortListDeathTest, BufferTooSmallForAMemberIsAProgrammingFault) {
   Kel::RbTreeMap<Velnet::IntfId, Kel::Ptr<Interface::EthIntfStatus>> statuses;
   auto s = Kel::make<Interface::EthIntfStatus>(Velnet::IntfId("Ethernet17"));
   s->portIdIs(Interface::EthPortId(17));
   statuses.assign(s->intfId(), s);
   unsigned char buf[2] = {};
   EXPECT_DEATH(PortListConversionV(statuses.begin(), EthIntfStatusPortListFunctor(), buf, 2),
                "newSize <= len");
}

}  // namespace
