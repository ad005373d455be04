// BRIDGE-MIB inside a real snmpd: the five scalars, dot1dBasePortTable and dot1dTpFdbTable,
// read with GET, GETNEXT and GETBULK and compared with what the simulated switch itself
// reports through `bridgectl show`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "SwitchAgentTest.h"

namespace {

using namespace Harness;
using ::testing::HasSubstr;

const Oid dot1dBaseBridgeAddress = "1.3.6.1.2.1.17.1.1.0";
const Oid dot1dBaseNumPorts = "1.3.6.1.2.1.17.1.2.0";
const Oid dot1dBaseType = "1.3.6.1.2.1.17.1.3.0";
const Oid dot1dTpLearnedEntryDiscards = "1.3.6.1.2.1.17.4.1.0";
const Oid dot1dTpAgingTime = "1.3.6.1.2.1.17.4.2.0";
const Oid dot1dBasePortTable = "1.3.6.1.2.1.17.1.4";
const Oid dot1dBasePortEntry = "1.3.6.1.2.1.17.1.4.1";
const Oid dot1dTpFdbTable = "1.3.6.1.2.1.17.4.3";
const Oid dot1dTpFdbEntry = "1.3.6.1.2.1.17.4.3.1";

// dot1dTpFdbStatus values.
constexpr std::int64_t statusLearned = 3;
constexpr std::int64_t statusMgmt = 5;

// How long the agent may take to bring its cache in step with a change of the switch.
constexpr auto settleTimeout = std::chrono::seconds(10);

// Five ports: Ethernet1-4 are bridge ports 1-4 with ifIndexes 101-104; Ethernet5 has no
// port id. All are access ports of VLAN 1. Ethernet5 has a static and a learned host, which
// the forwarding table must not show; VLAN 10 has a host on a trunk, which it must not show
// either (only VLAN 1 is).
const char* const portlessTopology =
    "bridge: {mac: 02:aa:bb:cc:dd:ee, aging_time: 300.9}\n"
    "ports:\n"
    "  - {range: Ethernet1-4, port_id: 1, if_index: 101}\n"
    "  - {name: Ethernet5, port_id: 0, if_index: 105}\n"
    "  - {name: Ethernet6, port_id: 6, if_index: 106}\n"
    "vlans:\n"
    "  - {id: 1, name: default}\n"
    "  - {id: 10, name: ten}\n"
    "switchports:\n"
    "  - {interface: Ethernet6, mode: trunk, native_vlan: 1, allowed_vlans: \"1,10\"}\n"
    "static_macs:\n"
    "  - {vlan: 1, mac: 00:1c:73:00:20:05, interface: Ethernet5}\n"
    "  - {vlan: 1, mac: 00:1c:73:00:20:01, interface: Ethernet1}\n"
    "learned_macs:\n"
    "  - {vlan: 1, mac: 02:00:00:00:00:05, interface: Ethernet5}\n"
    "  - {vlan: 1, mac: 02:00:00:00:00:01, interface: Ethernet1}\n"
    "  - {vlan: 1, mac: 02:00:00:00:00:06, interface: Ethernet6}\n"
    "  - {vlan: 10, mac: 02:00:00:00:0a:06, interface: Ethernet6}\n";

// VLAN 1 with a non-zero selection word: its learned entries are kept out of the table,
// its static and management entries are not.
const char* const selectedVlanTopology =
    "ports:\n"
    "  - {range: Ethernet1-4, port_id: 1, if_index: 1}\n"
    "vlans:\n"
    "  - {id: 1, name: default, selection_word: 7}\n"
    "static_macs:\n"
    "  - {vlan: 1, mac: 00:1c:73:00:30:01, interface: Ethernet2}\n"
    "learned_macs:\n"
    "  - {vlan: 1, range: Ethernet1-4, base: 02:00:00:00:30:00, count: 8}\n"
    "  - {vlan: 1, mac: 02:00:00:00:31:00, interface: Ethernet3, type: management}\n";

// ---- the switch's own account, as `bridgectl show` prints it ----

using Mac = std::array<std::uint8_t, 6>;

Mac parseMac(const std::string& text) {
   Mac mac{};
   unsigned octets[6];
   if (std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", &octets[0], &octets[1], &octets[2],
                   &octets[3], &octets[4], &octets[5]) != 6) {
      throw std::invalid_argument("not a MAC address: " + text);
   }
   for (int i = 0; i < 6; ++i) {
      mac[i] = static_cast<std::uint8_t>(octets[i]);
   }
   return mac;
}

