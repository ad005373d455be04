#pragma once

#include <compare>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/kel/String8.h"
#include "platform/kel/ValueText.h"

namespace Velnet {

// An interface's identifier: its name ("Ethernet1", "Port-Channel3").
class IntfId {
 public:
   IntfId() = default;
   IntfId(Kel::String8 name) : name_(std::move(name)) {}
   IntfId(const char* name) : name_(name) {}
   IntfId(std::string name) : name_(std::move(name)) {}

   const Kel::String8& stringValue() const { return name_; }
   const char* charPtr() const { return name_.charPtr(); }
   bool empty() const { return name_.empty(); }

   friend bool operator==(const IntfId&, const IntfId&) = default;
   // Natural order, as a switch lists its interfaces: "Ethernet2" before "Ethernet10".
   friend std::strong_ordering operator<=>(const IntfId& a, const IntfId& b) {
      return naturalCompare(a.name_.view(), b.name_.view());
   }
   friend std::ostream& operator<<(std::ostream& os, const IntfId& id) { return os << id.name_; }

 private:
   static std::strong_ordering naturalCompare(std::string_view a, std::string_view b);
   Kel::String8 name_;
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
