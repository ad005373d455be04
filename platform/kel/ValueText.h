#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/kel/String8.h"

namespace Kel {

// Text forms of values. valueToStrep(v) gives a value's printable representation;
// sequenceToValue<T>(text) reads it back. A type T takes part by providing, in its own
// namespace:
//   std::string valueToStrep(const T&);
//   T readValue(Kel::TextReader&, const T*);     // reads one T, leaves the rest
//   const char* valueTypeName(const T*);          // the name used in error texts
//
// Integers print in decimal, booleans as True/False, strings single-quoted with
// backslash escapes.

// A cursor over a value text with the reading steps the value parsers need. Failures
// raise Kel::ParseException; running out of input gives
// "premature end of value type <type>".
class TextReader {
 public:
   TextReader(std::string_view text, std::string typeName);

   // 1-based column of the next unread character.
   long long column() const { return static_cast<long long>(pos_) + 1; }
   const std::string& typeName() const { return typeName_; }
   std::string_view rest() const { return text_.substr(pos_); }

   void skipSpace();
   // True when only white space is left.
   bool atEnd();
   // Consumes `token` (after white space) when it comes next.
   bool tryConsume(std::string_view token);
   // Consumes `token` or fails.
   void expect(std::string_view token);
   // A single- or double-quoted string with backslash escapes.
   std::string readQuoted();
   // A run of letters, digits, '_' and ':'.
   std::string readWord();
   std::uint64_t readUnsigned();
   std::int64_t readSigned();
   double readDouble();

   [[noreturn]] void fail(const std::string& message) const;
   [[noreturn]] void failPremature() const;

 private:
   std::string_view text_;
   std::size_t pos_ = 0;
   std::string typeName_;
};

std::string valueToStrep(int v);
std::string valueToStrep(unsigned v);
std::string valueToStrep(long v);
std::string valueToStrep(unsigned long v);
std::string valueToStrep(long long v);
std::string valueToStrep(unsigned long long v);
std::string valueToStrep(double v);
std::string valueToStrep(bool v);
std::string valueToStrep(const String8& v);
std::string valueToStrep(const std::string& v);

int readValue(TextReader& r, const int*);
unsigned readValue(TextReader& r, const unsigned*);
long long readValue(TextReader& r, const long long*);
unsigned long long readValue(TextReader& r, const unsigned long long*);
double readValue(TextReader& r, const double*);
bool readValue(TextReader& r, const bool*);
String8 readValue(TextReader& r, const String8*);

inline const char* valueTypeName(const int*) {
   return "int";
}
inline const char* valueTypeName(const unsigned*) {
   return "unsigned";
}
inline const char* valueTypeName(const long long*) {
   return "long long";
}
inline const char* valueTypeName(const unsigned long long*) {
   return "unsigned long long";
}
inline const char* valueTypeName(const double*) {
   return "double";
}
inline const char* valueTypeName(const bool*) {
   return "bool";
}
inline const char* valueTypeName(const String8*) {
   return "Kel::String8";
}

// Raises "junk at column <n> deserializing <type>" when anything but white space is left.
void expectEndOfValue(TextReader& r);

template <class T>
T sequenceToValue(std::string_view text) {
   const T* tag = nullptr;
   TextReader reader(text, valueTypeName(tag));
   T value = readValue(reader, tag);
   expectEndOfValue(reader);
   return value;
}

}  // namespace Kel