std::string macBytes(const Mac& mac) {
   return std::string(mac.begin(), mac.end());
}

// The table index of an address: six sub-identifiers, no length before them.
Oid macIndex(const Mac& mac) {
   return Oid(std::vector<std::uint32_t>(mac.begin(), mac.end()));
}

struct PortLine {
   std::string name;
   std::uint32_t portId = 0;
   std::int32_t ifIndex = 0;
};

// "port  portId  ifIndex  link" and one line per port.
std::vector<PortLine> parsePorts(const std::string& text) {
   std::vector<PortLine> ports;
   std::istringstream lines(text);
   std::string line;
   std::getline(lines, line);
   while (std::getline(lines, line)) {
      std::istringstream words(line);
      PortLine port;
      std::string link;
      if (words >> port.name >> port.portId >> port.ifIndex >> link) {
         ports.push_back(port);
      }
   }
   return ports;
}

struct FdbLine {
   int vlan = 0;
   Mac mac{};
   std::string intf;
   std::string type;
};

// "vlan  address  port  type  moves" and one line per host.
std::vector<FdbLine> parseFdb(const std::string& text) {
   std::vector<FdbLine> hosts;
   std::istringstream lines(text);
   std::string line;
   std::getline(lines, line);
   while (std::getline(lines, line)) {
      std::istringstream words(line);
      FdbLine host;
      std::string mac;
      if (words >> host.vlan >> mac >> host.intf >> host.type) {
         host.mac = parseMac(mac);
         hosts.push_back(host);
      }
   }
   return hosts;
}

// ---- expected varbinds ----

Varbind integer(const Oid& oid, std::int64_t value) {
   Varbind vb;
   vb.oid = oid;
   vb.type = AsnType::Integer;
   vb.integer = value;
   return vb;
}

Varbind counter32(const Oid& oid, std::int64_t value) {
   Varbind vb = integer(oid, value);
   vb.type = AsnType::Counter32;
   return vb;
}

Varbind octets(const Oid& oid, const std::string& bytes) {
   Varbind vb;
   vb.oid = oid;
   vb.type = AsnType::OctetString;
   vb.bytes = bytes;
   return vb;
}

Varbind objectId(const Oid& oid, const Oid& value) {
   Varbind vb;
   vb.oid = oid;
   vb.type = AsnType::ObjectId;
   vb.objectId = value;
   return vb;
}

// Bridge ports: a port id and an ifIndex, ordered by port id.
std::vector<PortLine> bridgePorts(const std::vector<PortLine>& ports) {
   std::vector<PortLine> result;
   std::copy_if(ports.begin(), ports.end(), std::back_inserter(result),
                [](const PortLine& p) { return p.portId != 0 && p.ifIndex > 0; });
   std::sort(result.begin(), result.end(),
             [](const PortLine& a, const PortLine& b) { return a.portId < b.portId; });
   return result;
}

// dot1dBasePortTable column by column, as `show ports` describes the ports.
std::vector<Varbind> expectedBasePortTable(const std::vector<PortLine>& ports) {
   std::vector<Varbind> table;
   const auto rows = bridgePorts(ports);
   for (std::uint32_t column = 1; column <= 5; ++column) {
      for (const PortLine& port : rows) {
         const Oid oid = dot1dBasePortEntry.child(column).child(port.portId);
         switch (column) {
            case 1:
               table.push_back(integer(oid, port.portId));
               break;
            case 2:
               table.push_back(integer(oid, port.ifIndex));
               break;
            case 3:
               table.push_back(objectId(oid, "0.0"));
               break;
            default:
               table.push_back(counter32(oid, 0));
               break;
         }
      }
   }
   return table;
}

std::int64_t statusOf(const FdbLine& host) {
   return host.type == "static" || host.type == "management" ? statusMgmt : statusLearned;
}

struct FdbRow {
   Mac mac;
   std::uint32_t port;
   std::int64_t status;
};

