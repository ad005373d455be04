// The table frame driven the way net-snmp's table iterator drives it, without an snmpd:
// the hint on the first pass, no hint on later passes, filters and the time filter.

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

#include "model/QBridgeMib.h"
#include "platform/snmputil/Converters.h"
#include "snmp/CacheRows.h"
#include "snmp/IndexCodec.h"
#include "snmp/RequestSerializer.h"
#include "snmp/TableFrame.h"

namespace {

// A table over the cache's port rows with one INTEGER index; ports 13 and up are filtered.
struct PortTable : Snmp::BasePortRows<PortTable> {
   static constexpr const char* name = "testPortTable";
   static constexpr const char* unit = "TableFrameUnitTest";
   static constexpr const char* entityText = "no entity";
   static constexpr const char* filterName = "TestFilter";
   static bool filter(const Collection::IteratorConst& row) { return row.key().value() < 13; }
};

// The index list net-snmp would pass: one varbind per index, of the index's type.
class IndexList {
 public:
   explicit IndexList(std::initializer_list<u_char> types) {
      for (u_char t : types) {
         snmp_varlist_add_variable(&list_, nullptr, 0, t, nullptr, 0);
      }
   }
   ~IndexList() { snmp_free_varbind(list_); }
   netsnmp_variable_list* get() { return list_; }
   std::vector<unsigned long> values() const {
      std::vector<unsigned long> out;
      for (auto* v = list_; v; v = v->next_variable) {
         out.push_back(v->val.integer ? static_cast<unsigned long>(*v->val.integer) : 0);
      }
      return out;
   }

 private:
   netsnmp_variable_list* list_ = nullptr;
};

template <class Policy>
class Walker {
 public:
   using Frame = Snmp::TableFrame<Policy>;
   explicit Walker(BridgeSnmp::QBridgeMib& mib) { info_.myvoid = &mib; }

   // One pass from a hint (or none), collecting the first index of each row offered.
   std::vector<std::vector<unsigned long>> pass(netsnmp_table_request_info* hint, IndexList& put,
                                                std::size_t limit = 100) {
      std::vector<std::vector<unsigned long>> rows;
      void* loop = hint;
      void* data = nullptr;
      netsnmp_variable_list* vars = Frame::firstDataPoint(&loop, &data, put.get(), &info_);
      while (vars && rows.size() < limit) {
         rows.push_back(put.values());
         vars = Frame::nextDataPoint(&loop, &data, put.get(), &info_);
      }
      Frame::freeLoopContextAtEnd(loop, &info_);
      return rows;
   }

