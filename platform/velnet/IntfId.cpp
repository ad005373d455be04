#include "platform/velnet/IntfId.h"

#include <unordered_map>

namespace Velnet {
namespace {

bool isDigit(char c) {
   return c >= '0' && c <= '9';
}

// Made on first use and never destroyed, as IntfIds with static storage may go
// during exit. The keys view the entries' own names.
template <class Entry>
std::unordered_map<std::string_view, Entry*>& internTable() {
   static auto* table = new std::unordered_map<std::string_view, Entry*>();
   return *table;
}

}  // namespace

IntfId::Entry* IntfId::intern(std::string_view name) {
   if (name.empty()) {
      return nullptr;
   }
   auto& table = internTable<Entry>();
   if (const auto found = table.find(name); found != table.end()) {
      ++found->second->uses;
      return found->second;
   }
   auto* entry = new Entry{Kel::String8(name), 1};
   table.emplace(entry->name.view(), entry);
   return entry;
}

void IntfId::drop(Entry* entry) {
   internTable<Entry>().erase(entry->name.view());
   delete entry;
}

const Kel::String8& IntfId::emptyName() {
   static const auto* empty = new Kel::String8();
   return *empty;
}

std::strong_ordering IntfId::naturalCompare(std::string_view a, std::string_view b) {
   std::size_t i = 0;
   std::size_t j = 0;
   while (i < a.size() && j < b.size()) {
      if (isDigit(a[i]) && isDigit(b[j])) {
         // Compare the two numbers: without leading zeros, the longer one is
         // larger.
         std::size_t ai = i;
         std::size_t bj = j;
         while (ai < a.size() && a[ai] == '0') {
            ++ai;
         }
         while (bj < b.size() && b[bj] == '0') {
            ++bj;
         }
         std::size_t aEnd = ai;
         std::size_t bEnd = bj;
         while (aEnd < a.size() && isDigit(a[aEnd])) {
            ++aEnd;
         }
         while (bEnd < b.size() && isDigit(b[bEnd])) {
            ++bEnd;
         }
         if (aEnd - ai != bEnd - bj) {
            return aEnd - ai <=> bEnd - bj;
         }
         if (const auto c = a.substr(ai, aEnd - ai).compare(b.substr(bj, bEnd - bj)); c != 0) {
            return c <=> 0;
         }
         i = aEnd;
         j = bEnd;
         continue;
      }
      if (a[i] != b[j]) {
         return a[i] <=> b[j];
      }
      ++i;
      ++j;
   }
   if (i < a.size() || j < b.size()) {
      return (a.size() - i) <=> (b.size() - j);
   }
   // Equal but for leading zeros ("Et01" and "Et1"): plain order keeps the order
   // total.
   return a.compare(b) <=> 0;
}

}  // namespace Velnet
