#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

namespace Kel {

// The framework's byte string: built from a C string (optionally with a length),
// read back as a NUL-terminated C string with charPtr(). Bytes may include NULs.
class String8 {
 public:
   String8() = default;
   String8(const char* s) : s_(s ? s : "") {}
   String8(const char* s, std::size_t length) : s_(s ? std::string(s, length) : std::string()) {}
   String8(std::string s) : s_(std::move(s)) {}
   String8(std::string_view s) : s_(s) {}

   const char* charPtr() const { return s_.c_str(); }
   std::size_t size() const { return s_.size(); }
   bool empty() const { return s_.empty(); }
   const std::string& stdString() const { return s_; }
   std::string_view view() const { return s_; }

   friend bool operator==(const String8&, const String8&) = default;
   friend std::strong_ordering operator<=>(const String8& a, const String8& b) {
      return a.s_.compare(b.s_) <=> 0;
   }
   friend std::ostream& operator<<(std::ostream& os, const String8& s) { return os << s.s_; }

 private:
   std::string s_;
};

// The name an entity or state machine is constructed with.
class Name {
 public:
   Name() = default;
   Name(const char* s) : s_(s) {}
   Name(String8 s) : s_(std::move(s)) {}
   Name(std::string s) : s_(std::move(s)) {}

   const String8& string() const { return s_; }
   const char* charPtr() const { return s_.charPtr(); }

   friend bool operator==(const Name&, const Name&) = default;
   friend std::strong_ordering operator<=>(const Name& a, const Name& b) { return a.s_ <=> b.s_; }
   friend std::ostream& operator<<(std::ostream& os, const Name& n) { return os << n.s_; }

 private:
   String8 s_;
};

}  // namespace Kel

template <>
struct std::hash<Kel::String8> {
   std::size_t operator()(const Kel::String8& s) const noexcept {
      return std::hash<std::string_view>()(s.view());
   }
};
template <>
struct std::hash<Kel::Name> {
   std::size_t operator()(const Kel::Name& n) const noexcept {
      return std::hash<Kel::String8>()(n.string());
   }
};