// The rows dot1dTpFdbTable shows: VLAN 1's hosts on bridge ports, ordered by address;
// learned ones only when `learnedShown` (VLAN 1 has no selection word).
std::vector<FdbRow> expectedFdbRows(const std::vector<FdbLine>& hosts,
                                    const std::vector<PortLine>& ports, bool learnedShown) {
   std::map<std::string, std::uint32_t> portIds;
   for (const PortLine& port : bridgePorts(ports)) {
      portIds[port.name] = port.portId;
   }
   std::vector<FdbRow> rows;
   for (const FdbLine& host : hosts) {
      const auto port = portIds.find(host.intf);
      if (host.vlan != 1 || port == portIds.end()) {
         continue;
      }
      const std::int64_t status = statusOf(host);
      if (status == statusLearned && !learnedShown) {
         continue;
      }
      rows.push_back({host.mac, port->second, status});
   }
   std::sort(rows.begin(), rows.end(),
             [](const FdbRow& a, const FdbRow& b) { return a.mac < b.mac; });
   return rows;
}

std::vector<Varbind> expectedFdbTable(const std::vector<FdbRow>& rows) {
   std::vector<Varbind> table;
   for (std::uint32_t column = 1; column <= 3; ++column) {
      for (const FdbRow& row : rows) {
         const Oid oid = dot1dTpFdbEntry.child(column) + macIndex(row.mac);
         switch (column) {
            case 1:
               table.push_back(octets(oid, macBytes(row.mac)));
               break;
            case 2:
               table.push_back(integer(oid, row.port));
               break;
            default:
               table.push_back(integer(oid, row.status));
               break;
         }
      }
   }
   return table;
}

// Empty when the two lists are equal; otherwise where they first differ.
std::string difference(const std::vector<Varbind>& actual, const std::vector<Varbind>& expected) {
   const std::size_t n = std::min(actual.size(), expected.size());
   for (std::size_t i = 0; i < n; ++i) {
      if (!(actual[i] == expected[i])) {
         std::ostringstream os;
         os << "object " << i << " is " << actual[i] << ", expected " << expected[i];
         return os.str();
      }
   }
   if (actual.size() != expected.size()) {
      std::ostringstream os;
      os << actual.size() << " objects, expected " << expected.size()
         << "; first extra: " << (actual.size() > n ? actual[n] : expected[n]);
      return os.str();
   }
   return "";
}

class BridgeMibTest : public SwitchAgentTest {
 protected:
   std::vector<PortLine> ports() const { return parsePorts(ok({"show", "ports"})); }
   std::vector<FdbLine> fdb() const { return parseFdb(ok({"show", "fdb", "1"})); }

   std::vector<Varbind> expectedPortTable() const { return expectedBasePortTable(ports()); }
   std::vector<Varbind> expectedFdb(bool learnedShown = true) const {
      return expectedFdbTable(expectedFdbRows(fdb(), ports(), learnedShown));
   }

