#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string>

#include "platform/kel/Assert.h"
#include "platform/kel/CollectionOps.h"
#include "platform/kel/Exception.h"
#include "platform/kel/Pool.h"
#include "platform/snmputil/Converters.h"
#include "snmp/IndexCodec.h"
#include "snmp/NetSnmp.h"
#include "snmp/RequestSerializer.h"
#include "snmp/SnmpTrace.h"

// The frame every table of the module shares: net-snmp's table-iterator callbacks over one
// ordered collection of an entity, with the requested row as a hint, row and time filters.
// A table is a policy class (TableHandler.h and CacheRows.h add the rest; KeyedRows there
// gives the defaults of a table without filters and without a time mark):
//
//   struct Policy {
//      using Entity = ...;                      // what the iterator's myvoid points at
//      using Collection = Kel::RbTreeMap<K, Kel::Ptr<Row>>;
//      static constexpr const char* name, *unit;        // "dot1dBasePortTable", "BridgeMib"
//      static constexpr EntityAt<Entity> entity;        // in the null-entity assertion
//      static constexpr unsigned indexCount;            // index components, time mark included
//      static constexpr bool timeFiltered;              // whether the first index is a time mark
//      static constexpr const char* keyName, *keyTypeName;  // "port", "Interface::EthPortId"
//      static const Collection& collection(const Entity&);
//      static constexpr IndexSpec indexes[];   // a time mark first, then the key's (IndexCodec.h)
//      // Row filter, named filterName in traces; the defaults have none and no time mark.
//      static bool filter(const typename Collection::IteratorConst& row);
//      // A time-filtered table's row time that the mark is compared with.
//      static double changeTime(const Row&);
//   };
namespace Snmp {

template <class Policy>
struct TableFrame {
   using Entity = typename Policy::Entity;
   using Collection = typename Policy::Collection;
   using Key = typename Collection::Key;
   using Row = typename Kel::detail::RowOf<typename Collection::Value>::type;
   using Iterator = typename Collection::IteratorConst;

   // One request pass: where the walk stands. The entity reference keeps the rows alive.
   // A walk makes one of these and one data context per object it returns; they come from
   // the pools rather than the heap.
   struct LoopContext {
      KEL_POOLED_STORAGE
      Kel::Ptr<const Entity> entity;
      Iterator it;
      std::uint32_t timeMark = 0;
      // A GET's walk offers the one row its index names, or none.
      bool exactOnly = false;
   };

   // The row net-snmp stopped at; counted, so it outlives its deletion from the cache.
   struct DataContext {
      KEL_POOLED_STORAGE
      Kel::Ptr<const Row> row;
      Key key;
   };

   static std::string fn(const char* what) { return std::string(Policy::name) + what; }

   // What the first data point asserts of the iterator's entity: the policy's own text (after
   // the callback's name), or where the entity should be mounted and of what type.
   static std::string entityText() {
      if constexpr (requires { Policy::entityText; }) {
         return fn("_get_first_data_point - ") + Policy::entityText;
      } else {
         return fn("_get_first_data_point") + " - entity /ve/Statedb/" + Policy::entity.path +
                " is not of type " + Policy::entity.typeName;
      }
   }

   static netsnmp_variable_list* firstDataPoint(void** loopContext, void** dataContext,
                                                netsnmp_variable_list* putIndexData,
                                                netsnmp_iterator_info* info) {
      try {
         return first(loopContext, dataContext, putIndexData, info);
      } catch (const std::exception& e) {
         SNMP_TRACE(0, Policy::unit, fn("_get_first_data_point") << " - " << e.what());
      }
      *loopContext = nullptr;
      return nullptr;
   }

