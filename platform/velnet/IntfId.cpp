#include "platform/velnet/IntfId.h"

namespace Velnet {
namespace {

bool isDigit(char c) {
   return c >= '0' && c <= '9';
}

}  // namespace

std::strong_ordering IntfId::naturalCompare(std::string_view a, std::string_view b) {
   std::size_t i = 0;
   std::size_t j = 0;
   while (i < a.size() && j < b.size()) {
      if (isDigit(a[i]) && isDigit(b[j])) {
         // Compare the two numbers: without leading zeros, the longer one is larger.
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
   // Equal but for leading zeros ("Et01" and "Et1"): plain order keeps the order total.
   return a.compare(b) <=> 0;
}

}  // namespace Velnet