 private:
   netsnmp_iterator_info info_{};
};

class TableFrameUnitTest : public ::testing::Test {
 protected:
   void SetUp() override {
      for (unsigned p : {2u, 5u, 9u, 12u, 13u, 20u}) {
         mib->dot1dBasePortTableIs(Interface::EthPortId(p));
      }
   }
   BridgeSnmp::QBridgeMib::Ptr mib = BridgeSnmp::qBridgeMibFactory("qbridgemib");
};

using Rows = std::vector<std::vector<unsigned long>>;

// A hint starts a GETNEXT's pass after the row it names, or at the first row at or after its
// index when it names none; a GET's pass offers the row it names or none: a lookup, never a
// walk from the first row. Rows 13 and up are filtered.
TEST_F(TableFrameUnitTest, HintsStartAtOrAfterTheirIndex) {
   Walker<PortTable> walker(*mib);
   IndexList put{ASN_INTEGER};
   struct Case {
      const char* name;
      std::vector<oid> index;  // as the request names it
      u_char parsedType;       // what net-snmp parsed of it, 0 for nothing
      Rows next;
      Rows get = {};
   };
   const std::vector<Case> cases = {
       // (Without a registration the frame cannot tell a whole index: net-snmp skips row 9.)
       {"a key in the table", {9}, ASN_INTEGER, {{9}, {12}}, {{9}}},
       {"a key filtered out", {13}, ASN_INTEGER, {}},
       {"a key not in the table", {7}, ASN_INTEGER, {{9}, {12}}},
       {"out of range", {70000}, 0, {}},
       {"wrong type", {9}, ASN_OCTET_STR, {{9}, {12}}},
       {"too long", {5, 1}, 0, {{9}, {12}}},
       {"no components", {}, 0, {{2}, {5}, {9}, {12}}},
   };
   for (const Case& c : cases) {
      for (const auto search :
           {Snmp::CurrentRequest::Search::next, Snmp::CurrentRequest::Search::exact}) {
         IndexList parsed{static_cast<u_char>(c.parsedType ? c.parsedType : ASN_INTEGER)};
         if (c.parsedType == ASN_INTEGER) {
            Snmp::Index::putNumber(parsed.get(), c.index.at(0));
         }
         netsnmp_table_request_info hint{};
         hint.indexes = parsed.get();
         hint.number_indexes = c.parsedType ? 1 : 0;
         std::copy(c.index.begin(), c.index.end(), hint.index_oid);
         hint.index_oid_len = c.index.size();
         Snmp::CurrentRequest::search = search;
         const Rows offered = walker.pass(&hint, put);
         Snmp::CurrentRequest::search = Snmp::CurrentRequest::Search::unknown;
         const bool next = search == Snmp::CurrentRequest::Search::next;
         // A GETNEXT skips the row it names or passes ("too long" names 5.1, after row 5).
         EXPECT_EQ(offered, next ? c.next : c.get) << c.name << (next ? " (GETNEXT)" : " (GET)");
      }
   }
}

// For every key type of the tables: from any index a request may name (any length, values
// at and beyond each part's bounds), the start is the least key whose index is at or after
// it, as a search of every key's index in OID order finds it.
template <class Key>
void expectLeastKeyAtOrAfterAsASearchFinds(std::mt19937& random) {
   using Shape = Snmp::Index::KeyIndex<Key>;
   std::vector<std::uint32_t> max;
   for (const auto& part : Shape::shape) {
      max.insert(max.end(), part.mac ? 6 : 1, part.max);
   }
   const auto pick = [&](std::uint32_t top, bool beyond) -> std::uint32_t {
      const std::uint32_t values[] = {0, 1, 2, top - 1, top, top / 2};
      if (beyond && top < 0xffffffffu && random() % 4 == 0) {
         return random() % 2 ? top + 1 : 0xffffffffu;
      }
      return values[random() % 6];
   };
   std::set<std::vector<std::uint32_t>> indexes;  // OID order: std::vector compares so
   std::set<Key> keys;
   for (int i = 0; i < 40; ++i) {
      Snmp::Index::KeySubIds sub;
      std::vector<std::uint32_t> index;
      for (std::size_t p = 0; p < max.size(); ++p) {
         index.push_back(sub.at[p] = pick(max[p], false));
      }
      indexes.insert(index);
      keys.insert(Shape::make(sub));
   }
   ASSERT_EQ(indexes.size(), keys.size());
   for (int i = 0; i < 400; ++i) {
      std::vector<oid> request(random() % (max.size() + 3));
      for (std::size_t p = 0; p < request.size(); ++p) {
         request[p] = pick(p < max.size() ? max[p] : 255, true);
      }
      const std::vector<std::uint32_t> asked(request.begin(), request.end());
      const auto expected = indexes.lower_bound(asked);
      const auto least =
          Snmp::Index::leastKeyAtOrAfter(request.data(), request.size(), Shape::shape);
      const auto start = least ? keys.lower_bound(Shape::make(*least)) : keys.end();
      ASSERT_EQ(std::distance(indexes.begin(), expected), std::distance(keys.begin(), start))
          << ::testing::PrintToString(asked);
   }
}

TEST(IndexLowerBoundTest, EveryKeyTypeStartsWhereASearchOfTheIndexesWould) {
   std::mt19937 random(4363);
   expectLeastKeyAtOrAfterAsASearchFinds<std::uint32_t>(random);
   expectLeastKeyAtOrAfterAsASearchFinds<std::int32_t>(random);
   expectLeastKeyAtOrAfterAsASearchFinds<Interface::EthPortId>(random);
   expectLeastKeyAtOrAfterAsASearchFinds<Bridging::Fid>(random);
   expectLeastKeyAtOrAfterAsASearchFinds<Velnet::EthAddr>(random);
   expectLeastKeyAtOrAfterAsASearchFinds<BridgeSnmp::Dot1qTpFdbEntryKey>(random);
}

TEST_F(TableFrameUnitTest, DataContextHoldsTheRowEvenAfterItIsDeleted) {
   using Frame = Snmp::TableFrame<PortTable>;
   netsnmp_iterator_info info{};
   info.myvoid = mib.get();
   IndexList put{ASN_INTEGER};
   void* loop = nullptr;
   void* data = nullptr;
   ASSERT_TRUE(Frame::firstDataPoint(&loop, &data, put.get(), &info));
   auto* context = static_cast<Frame::DataContext*>(Frame::makeDataContext(loop, &info));
   ASSERT_TRUE(context);
   mib->dot1dBasePortTableDel(Interface::EthPortId(2));
   EXPECT_EQ(context->row->port(), Interface::EthPortId(2));
   EXPECT_TRUE(context->row->kelZombie());
   Frame::freeDataContext(context, &info);
   Frame::freeLoopContextAtEnd(loop, &info);
}

}  // namespace