   // Walks `table` by GETNEXT until the walk equals what `expected` computes from the
   // switch, or settleTimeout passes; returns the last difference ("" once equal).
   std::string walkUntilEqual(const Oid& table,
                              const std::function<std::vector<Varbind>()>& expected) {
      const auto deadline = std::chrono::steady_clock::now() + settleTimeout;
      for (;;) {
         const std::string diff = difference(snmpd().walk(table), expected());
         if (diff.empty() || std::chrono::steady_clock::now() >= deadline) {
            return diff;
         }
         std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
   }

   // GETs `oid` until `accept` takes the answer or settleTimeout passes; returns the last.
   GetResult getUntil(const Oid& oid, const std::function<bool(const GetResult&)>& accept) {
      const auto deadline = std::chrono::steady_clock::now() + settleTimeout;
      for (;;) {
         GetResult result = snmpd().get(oid);
         if (accept(result) || std::chrono::steady_clock::now() >= deadline) {
            return result;
         }
         std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
   }

   // GETs the object of `expected` until it answers `expected` or settleTimeout passes;
   // returns the last answer as a varbind.
   Varbind getEventually(const Varbind& expected) {
      const GetResult last =
          getUntil(expected.oid, [&](const GetResult& r) { return r.ok() && r == expected; });
      return last;
   }
};

// ---- scalars ----

TEST_F(BridgeMibTest, ScalarsOfTheLabSwitchHaveExactValuesAndTypes) {
   startAgent();

   const Response response =
       snmpd().getMany({dot1dBaseBridgeAddress, dot1dBaseNumPorts, dot1dBaseType,
                        dot1dTpLearnedEntryDiscards, dot1dTpAgingTime});

   ASSERT_TRUE(response.ok()) << response;
   ASSERT_EQ(response.varbinds.size(), 5U);
   EXPECT_EQ(response.varbinds[0],
             octets(dot1dBaseBridgeAddress, macBytes(parseMac("00:1c:73:00:00:01"))));
   EXPECT_EQ(response.varbinds[0].bytes.size(), 6U);
   EXPECT_EQ(response.varbinds[1], integer(dot1dBaseNumPorts, 48));
   EXPECT_EQ(response.varbinds[2], integer(dot1dBaseType, 2));
   EXPECT_EQ(response.varbinds[3], counter32(dot1dTpLearnedEntryDiscards, 0));
   EXPECT_EQ(response.varbinds[4], integer(dot1dTpAgingTime, 300));
   // The switch agrees on the address and the aging time.
   EXPECT_THAT(ok({"show", "summary"}), HasSubstr("bridge 00:1c:73:00:00:01, aging 300 s"));
}

TEST_F(BridgeMibTest, ScalarsAreFoundByGetNextFromTheirObjects) {
   startAgent();

   for (const Oid& scalar : {dot1dBaseBridgeAddress, dot1dBaseNumPorts, dot1dBaseType,
                             dot1dTpLearnedEntryDiscards, dot1dTpAgingTime}) {
      std::vector<std::uint32_t> object = scalar.arcs();
      object.pop_back();
      const GetResult next = snmpd().getNext(Oid(object));
      ASSERT_TRUE(next.ok()) << next;
      EXPECT_EQ(next.oid, scalar);
      EXPECT_FALSE(next.isException()) << next;
      // The instance itself, and anything below it, has nothing more of the scalar.
      EXPECT_GT(snmpd().getNext(scalar).oid, scalar);
      EXPECT_EQ(snmpd().get(scalar.child(0)).type, AsnType::NoSuchInstance);
   }
}

TEST_F(BridgeMibTest, ScalarsFollowAPurposeBuiltTopology) {
   startAgent(portlessTopology);

   const Varbind address = octets(dot1dBaseBridgeAddress, macBytes(parseMac("02:aa:bb:cc:dd:ee")));
   EXPECT_EQ(getEventually(address), address);
   // Ethernet1-4 and Ethernet6; Ethernet5 has no port id and does not count.
   EXPECT_EQ(getEventually(integer(dot1dBaseNumPorts, 5)), integer(dot1dBaseNumPorts, 5));
   // 300.9 s of aging: whole seconds, truncated.
   EXPECT_EQ(getEventually(integer(dot1dTpAgingTime, 300)), integer(dot1dTpAgingTime, 300));
   EXPECT_EQ(snmpd().get(dot1dBaseType), integer(dot1dBaseType, 2));
   EXPECT_EQ(snmpd().get(dot1dTpLearnedEntryDiscards), counter32(dot1dTpLearnedEntryDiscards, 0));
}

// dot1dTpAgingTime is whole seconds within the MIB's 10..1000000: shorter times report 10,
// longer ones 1000000, and ageing switched off (0) reports 1000000 too.
TEST_F(BridgeMibTest, AgingTimeFollowsTheSwitch) {
   startAgent();

   // Each value differs from the one before, so every step waits for its own change.
   for (const auto& [seconds, expected] :
        std::vector<std::pair<std::string, std::int64_t>>{{"45.9", 45},
                                                          {"0", 1000000},
                                                          {"9.99", 10},
                                                          {"1000000", 1000000},
                                                          {"3", 10},
                                                          {"999999", 999999},
                                                          {"10", 10},
                                                          {"300", 300}}) {
      ok({"aging", seconds});
      const GetResult aging = getUntil(dot1dTpAgingTime, [expected = expected](const auto& r) {
         return r.type == AsnType::Integer && r.integer == expected;
      });
      EXPECT_EQ(aging, integer(dot1dTpAgingTime, expected)) << "after bridgectl aging " << seconds;
   }
}

TEST_F(BridgeMibTest, AgingTimeOfTopologiesOutsideTheMibsRange) {
   for (const auto& [seconds, expected] : std::vector<std::pair<std::string, std::int64_t>>{
            {"1000000000", 1000000}, {"0", 1000000}, {"2.5", 10}}) {
      startAgent("bridge: {aging_time: " + seconds + "}\n");
      EXPECT_EQ(getEventually(integer(dot1dTpAgingTime, expected)),
                integer(dot1dTpAgingTime, expected))
          << "aging_time " << seconds;
      snmpd().stop();
   }
}

TEST_F(BridgeMibTest, EveryScalarRefusesSetWithNotWritable) {
   startAgent();
   const Response before =
       snmpd().getMany({dot1dBaseBridgeAddress, dot1dBaseNumPorts, dot1dBaseType,
                        dot1dTpLearnedEntryDiscards, dot1dTpAgingTime});
   ASSERT_TRUE(before.ok()) << before;

   const std::vector<SetValue> sets = {
       {dot1dBaseBridgeAddress, 'x', "02 11 22 33 44 55"},
       {dot1dBaseNumPorts, 'i', 12},
       {dot1dBaseType, 'i', 3},
       {dot1dTpLearnedEntryDiscards, 'c', 7},
       // The aging time is registered writable; every SET is refused all the same, with an
       // in-range value, the value it already has, and a value of the wrong type.
       {dot1dTpAgingTime, 'i', 100},
       {dot1dTpAgingTime, 'i', 300},
       {dot1dTpAgingTime, 's', "100"},
   };
   for (const SetValue& value : sets) {
      const Response response = snmpd().set({value});
      EXPECT_EQ(response.errstat, ErrStat::NotWritable) << value.oid << ": " << response;
      EXPECT_EQ(response.errindex, 1) << value.oid;
   }

   const Response after = snmpd().getMany({dot1dBaseBridgeAddress, dot1dBaseNumPorts, dot1dBaseType,
                                           dot1dTpLearnedEntryDiscards, dot1dTpAgingTime});
   EXPECT_EQ(after.varbinds, before.varbinds);
   EXPECT_THAT(ok({"show", "summary"}), HasSubstr("aging 300 s"));
}

// ---- dot1dBasePortTable ----

TEST_F(BridgeMibTest, BasePortTableWalksMatchTheSwitchsPorts) {
   startAgent();
   const std::vector<Varbind> expected = expectedPortTable();
   ASSERT_EQ(expected.size(), 48U * 5);

   ASSERT_EQ(walkUntilEqual(dot1dBasePortTable, [&] { return expected; }), "");
   const std::vector<Varbind> walked = snmpd().walk(dot1dBasePortTable);
   // walk() and bulkWalk() throw WalkError on an OID that does not increase; equality with
   // the switch's rows, in order, shows every object comes once.
   for (const int repetitions : {1, 2, 7, 48, 100}) {
      const std::vector<Varbind> bulk = snmpd().bulkWalk(dot1dBasePortTable, repetitions);
      EXPECT_EQ(difference(bulk, walked), "") << "GETBULK, max-repetitions " << repetitions;
   }
}

TEST_F(BridgeMibTest, BasePortTableShowsOnlyPortsWithAPortId) {
   startAgent(portlessTopology);
   const std::vector<Varbind> expected = expectedPortTable();
   // Five bridge ports, five columns; Ethernet5 (port id 0) is left out.
   ASSERT_EQ(expected.size(), 5U * 5);

   EXPECT_EQ(walkUntilEqual(dot1dBasePortTable, [&] { return expected; }), "");
   for (const int repetitions : {1, 4, 25}) {
      EXPECT_EQ(difference(snmpd().bulkWalk(dot1dBasePortTable, repetitions), expected), "")
          << "GETBULK, max-repetitions " << repetitions;
   }
}

TEST_F(BridgeMibTest, BasePortColumnsOfOneRow) {
   startAgent(portlessTopology);
   const Oid row3 = "3";

   const Response response =
       snmpd().getMany({dot1dBasePortEntry.child(1) + row3, dot1dBasePortEntry.child(2) + row3,
                        dot1dBasePortEntry.child(3) + row3, dot1dBasePortEntry.child(4) + row3,
                        dot1dBasePortEntry.child(5) + row3});

   ASSERT_TRUE(response.ok()) << response;
   ASSERT_EQ(response.varbinds.size(), 5U);
   EXPECT_EQ(response.varbinds[0], integer(dot1dBasePortEntry.child(1) + row3, 3));
   // Ethernet3's ifIndex, not its port id.
   EXPECT_EQ(response.varbinds[1], integer(dot1dBasePortEntry.child(2) + row3, 103));
   EXPECT_EQ(response.varbinds[2], objectId(dot1dBasePortEntry.child(3) + row3, "0.0"));
   EXPECT_EQ(response.varbinds[3], counter32(dot1dBasePortEntry.child(4) + row3, 0));
   EXPECT_EQ(response.varbinds[4], counter32(dot1dBasePortEntry.child(5) + row3, 0));
}

// ---- dot1dTpFdbTable ----

TEST_F(BridgeMibTest, TpFdbTableWalksMatchTheSwitchsVlanOne) {
   startAgent();
   // The lab's VLAN 1: one static host and 40 learned ones.
   ASSERT_EQ(expectedFdb().size(), 41U * 3);

   ASSERT_EQ(walkUntilEqual(dot1dTpFdbTable, [&] { return expectedFdb(); }), "");
   const std::vector<Varbind> walked = snmpd().walk(dot1dTpFdbTable);
   for (const int repetitions : {1, 2, 3, 10, 41, 200}) {
      const std::vector<Varbind> bulk = snmpd().bulkWalk(dot1dTpFdbTable, repetitions);
      EXPECT_EQ(difference(bulk, walked), "") << "GETBULK, max-repetitions " << repetitions;
   }
}

TEST_F(BridgeMibTest, TpFdbIndexIsTheAddressAsSixSubIdentifiers) {
   startAgent();
   ASSERT_EQ(walkUntilEqual(dot1dTpFdbTable, [&] { return expectedFdb(); }), "");

   const std::vector<Varbind> walked = snmpd().walk(dot1dTpFdbTable);
   ASSERT_FALSE(walked.empty());
   for (const Varbind& vb : walked) {
      ASSERT_EQ(vb.oid.size(), dot1dTpFdbEntry.size() + 1 + 6) << vb;
   }
   // Column 1 holds the address its index spells.
   for (const Varbind& vb : walked) {
      if (vb.oid.arcs()[dot1dTpFdbEntry.size()] != 1) {
         continue;
      }
      ASSERT_EQ(vb.bytes.size(), 6U) << vb;
      for (std::size_t i = 0; i < 6; ++i) {
         EXPECT_EQ(vb.oid.arcs()[dot1dTpFdbEntry.size() + 1 + i],
                   static_cast<std::uint8_t>(vb.bytes[i]))
             << vb;
      }
   }
   // The lab's static host, by GET of each column.
   const Oid host = macIndex(parseMac("00:1c:73:00:10:01"));
   const Response row =
       snmpd().getMany({dot1dTpFdbEntry.child(1) + host, dot1dTpFdbEntry.child(2) + host,
                        dot1dTpFdbEntry.child(3) + host});
   ASSERT_TRUE(row.ok()) << row;
   EXPECT_EQ(row.varbinds[0],
             octets(dot1dTpFdbEntry.child(1) + host, macBytes(parseMac("00:1c:73:00:10:01"))));
   EXPECT_EQ(row.varbinds[1], integer(dot1dTpFdbEntry.child(2) + host, 1));
   EXPECT_EQ(row.varbinds[2], integer(dot1dTpFdbEntry.child(3) + host, statusMgmt));
}

TEST_F(BridgeMibTest, HostsOnAnInterfaceWithoutABridgePortAreLeftOut) {
   startAgent(portlessTopology);
   // The switch has both of Ethernet5's hosts in VLAN 1.
   const std::vector<FdbLine> hosts = fdb();
   const auto onEthernet5 = std::count_if(hosts.begin(), hosts.end(), [](const FdbLine& h) {
      return h.vlan == 1 && h.intf == "Ethernet5";
   });
   ASSERT_EQ(onEthernet5, 2);

   // Ethernet1's static and learned host and Ethernet6's learned one.
   const std::vector<Varbind> expected = expectedFdb();
   ASSERT_EQ(expected.size(), 3U * 3);
   EXPECT_EQ(walkUntilEqual(dot1dTpFdbTable, [&] { return expected; }), "");
   EXPECT_EQ(difference(snmpd().bulkWalk(dot1dTpFdbTable, 4), expected), "");
   for (const char* address : {"00:1c:73:00:20:05", "02:00:00:00:00:05"}) {
      for (std::uint32_t column = 1; column <= 3; ++column) {
         const Oid oid = dot1dTpFdbEntry.child(column) + macIndex(parseMac(address));
         EXPECT_EQ(snmpd().get(oid).type, AsnType::NoSuchInstance) << oid;
      }
   }
}

TEST_F(BridgeMibTest, OnlyVlanOneIsShown) {
   startAgent(portlessTopology);
   ASSERT_EQ(walkUntilEqual(dot1dTpFdbTable, [&] { return expectedFdb(); }), "");

   // 02:00:00:00:0a:06 is learned in VLAN 10 on a bridge port.
   const Oid inVlan10 = dot1dTpFdbEntry.child(2) + macIndex(parseMac("02:00:00:00:0a:06"));
   EXPECT_EQ(snmpd().get(inVlan10).type, AsnType::NoSuchInstance);
   // The same port's host in VLAN 1 is there.
   const Oid inVlan1 = dot1dTpFdbEntry.child(2) + macIndex(parseMac("02:00:00:00:00:06"));
   EXPECT_EQ(snmpd().get(inVlan1), integer(inVlan1, 6));
}

TEST_F(BridgeMibTest, LearnedHostsAreLeftOutWhenVlanOneHasASelectionWord) {
   startAgent(selectedVlanTopology);
   const std::vector<Varbind> expected = expectedFdb(false);
   // The static host and the learned management host; the 8 learned hosts are left out.
   ASSERT_EQ(expected.size(), 2U * 3);

   EXPECT_EQ(walkUntilEqual(dot1dTpFdbTable, [&] { return expected; }), "");
   const Oid learned = dot1dTpFdbEntry.child(3) + macIndex(parseMac("02:00:00:00:30:02"));
   EXPECT_EQ(snmpd().get(learned).type, AsnType::NoSuchInstance);
   const Oid management = dot1dTpFdbEntry.child(3) + macIndex(parseMac("02:00:00:00:31:00"));
   EXPECT_EQ(snmpd().get(management), integer(management, statusMgmt));
}

TEST_F(BridgeMibTest, StatusFollowsTheEntryType) {
   startAgent();
   ok({"learn", "1", "02:00:00:aa:00:01", "Ethernet2", "management"});
   ok({"learn", "1", "02:00:00:aa:00:02", "Ethernet3", "learnedRemote"});
   ok({"learn", "1", "02:00:00:aa:00:03", "Ethernet4", "configuredStatic"});
   ok({"learn", "1", "02:00:00:aa:00:04", "Ethernet5", "peerStatic"});

   ASSERT_EQ(walkUntilEqual(dot1dTpFdbTable, [&] { return expectedFdb(); }), "");
   const std::vector<std::pair<const char*, std::int64_t>> statuses = {
       {"02:00:00:aa:00:01", statusMgmt},
       {"02:00:00:aa:00:02", statusLearned},
       {"02:00:00:aa:00:03", statusLearned},
       {"02:00:00:aa:00:04", statusLearned},
       {"00:1c:73:00:10:01", statusMgmt}};
   for (const auto& [address, status] : statuses) {
      const Oid oid = dot1dTpFdbEntry.child(3) + macIndex(parseMac(address));
      EXPECT_EQ(snmpd().get(oid), integer(oid, status)) << address;
   }
}

TEST_F(BridgeMibTest, LearnMoveAndAgeShowInTheNextWalk) {
   startAgent();
   ASSERT_EQ(walkUntilEqual(dot1dTpFdbTable, [&] { return expectedFdb(); }), "");
   const Mac host = parseMac("02:00:00:aa:00:10");
   const Oid port = dot1dTpFdbEntry.child(2) + macIndex(host);
   const auto expected = [&] { return expectedFdb(); };

   EXPECT_EQ(ok({"learn", "1", "02:00:00:aa:00:10", "Ethernet3"}), "learned\n");
   EXPECT_EQ(walkUntilEqual(dot1dTpFdbTable, expected), "") << "after learn";
   EXPECT_EQ(snmpd().get(port), integer(port, 3));

   ok({"move", "1", "02:00:00:aa:00:10", "Ethernet7"});
   EXPECT_EQ(walkUntilEqual(dot1dTpFdbTable, expected), "") << "after move";
   EXPECT_EQ(snmpd().get(port), integer(port, 7));

   ok({"age", "1", "02:00:00:aa:00:10"});
   EXPECT_EQ(walkUntilEqual(dot1dTpFdbTable, expected), "") << "after age";
   EXPECT_EQ(snmpd().get(port).type, AsnType::NoSuchInstance);
   // Back to the lab's 41 hosts.
   EXPECT_EQ(snmpd().walk(dot1dTpFdbTable).size(), 41U * 3);
}

}  // namespace
