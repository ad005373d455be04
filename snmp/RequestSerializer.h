#pragma once

#include "snmp/NetSnmp.h"

namespace Snmp {

// What the varbind now travelling down a table's handler chain asks for. The serializer
// sets it for the length of that one trip; anything else that reaches a table (a test, a
// fuzz target calling the callbacks) sees the default.
struct CurrentRequest {
   enum class Search {
      unknown,
      // A GET, or a SET's first check: only the row the index names can answer.
      exact,
      // A GETNEXT, or one repetition of a GETBULK: the answer lies strictly after the index
      // it names, so the row of that index is never the answer.
      next,
   };
   static inline Search search = Search::unknown;
   static bool searchingNext() { return search == Search::next; }
};

// The handler at the top of every table: passes the varbinds down the chain one at a time
// (the iterator takes its hint from the first varbind, so it must be the only one) and sets
// CurrentRequest for each.
netsnmp_mib_handler* makeRequestSerializer();

}  // namespace Snmp
