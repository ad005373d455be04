// The test client against snmpd's own system group (no plug-in): value decoding, exceptions,
// walks and SETs, so that a fault in the harness does not pass for a fault in the plug-in.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "SnmpdTest.h"

namespace {

using namespace Harness;
using ::testing::HasSubstr;

const Oid systemGroup = "1.3.6.1.2.1.1";
const Oid sysDescr = "1.3.6.1.2.1.1.1.0";
const Oid sysObjectID = "1.3.6.1.2.1.1.2.0";
const Oid sysUpTime = "1.3.6.1.2.1.1.3.0";
const Oid sysLocation = "1.3.6.1.2.1.1.6.0";
// Writable objects of every type, set up with snmpd's "override -rw" under net-snmp's
// experimental branch (netSnmpPlaypen).
const Oid playpenOctets = "1.3.6.1.4.1.8072.9999.1.0";
const Oid playpenInteger = "1.3.6.1.4.1.8072.9999.2.0";
const Oid playpenGauge = "1.3.6.1.4.1.8072.9999.3.0";
const Oid playpenCounter = "1.3.6.1.4.1.8072.9999.4.0";
const Oid playpenTicks = "1.3.6.1.4.1.8072.9999.5.0";
const Oid playpenObjectId = "1.3.6.1.4.1.8072.9999.6.0";

TEST(OidTest, ParsesDottedText) {
   EXPECT_EQ(Oid("1.3.6.1.2.1.17.1.3.0").arcs(),
             (std::vector<std::uint32_t>{1, 3, 6, 1, 2, 1, 17, 1, 3, 0}));
   EXPECT_EQ(Oid(".1.3.6.1"), Oid("1.3.6.1"));
   EXPECT_EQ(Oid("1.3.4294967295").arcs().back(), 4294967295U);
   EXPECT_EQ(Oid("1.3.6.1.2.1.17").str(), "1.3.6.1.2.1.17");
}

TEST(OidTest, RejectsWhatIsNotANumericOid) {
   EXPECT_THROW(Oid(""), std::invalid_argument);
   EXPECT_THROW(Oid("1..3"), std::invalid_argument);
   EXPECT_THROW(Oid("1.3."), std::invalid_argument);
   EXPECT_THROW(Oid("1.3.x"), std::invalid_argument);
   EXPECT_THROW(Oid("sysUpTime.0"), std::invalid_argument);
   EXPECT_THROW(Oid("1.3.4294967296"), std::invalid_argument);
}

TEST(OidTest, OrdersLikeSnmp) {
   EXPECT_LT(Oid("1.3.6"), Oid("1.3.6.0"));
   EXPECT_LT(Oid("1.3.6.9"), Oid("1.3.6.10"));
   EXPECT_LT(Oid("1.3.6.1.99"), Oid("1.3.7"));
   EXPECT_TRUE(Oid("1.3.6.1.2").startsWith("1.3.6"));
   EXPECT_TRUE(Oid("1.3.6").startsWith("1.3.6"));
   EXPECT_FALSE(Oid("1.3.61").startsWith("1.3.6"));
   EXPECT_EQ(Oid("1.3.6") + Oid("1.2"), Oid("1.3.6.1.2"));
   EXPECT_EQ(Oid("1.3.6").child(0), Oid("1.3.6.0"));
}

class SnmpClientTest : public SharedSnmpdTest<SnmpClientTest> {
 public:
   static SnmpdOptions suiteOptions() {
      SnmpdOptions options;
      options.pluginPath.clear();
      options.extraConfig = {
          "override -rw " + playpenOctets.str() + " octet_str initial",
          "override -rw " + playpenInteger.str() + " integer 0",
          "override -rw " + playpenGauge.str() + " uinteger 0",
          "override -rw " + playpenCounter.str() + " counter 0",
          "override -rw " + playpenTicks.str() + " timeticks 0",
          "override -rw " + playpenObjectId.str() + " object_id 1.3.6.1",
      };
      return options;
   }
};

TEST_F(SnmpClientTest, GetDecodesTypedValues) {
   const Response response = agent().getMany({sysDescr, sysObjectID, sysUpTime});

   ASSERT_TRUE(response.ok()) << response;
   ASSERT_EQ(response.varbinds.size(), 3U);
   EXPECT_EQ(response.varbinds[0].oid, sysDescr);
   EXPECT_EQ(response.varbinds[0].type, AsnType::OctetString);
   EXPECT_FALSE(response.varbinds[0].bytes.empty());
   EXPECT_EQ(response.varbinds[1].type, AsnType::ObjectId);
   // net-snmp's agent OIDs live under its enterprise, 1.3.6.1.4.1.8072.
   EXPECT_TRUE(response.varbinds[1].objectId.startsWith("1.3.6.1.4.1.8072"))
       << response.varbinds[1];
   EXPECT_EQ(response.varbinds[2].type, AsnType::TimeTicks);
   EXPECT_GE(response.varbinds[2].integer, 0);
}

TEST_F(SnmpClientTest, MissingObjectsComeBackAsExceptionValues) {
   const GetResult noObject = agent().get("1.3.6.1.2.1.1.99.0");
   const GetResult noInstance = agent().get("1.3.6.1.2.1.1.1.1");
   const GetResult pastTheEnd = agent().getNext("1.4");

   EXPECT_EQ(noObject.type, AsnType::NoSuchObject) << noObject;
   EXPECT_EQ(noInstance.type, AsnType::NoSuchInstance) << noInstance;
   EXPECT_EQ(pastTheEnd.type, AsnType::EndOfMibView) << pastTheEnd;
   EXPECT_TRUE(noObject.isException());
   EXPECT_TRUE(noInstance.ok());
}

TEST_F(SnmpClientTest, GetNextAndGetBulkStepInOrder) {
   const GetResult next = agent().getNext(systemGroup);
   const Response bulk = agent().getBulk(systemGroup, 3);

   EXPECT_EQ(next.oid, sysDescr);
   ASSERT_TRUE(bulk.ok()) << bulk;
   ASSERT_EQ(bulk.varbinds.size(), 3U);
   EXPECT_EQ(bulk.varbinds[0].oid, sysDescr);
   EXPECT_EQ(bulk.varbinds[1].oid, sysObjectID);
   EXPECT_EQ(bulk.varbinds[2].oid, sysUpTime);
}

TEST_F(SnmpClientTest, WalkAndBulkWalkAgree) {
   const std::vector<Varbind> walked = agent().walk(systemGroup);

   ASSERT_GE(walked.size(), 7U);  // sysDescr.0 to sysServices.0 at least
   EXPECT_EQ(walked.front().oid, sysDescr);
   for (std::size_t i = 0; i < walked.size(); ++i) {
      EXPECT_TRUE(walked[i].oid.startsWith(systemGroup)) << walked[i];
      EXPECT_FALSE(walked[i].isException()) << walked[i];
      if (i > 0) {
         EXPECT_LT(walked[i - 1].oid, walked[i].oid);
      }
   }
   for (int maxRepetitions : {1, 3, 50}) {
      const std::vector<Varbind> bulkWalked = agent().bulkWalk(systemGroup, maxRepetitions);
      ASSERT_EQ(bulkWalked.size(), walked.size()) << "maxRepetitions " << maxRepetitions;
      for (std::size_t i = 0; i < walked.size(); ++i) {
         EXPECT_EQ(bulkWalked[i].oid, walked[i].oid) << "maxRepetitions " << maxRepetitions;
         if (walked[i].oid != sysUpTime) {
            EXPECT_EQ(bulkWalked[i], walked[i]) << "maxRepetitions " << maxRepetitions;
         }
      }
   }
}

TEST_F(SnmpClientTest, WalkOfAnEmptySubtreeIsEmpty) {
   EXPECT_TRUE(agent().walk("1.3.6.1.2.1.17").empty());
   EXPECT_TRUE(agent().bulkWalk("1.3.6.1.2.1.17").empty());
}

TEST_F(SnmpClientTest, SetEncodesEveryTypeLetter) {
   const std::string bytes("with NUL \x00 and \xff", 19);

   const Response response = agent().set({{playpenOctets, 's', bytes},
                                          {playpenInteger, 'i', -7},
                                          {playpenGauge, 'u', 4000000000},
                                          {playpenCounter, 'c', "42"},
                                          {playpenTicks, 't', 12345},
                                          {playpenObjectId, 'o', "1.3.6.1.2.1.17"}});

   ASSERT_TRUE(response.ok()) << response;
   const Response read = agent().getMany({playpenOctets, playpenInteger, playpenGauge,
                                          playpenCounter, playpenTicks, playpenObjectId});
   ASSERT_TRUE(read.ok()) << read;
   ASSERT_EQ(read.varbinds.size(), 6U);
   EXPECT_EQ(read.varbinds[0].type, AsnType::OctetString);
   EXPECT_EQ(read.varbinds[0].bytes, bytes);
   EXPECT_EQ(read.varbinds[1].type, AsnType::Integer);
   EXPECT_EQ(read.varbinds[1].integer, -7);
   EXPECT_EQ(read.varbinds[2].type, AsnType::Gauge32);
   EXPECT_EQ(read.varbinds[2].integer, 4000000000);
   EXPECT_EQ(read.varbinds[3].type, AsnType::Counter32);
   EXPECT_EQ(read.varbinds[3].integer, 42);
   EXPECT_EQ(read.varbinds[4].type, AsnType::TimeTicks);
   EXPECT_EQ(read.varbinds[4].integer, 12345);
   EXPECT_EQ(read.varbinds[5].type, AsnType::ObjectId);
   EXPECT_EQ(read.varbinds[5].objectId, Oid("1.3.6.1.2.1.17"));

   const Response hex = agent().set({{playpenOctets, 'x', "41 42 ff"}});
   ASSERT_TRUE(hex.ok()) << hex;
   EXPECT_EQ(agent().get(playpenOctets).bytes, "AB\xff");
}

TEST_F(SnmpClientTest, SetReportsTheAgentsErrors) {
   const Response written = agent().set({{sysLocation, 's', "lab bench 2"}});
   const Response wrongType = agent().set({{sysLocation, 'i', 5}});
   const Response wrongValue =
       agent().set({{sysLocation, 's', std::string("NUL \0 is no DisplayString", 25)}});

   EXPECT_TRUE(written.ok()) << written;
   EXPECT_EQ(wrongType.errstat, ErrStat::WrongType) << wrongType;
   EXPECT_EQ(wrongType.errindex, 1);
   EXPECT_EQ(wrongValue.errstat, ErrStat::WrongValue) << wrongValue;
   EXPECT_EQ(agent().get(sysLocation).bytes, "lab bench 2");
}

TEST_F(SnmpClientTest, BadSetValuesAreRefusedBeforeSending) {
   EXPECT_THROW(agent().set({{playpenInteger, 'i', "seven"}}), std::invalid_argument);
   EXPECT_THROW(agent().set({{playpenGauge, 'u', -1}}), std::invalid_argument);
   EXPECT_THROW(agent().set({{playpenOctets, 'x', "4"}}), std::invalid_argument);
   EXPECT_THROW(agent().set({{playpenOctets, '?', "x"}}), std::invalid_argument);
}

TEST_F(SnmpClientTest, SetWithTheReadCommunityIsRefused) {
   const std::string before = agent().get(sysLocation).bytes;

   const Response refused = agent().reader().set({{sysLocation, 's', "not allowed"}});

   EXPECT_FALSE(refused.ok()) << refused;
   EXPECT_EQ(agent().get(sysLocation).bytes, before);
}

TEST_F(SnmpClientTest, UnknownCommunityGetsNoAnswer) {
   auto stranger = agent().client("no-such-community", {std::chrono::milliseconds(300), 0});

   EXPECT_THROW(stranger->get(sysUpTime), SnmpError);
}

}  // namespace
