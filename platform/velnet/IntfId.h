#pragma once

#include <compare>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "platform/kel/String8.h"
#include "platform/kel/ValueText.h"

namespace Velnet {

// An interface's identifier: its name ("Ethernet1", "Port-Channel3").
//
// Names are interned: every IntfId of one name shares one counted copy of it,
// so an IntfId is one pointer wide, copying one costs a count, and equal names
// compare by address. A switch has a few hundred interface names and holds them
// in millions of forwarding rows and host records. A name leaves the table with
// its last IntfId. Like the rest of the framework's values, IntfIds live on one
// thread.
class IntfId {
 public:
   IntfId() = default;
   IntfId(const Kel::String8& name) : entry_(intern(name.view())) {}
   IntfId(const char* name) : entry_(intern(name ? std::string_view(name) : std::string_view())) {}
   IntfId(const std::string& name) : entry_(intern(name)) {}
   IntfId(const IntfId& other) noexcept : entry_(other.entry_) {
      if (entry_) {
         ++entry_->uses;
      }
   }
   IntfId(IntfId&& other) noexcept : entry_(std::exchange(other.entry_, nullptr)) {}
   IntfId& operator=(IntfId other) noexcept {
      std::swap(entry_, other.entry_);
      return *this;
   }
   ~IntfId() {
      if (entry_ && --entry_->uses == 0) {
         drop(entry_);
      }
   }

   const Kel::String8& stringValue() const { return entry_ ? entry_->name : emptyName(); }
   const char* charPtr() const { return stringValue().charPtr(); }
   bool empty() const { return entry_ == nullptr; }

   friend bool operator==(const IntfId& a, const IntfId& b) { return a.entry_ == b.entry_; }
   // Natural order, as a switch lists its interfaces: "Ethernet2" before
   // "Ethernet10".
   friend std::strong_ordering operator<=>(const IntfId& a, const IntfId& b) {
      if (a.entry_ == b.entry_) {
         return std::strong_ordering::equal;
      }
      return naturalCompare(a.stringValue().view(), b.stringValue().view());
   }
   friend std::ostream& operator<<(std::ostream& os, const IntfId& id) {
      return os << id.stringValue();
   }

 private:
   struct Entry {
      Kel::String8 name;
      std::size_t uses;
   };
   // The shared entry of a name, counted once more; null for the empty name.
   static Entry* intern(std::string_view name);
   static void drop(Entry* entry);
   static const Kel::String8& emptyName();
   static std::strong_ordering naturalCompare(std::string_view a, std::string_view b);

   Entry* entry_ = nullptr;
};

inline std::string valueToStrep(const IntfId& id) {
   return Kel::valueToStrep(id.stringValue());
}
inline IntfId readValue(Kel::TextReader& r, const IntfId*) {
   return IntfId(r.readQuoted());
}
inline const char* valueTypeName(const IntfId*) {
   return "Velnet::IntfId";
}

}  // namespace Velnet

template <>
struct std::hash<Velnet::IntfId> {
   std::size_t operator()(const Velnet::IntfId& id) const noexcept {
      return std::hash<Kel::String8>()(id.stringValue());
   }
};
