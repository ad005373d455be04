#pragma once

// A reader of the YAML files the simulated switch takes (its topology), that checks every
// value it reads and reports a problem as one line, "<file>:<line>: <problem>", with the
// line of the node at fault (counted from 1), raised as TopologyError.

#include <yaml-cpp/yaml.h>

#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bridging/VlanId.h"
#include "platform/sim/Topology.h"
#include "platform/velnet/EthAddr.h"

namespace Sim {

// The most interfaces one range may name.
constexpr std::uint64_t maxRangeSize = 4096;

// Makes any text fit on one line of an error message.
std::string oneLine(std::string_view text);
// How a node is named in an error message: a scalar by its text, others by their kind.
std::string shown(const YAML::Node& node);
// "a, b, c".
std::string joined(std::initializer_list<const char*> names);

// A whole decimal number, or nothing when the text is anything else.
template <class T>
std::optional<T> decimal(std::string_view text) {
   T value{};
   const char* end = text.data() + text.size();
   auto [ptr, ec] = std::from_chars(text.data(), end, value);
   if (text.empty() || ec != std::errc() || ptr != end) {
      return std::nullopt;
   }
   return value;
}

// A numbered run of interface names, "Ethernet1-48".
struct NameRange {
   std::string prefix;
   std::uint32_t first = 0;
   std::uint32_t last = 0;

   std::uint32_t size() const { return last - first + 1; }
   std::string name(std::uint32_t i) const { return prefix + std::to_string(first + i); }
};

// A mapping's entries by key, checked against the keys it may have.
class Fields {
 public:
   const YAML::Node* get(const std::string& key) const {
      auto it = values_.find(key);
      return it == values_.end() ? nullptr : &it->second;
   }
   bool has(const std::string& key) const { return values_.count(key) != 0; }
   int line = 1;
   std::string what;

 private:
   friend class YamlReader;
   std::map<std::string, YAML::Node> values_;
};

// The checked readers; a section parser derives from it.
class YamlReader {
 protected:
   explicit YamlReader(std::string name) : name_(std::move(name)) {}

   // ---- Errors ----

   [[noreturn]] void fail(int line, const std::string& problem) const {
      throw TopologyError(oneLine(name_ + ":" + std::to_string(line) + ": " + problem));
   }
   [[noreturn]] void fail(const YAML::Node& at, const std::string& problem) const {
      fail(lineOf(at), problem);
   }
   int lineOf(const YAML::Node& node, int fallback = 1) const {
      const int line = node.Mark().line;
      return line < 0 ? fallback : line + 1;
   }

   // ---- Structure ----

   // The entries of a mapping, refusing unknown and repeated keys.
   Fields fields(const YAML::Node& node, const std::string& what,
                 std::initializer_list<const char*> allowed) const {
      Fields out;
      out.line = lineOf(node);
      out.what = what;
      if (!node.IsMap()) {
         fail(node, what + " must be a mapping, not " + shown(node));
      }
      for (auto it = node.begin(); it != node.end(); ++it) {
         const YAML::Node key = it->first;
         if (!key.IsScalar()) {
            fail(key, "a key in " + what + " must be a name, not " + shown(key));
         }
         const std::string& k = key.Scalar();
         bool known = false;
         for (const char* a : allowed) {
            known = known || k == a;
         }
         if (!known) {
            fail(key, "unknown key '" + k + "' in " + what + " (expected " + joined(allowed) + ")");
         }
         if (out.values_.count(k) != 0) {
            fail(key, "duplicate key '" + k + "' in " + what);
         }
         out.values_.emplace(k, it->second);
      }
      return out;
   }

   // Calls `parseOne` for each entry of a section that is a sequence of mappings.
   template <class F>
   void eachEntry(const Fields& top, const char* section, F&& parseOne) const {
      const YAML::Node* n = top.get(section);
      if (n == nullptr || n->IsNull()) {
         return;
      }
      if (!n->IsSequence()) {
         fail(*n, std::string("'") + section + "' must be a sequence, not " + shown(*n));
      }
      for (const YAML::Node& entry : *n) {
         if (!entry.IsMap()) {
            fail(entry, "each entry of '" + std::string(section) + "' must be a mapping, not " +
                            shown(entry));
         }
         parseOne(entry);
      }
   }

   const YAML::Node& required(const Fields& f, const char* key) const {
      const YAML::Node* n = f.get(key);
      if (n == nullptr) {
         fail(f.line, f.what + " needs '" + key + "'");
      }
      return *n;
   }

   // The scalar text of a value; refuses sequences, mappings and empty values.
   const std::string& scalar(const YAML::Node& n, const char* key,
                             const std::string& expected) const {
      if (!n.IsScalar()) {
         fail(n, std::string("'") + key + "' must be " + expected + ", not " + shown(n));
      }
      return n.Scalar();
   }

   std::uint64_t unsignedValue(const YAML::Node& n, const char* key, std::uint64_t max,
                               bool hexAllowed = false) const {
      const std::string expected = "an integer 0-" + std::to_string(max);
      const std::string& text = scalar(n, key, expected);
      std::optional<std::uint64_t> v;
      if (hexAllowed && text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
         std::uint64_t value = 0;
         const char* end = text.data() + text.size();
         auto [ptr, ec] = std::from_chars(text.data() + 2, end, value, 16);
         if (ec == std::errc() && ptr == end) {
            v = value;
         }
      } else {
         v = decimal<std::uint64_t>(text);
      }
      if (!v || *v > max) {
         fail(n, std::string("'") + key + "' must be " + expected + ", not " + shown(n));
      }
      return *v;
   }

