#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/kel/HashMap.h"
#include "platform/kel/RbTreeMap.h"
#include "tests/support/TestEntities.h"

namespace {

using Map = Kel::RbTreeMap<int, int>;

Map mapOf(std::initializer_list<int> keys) {
   Map m;
   for (int k : keys) {
      m.assign(k, k * 10);
   }
   return m;
}

std::vector<int> keysFrom(Map::IteratorConst it) {
   std::vector<int> keys;
   for (; it; ++it) {
      keys.push_back(it.key());
   }
   return keys;
}

TEST(RbTreeMapTest, IteratesInAscendingKeyOrderFromFirstOrFoundRow) {
   const Map m = mapOf({30, 10, 50, 20, 40});
   EXPECT_EQ(keysFrom(m.begin()), (std::vector<int>{10, 20, 30, 40, 50}));
   EXPECT_EQ(keysFrom(m.iteratorAt(30)), (std::vector<int>{30, 40, 50}));
   EXPECT_TRUE(m.iteratorAt(35).done()) << "exact lookup only";
   EXPECT_EQ(keysFrom(m.lowerBound(35)), (std::vector<int>{40, 50}));
   EXPECT_EQ(keysFrom(m.upperBound(40)), (std::vector<int>{50}));
   EXPECT_EQ(m.iteratorAt(20).value(), 200);
}

// An iterator stands on live rows whatever the map does: a deleted row's iterator moves to
// the next one, rows inserted ahead are seen and rows behind are not revisited, and a map can
// be drained in order while it is walked.
TEST(RbTreeMapTest, IteratorStandsOnLiveRowsAsTheMapChanges) {
   Map m = mapOf({10, 20, 30, 40});
   auto it = m.iteratorAt(20);
   m.erase(20);
   ASSERT_TRUE(it);
   EXPECT_EQ(it.key(), 30) << "stands on the next row";
   m.assign(35, 1);
   m.assign(5, 1);  // behind the iterator: not revisited
   EXPECT_EQ(keysFrom(it), (std::vector<int>{30, 35, 40}));
   std::vector<int> drained;
   for (auto at = m.begin(); at;) {
      drained.push_back(at.key());
      ++at;
      m.erase(drained.back());
   }
   EXPECT_EQ(drained, (std::vector<int>{5, 10, 30, 35, 40}));
   EXPECT_TRUE(m.empty());
}

// Keyed operations start from where the previous one ended; whatever the order of the keys,
// each must answer as a plain ordered map does.
TEST(RbTreeMapTest, KeyedOperationsAgreeWithAPlainMapInAnyKeyOrder) {
   const struct {
      const char* order;
      int (*key)(int step, std::mt19937& random);
   } cases[] = {
       {"ascending", [](int step, std::mt19937&) { return step / 3; }},
       {"descending", [](int step, std::mt19937&) { return 1000 - step / 3; }},
       {"random", [](int, std::mt19937& random) { return static_cast<int>(random() % 200); }},
   };
   for (const auto& c : cases) {
      std::mt19937 random(7);
      Map m;
      std::map<int, int> expected;
      for (int step = 0; step < 3000; ++step) {
         const int key = c.key(step, random);
         switch (random() % 4) {
            case 0: {
               const bool changes = !expected.count(key) || expected[key] != step;
               EXPECT_EQ(m.assign(key, step), changes);
               expected[key] = step;
               break;
            }
            case 1:
               EXPECT_EQ(m.erase(key), expected.erase(key) == 1) << c.order << " key " << key;
               break;
            case 2:
               EXPECT_EQ(*m.findOrInsert(key, [] { return -1; }).first,
                         expected.emplace(key, -1).first->second);
               break;
            default:
               const int* found = std::as_const(m).find(key);
               EXPECT_EQ(found ? *found : -2, expected.count(key) ? expected[key] : -2);
         }
      }
      std::vector<int> keys;
      for (const auto& [key, value] : expected) {
         keys.push_back(key);
      }
      EXPECT_EQ(keysFrom(m.begin()), keys) << c.order;
      const Map copy = m;
      Map moved = std::move(m);
      EXPECT_EQ(keysFrom(copy.iteratorAt(keys.front())), keys) << c.order;
      EXPECT_TRUE(moved.erase(keys.back()));
      EXPECT_EQ(moved.size() + 1, keys.size()) << c.order;
   }
}

TEST(HashMapDeathTest, IteratorUsedAfterAChangeEndsTheProcess) {
   Kel::HashMap<int, int> m;
   m.assign(1, 1);
   auto it = m.begin();
   m.assign(2, 2);
   EXPECT_DEATH({ ++it; }, "map_->version_ == version_");
}

}  // namespace