   static netsnmp_variable_list* nextDataPoint(void** loopContext, void** dataContext,
                                               netsnmp_variable_list* putIndexData,
                                               netsnmp_iterator_info*) {
      try {
         auto* loop = static_cast<LoopContext*>(*loopContext);
         SNMP_TRACE(2, Policy::unit,
                    fn("_get_next_data_point") << " - advancing loop context " << loop
                                               << "; data context " << *dataContext);
         *dataContext = nullptr;
         if (!loop || loop->exactOnly) {
            return nullptr;
         }
         ++loop->it;
         netsnmp_variable_list* vars = step(*loop, putIndexData);
         if (!vars) {
            SNMP_TRACE(2, Policy::unit, fn("_get_next_data_point") << " - at end of loop context");
         }
         return vars;
      } catch (const std::exception& e) {
         SNMP_TRACE(0, Policy::unit, fn("_get_next_data_point") << " - " << e.what());
      }
      return nullptr;
   }

   static void* makeDataContext(void* loopContext, netsnmp_iterator_info*) {
      auto* loop = static_cast<LoopContext*>(loopContext);
      if (!loop || !loop->it) {
         return nullptr;
      }
      auto* data = new DataContext{Kel::Ptr<const Row>(loop->it.value()), loop->it.key()};
      SNMP_TRACE(2, Policy::unit,
                 fn("_make_data_context")
                     << " - allocated data context " << data << " for loop context " << loop);
      return data;
   }

   static void freeDataContext(void* dataContext, netsnmp_iterator_info*) {
      delete static_cast<DataContext*>(dataContext);
   }

   static void freeLoopContextAtEnd(void* loopContext, netsnmp_iterator_info*) {
      delete static_cast<LoopContext*>(loopContext);
   }

   // The data context of a request, or null.
   static DataContext* dataContext(netsnmp_request_info* request) {
      return static_cast<DataContext*>(netsnmp_extract_iterator_context(request));
   }

 private:
   static netsnmp_variable_list* first(void** loopContext, void** dataContext,
                                       netsnmp_variable_list* putIndexData,
                                       netsnmp_iterator_info* info) {
      // On the first pass of a request net-snmp hands the request's table information over
      // in *loopContext; on later passes (the next column) there is none, and the walk
      // starts at the first row. The index list in putIndexData is not a hint: on later
      // passes it holds the last row visited.
      auto* hint = static_cast<netsnmp_table_request_info*>(*loopContext);
      *loopContext = nullptr;
      *dataContext = nullptr;
      const auto* entity = static_cast<const Entity*>(info->myvoid);
      if (!entity) {
         Kel::assertionFailed(entityText().c_str(), __FILE__, __LINE__, __func__);
      }
      SNMP_TRACE(2, Policy::unit,
                 fn("_get_first_data_point") << " - *hint = " << hint << ", number_indexes = "
                                             << (hint ? hint->number_indexes : 0));
      auto* loop =
          new LoopContext{Kel::Ptr<const Entity>(entity), Policy::collection(*entity).begin(), 0};
      if (hint) {
         seek(*loop, *hint);
      }
      SNMP_TRACE(2, Policy::unit, fn("_get_first_data_point") << " - allocated new loop context");
      *loopContext = loop;
      return step(*loop, putIndexData);
   }

