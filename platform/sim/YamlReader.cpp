#include "platform/sim/YamlReader.h"

namespace Sim {

// Makes any text fit on one line of an error message.
std::string oneLine(std::string_view text) {
   std::string out;
   for (char c : text) {
      if (c == '\n') {
         out += "\\n";
      } else if (c == '\t') {
         out += "\\t";
      } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
         out += '?';
      } else {
         out += c;
      }
   }
   return out;
}

// How a node is named in an error message: a scalar by its text, others by their kind.
std::string shown(const YAML::Node& node) {
   if (node.IsScalar()) {
      std::string text = node.Scalar();
      if (text.size() > 40) {
         text = text.substr(0, 37) + "...";
      }
      return "'" + text + "'";
   }
   if (node.IsSequence()) {
      return "a sequence";
   }
   if (node.IsMap()) {
      return "a mapping";
   }
   return "nothing";
}

std::string joined(std::initializer_list<const char*> names) {
   std::string out;
   for (const char* name : names) {
      if (!out.empty()) {
         out += ", ";
      }
      out += name;
   }
   return out;
}

}  // namespace Sim