   bool boolean(const YAML::Node& n, const char* key) const {
      const std::string& text = scalar(n, key, "true or false");
      if (text == "true") {
         return true;
      }
      if (text == "false") {
         return false;
      }
      fail(n, std::string("'") + key + "' must be true or false, not " + shown(n));
   }

   Bridging::VlanId vlanId(const YAML::Node& n, const char* key) const {
      const std::string& text = scalar(n, key, "a VLAN id 1-4094");
      const auto v = decimal<std::uint64_t>(text);
      if (!v) {
         fail(n, std::string("'") + key + "' must be a VLAN id 1-4094, not " + shown(n));
      }
      if (*v < Bridging::VlanId::min || *v > Bridging::VlanId::max) {
         fail(n, "VLAN " + text + " is outside 1-4094");
      }
      return Bridging::VlanId(static_cast<std::uint32_t>(*v));
   }

   Velnet::EthAddr macAddr(const YAML::Node& n, const char* key) const {
      const std::string expected = "a MAC address like 00:1c:73:aa:bb:cc";
      const std::string& text = scalar(n, key, expected);
      const auto address = Velnet::EthAddr::parse(text);
      if (!address) {
         fail(n, std::string("'") + key + "' must be " + expected + ", not " + shown(n));
      }
      return *address;
   }

   // A host's address: unicast and not all zeros.
   Velnet::EthAddr hostAddr(const YAML::Node& n, const char* key) const {
      const Velnet::EthAddr address = macAddr(n, key);
      checkHostAddr(n, address);
      return address;
   }

   void checkHostAddr(const YAML::Node& at, const Velnet::EthAddr& address) const {
      if (address.isMulticast()) {
         fail(at, address.stringValue() + " is a multicast address, not a host");
      }
      if (address.isZero()) {
         fail(at, address.stringValue() + " is not a host address");
      }
   }

   std::string intfName(const YAML::Node& n, const char* key) const {
      const std::string expected = "an interface name like Ethernet1";
      const std::string& text = scalar(n, key, expected);
      bool ok = !text.empty();
      for (char c : text) {
         ok = ok && c > ' ' && c != 0x7f;
      }
      if (!ok) {
         fail(n, std::string("'") + key + "' must be " + expected + ", not " + shown(n));
      }
      return text;
   }

   NameRange nameRange(const YAML::Node& n, const char* key) const {
      const std::string expected = "a numbered run of interfaces like Ethernet1-48";
      const std::string& text = scalar(n, key, expected);
      const std::string badRange =
          std::string("'") + key + "' must be " + expected + ", not " + shown(n);
      const auto dash = text.rfind('-');
      if (dash == std::string::npos) {
         fail(n, badRange);
      }
      std::size_t digits = dash;
      while (digits > 0 && text[digits - 1] >= '0' && text[digits - 1] <= '9') {
         --digits;
      }
      NameRange r;
      r.prefix = text.substr(0, digits);
      const std::string firstText = text.substr(digits, dash - digits);
      const std::string lastText = text.substr(dash + 1);
      const auto firstValue =
          firstText.size() <= 9 ? decimal<std::uint32_t>(firstText) : std::nullopt;
      const auto lastValue = lastText.size() <= 9 ? decimal<std::uint32_t>(lastText) : std::nullopt;
      bool okPrefix = !r.prefix.empty();
      for (char c : r.prefix) {
         okPrefix = okPrefix && c > ' ' && c != 0x7f;
      }
      if (!okPrefix || !firstValue || !lastValue) {
         fail(n, badRange);
      }
      const std::uint32_t first = firstValue.value_or(0);
      const std::uint32_t last = lastValue.value_or(0);
      if ((firstText.size() > 1 && firstText[0] == '0') ||
          (lastText.size() > 1 && lastText[0] == '0')) {
         fail(n, "range " + text + ": numbers must not have leading zeros");
      }
      if (last < first) {
         fail(n, "range " + text + " runs backwards");
      }
      if (last - first + 1 > maxRangeSize) {
         fail(n,
              "range " + text + " names more than " + std::to_string(maxRangeSize) + " interfaces");
      }
      r.first = first;
      r.last = last;
      return r;
   }

   // The interfaces an entry names, with 'interface' (one) or 'range' (a numbered run).
   std::vector<std::string> interfaces(const Fields& f) const {
      const YAML::Node* one = f.get("interface");
      const YAML::Node* run = f.get("range");
      if (one != nullptr && run != nullptr) {
         fail(*run, f.what + " takes 'interface' or 'range', not both");
      }
      if (one == nullptr && run == nullptr) {
         fail(f.line, f.what + " needs 'interface' or 'range'");
      }
      if (one != nullptr) {
         return {intfName(*one, "interface")};
      }
      const NameRange r = nameRange(*run, "range");
      std::vector<std::string> out;
      for (std::uint32_t i = 0; i < r.size(); ++i) {
         out.push_back(r.name(i));
      }
      return out;
   }
   std::string name_;
};

}  // namespace Sim