   // Moves the loop to the hinted row when the hint names one. Otherwise a GET ends (no row
   // can answer it) and a GETNEXT starts at the first row at or after the index it names,
   // however short, long or out of range: either way a request costs a lookup, never a walk.
   // Every bad hint is traced, with where the loop starts.
   static void seek(LoopContext& loop, const netsnmp_table_request_info& hint) {
      netsnmp_variable_list* components = hint.indexes;
      if constexpr (Policy::timeFiltered) {
         // The time mark filters; it is taken even from an incomplete index.
         if (components && hint.number_indexes >= 1 && components->type == ASN_TIMETICKS &&
             components->val.integer) {
            loop.timeMark = static_cast<std::uint32_t>(*components->val.integer);
         }
      }
      loop.exactOnly = CurrentRequest::search == CurrentRequest::Search::exact;
      if (hint.number_indexes != Policy::indexCount) {
         SNMP_TRACE(2, Policy::unit,
                    fn("_get_first_data_point")
                        << " - needed " << Policy::indexCount << " components, found only "
                        << hint.number_indexes);
         startAtOrAfter(loop, hint);
         return;
      }
      if constexpr (Policy::timeFiltered) {
         components = components ? components->next_variable : nullptr;
      }
      std::optional<Key> key;
      {
         Kel::Expect expect(Kel::ExceptionId::range);
         try {
            const std::span<const IndexSpec> indexes(Policy::indexes);
            key = Index::hint<Key>(components, indexes.subspan(Policy::timeFiltered ? 1 : 0),
                                   Policy::unit, Policy::name);
         } catch (const Kel::Exception& e) {
            SNMP_TRACE(0, Policy::unit,
                       "Bad hint for " << Policy::name << ": " << Policy::keyTypeName
                                       << " ctor threw exception: " << e.what());
         }
      }
      if (key) {
         Iterator found = Policy::collection(*loop.entity).iteratorAt(*key);
         if (found) {
            loop.it = found;
            if (CurrentRequest::searchingNext() && namesWholeIndex(hint)) {
               // The request names this row or an object after it, so the row is not the
               // answer: start after it, and neither the filters nor net-snmp's comparison
               // need to see it. (A shorter index, padded to this key, comes before it.)
               ++loop.it;
            }
            SNMP_TRACE(2, Policy::unit, fn("_get_first_data_point") << " - hintMatched=1");
            return;
         }
         SNMP_TRACE(2, Policy::unit,
                    fn("_get_first_data_point") << " - key '" << *key << "' not found in table");
      }
      SNMP_TRACE(2, Policy::unit, fn("_get_first_data_point") << " - hintMatched=0");
      startAtOrAfter(loop, hint);
   }

   // A hint that names no row: a GET's loop ends; another starts at the least row whose
   // index is at or after the hint's (net-snmp then picks the first row after the request
   // from there, the same row a walk from the first row would reach).
   static void startAtOrAfter(LoopContext& loop, const netsnmp_table_request_info& hint) {
      const Collection& rows = Policy::collection(*loop.entity);
      if (loop.exactOnly) {
         loop.it = rows.end();
         SNMP_TRACE(2, Policy::unit, fn("_get_first_data_point") << " - starting past the end");
         return;
      }
      const oid* index = hint.index_oid;
      std::size_t length = hint.index_oid_len;
      if constexpr (Policy::timeFiltered) {
         // The time mark is no part of the key.
         index += length ? 1 : 0;
         length -= length ? 1 : 0;
      }
      const auto least = Index::leastKeyAtOrAfter(index, length, Index::KeyIndex<Key>::shape);
      loop.it = least ? rows.lowerBound(Index::KeyIndex<Key>::make(*least)) : rows.end();
      if (loop.it) {
         SNMP_TRACE(2, Policy::unit,
                    fn("_get_first_data_point") << " - starting at " << loop.it.key());
      } else {
         SNMP_TRACE(2, Policy::unit, fn("_get_first_data_point") << " - starting at past the end");
      }
   }

   // Whether the request's own index sub-identifiers are at least as many as a row's whole
   // index. Every index of these tables has a fixed length, read once from the registration.
   static bool namesWholeIndex(const netsnmp_table_request_info& hint) {
      static const std::size_t wholeIndex = Snmp::Index::wholeIndexLength(hint.reg_info);
      return wholeIndex != 0 && hint.index_oid_len >= wholeIndex;
   }

   // Skips the rows the filters drop, then offers the current row's indexes, or ends.
   static netsnmp_variable_list* step(LoopContext& loop, netsnmp_variable_list* vars) {
      while (loop.it && !accepted(loop)) {
         if (loop.exactOnly) {
            return nullptr;  // the one row a GET may answer is filtered out
         }
         ++loop.it;
      }
      return iterationHelper(loop, vars);
   }

   static bool accepted(const LoopContext& loop) {
      if constexpr (Policy::filterName != nullptr) {
         const bool keep = Policy::filter(loop.it);
         if (!keep) {
            SNMP_TRACE(
                2, Policy::unit,
                Policy::name << "_get_*_data_point: " << Policy::filterName << " returns " << keep);
            SNMP_TRACE(2, Policy::unit, Policy::name << "_get_*_data_point filtered out");
            return false;
         }
      }
      if constexpr (Policy::timeFiltered) {
         const std::uint32_t ticks =
             SecondsToTimeTicks(NowSecondsToUptimeSeconds(Policy::changeTime(**loop.it)));
         // Two ticks of slack, so a change in the same hundredth as the mark still shows.
         if (static_cast<std::uint32_t>(ticks + 2) < loop.timeMark) {
            SNMP_TRACE(2, Policy::unit, Policy::name << "_get_*_data_point filtered out");
            SNMP_TRACE(2, Policy::unit,
                       Policy::name << "_get_*_data_point: last changed (" << Policy::changeTimeName
                                    << ") " << ticks << " requested value is " << loop.timeMark);
            return false;
         }
      }
      return true;
   }

   static netsnmp_variable_list* iterationHelper(LoopContext& loop, netsnmp_variable_list* vars) {
      if (!loop.it) {
         SNMP_TRACE(2, Policy::unit, Policy::name << "IterationHelper - iterator is at end");
         return nullptr;
      }
      netsnmp_variable_list* rest = vars;
      if constexpr (Policy::timeFiltered) {
         if (loop.timeMark) {
            SNMP_TRACE(2, Policy::unit,
                       Policy::name << "IterationHelper - Using existing TimeFilter "
                                    << Policy::timeMarkName << "=" << loop.timeMark);
         }
         const u_long mark = loop.timeMark;
         snmp_set_var_value(rest, &mark, sizeof mark);
         rest = rest->next_variable;
      }
      Index::KeyIndex<Key>::put(rest, loop.it.key());
      SNMP_TRACE(2, Policy::unit,
                 Policy::name << "IterationHelper - iterator has another value: " << Policy::keyName
                              << "=" << loop.it.key());
      return vars;
   }
};

// Defines the named net-snmp callbacks of a table over its frame:
// <table>_get_first_data_point, _get_next_data_point, _make_data_context,
// _free_data_context and _free_loop_context_at_end.
#define SNMP_TABLE_CALLBACKS(table, Policy)                                                    \
   netsnmp_variable_list* table##_get_first_data_point(void** loopContext, void** dataContext, \
                                                       netsnmp_variable_list* put,             \
                                                       netsnmp_iterator_info* info) {          \
      return ::Snmp::TableFrame<Policy>::firstDataPoint(loopContext, dataContext, put, info);  \
   }                                                                                           \
   netsnmp_variable_list* table##_get_next_data_point(void** loopContext, void** dataContext,  \
                                                      netsnmp_variable_list* put,              \
                                                      netsnmp_iterator_info* info) {           \
      return ::Snmp::TableFrame<Policy>::nextDataPoint(loopContext, dataContext, put, info);   \
   }                                                                                           \
   void* table##_make_data_context(void* loopContext, netsnmp_iterator_info* info) {           \
      return ::Snmp::TableFrame<Policy>::makeDataContext(loopContext, info);                   \
   }                                                                                           \
   void table##_free_data_context(void* dataContext, netsnmp_iterator_info* info) {            \
      ::Snmp::TableFrame<Policy>::freeDataContext(dataContext, info);                          \
   }                                                                                           \
   void table##_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info* info) {     \
      ::Snmp::TableFrame<Policy>::freeLoopContextAtEnd(loopContext, info);                     \
   }

}  // namespace Snmp
