#include "platform/kel/ValueText.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <limits>

#include "platform/kel/Exception.h"

namespace Kel {
namespace {

std::string quote(std::string_view s) {
   std::string out = "'";
   for (char c : s) {
      if (c == '\'' || c == '\\') {
         out += '\\';
      }
      out += c;
   }
   out += '\'';
   return out;
}

template <class N>
N checkedNarrow(TextReader& r, long long wide) {
   if (wide < static_cast<long long>(std::numeric_limits<N>::min()) ||
       wide > static_cast<long long>(std::numeric_limits<N>::max())) {
      r.fail("value out of range");
   }
   return static_cast<N>(wide);
}

}  // namespace

TextReader::TextReader(std::string_view text, std::string typeName)
    : text_(text), typeName_(std::move(typeName)) {}

void TextReader::skipSpace() {
   while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) {
      ++pos_;
   }
}

bool TextReader::atEnd() {
   skipSpace();
   return pos_ >= text_.size();
}

bool TextReader::tryConsume(std::string_view token) {
   skipSpace();
   if (text_.substr(pos_, token.size()) == token) {
      pos_ += token.size();
      return true;
   }
   return false;
}

void TextReader::expect(std::string_view token) {
   if (tryConsume(token)) {
      return;
   }
   // Input that stops inside the expected token ran out, rather than being wrong.
   const bool truncatedToken = text_.size() - pos_ < token.size() &&
                               token.substr(0, text_.size() - pos_) == text_.substr(pos_);
   if (atEnd() || truncatedToken) {
      failPremature();
   }
   fail("expected '" + std::string(token) + "'");
}

std::string TextReader::readQuoted() {
   skipSpace();
   if (pos_ >= text_.size()) {
      failPremature();
   }
   const char q = text_[pos_];
   if (q != '\'' && q != '"') {
      fail("expected a quoted string");
   }
   ++pos_;
   std::string out;
   while (pos_ < text_.size() && text_[pos_] != q) {
      if (text_[pos_] == '\\') {
         ++pos_;
         if (pos_ >= text_.size()) {
            break;
         }
      }
      out += text_[pos_++];
   }
   if (pos_ >= text_.size()) {
      failPremature();
   }
   ++pos_;  // closing quote
   return out;
}

std::string TextReader::readWord() {
   skipSpace();
   const std::size_t start = pos_;
   while (pos_ < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[pos_])) ||
                                  text_[pos_] == '_' || text_[pos_] == ':')) {
      ++pos_;
   }
   if (start == pos_) {
      if (pos_ >= text_.size()) {
         failPremature();
      }
      fail("expected a word");
   }
   return std::string(text_.substr(start, pos_ - start));
}

std::uint64_t TextReader::readUnsigned() {
   skipSpace();
   if (pos_ >= text_.size()) {
      failPremature();
   }
   std::uint64_t v = 0;
   auto [end, ec] = std::from_chars(text_.data() + pos_, text_.data() + text_.size(), v);
   if (ec != std::errc()) {
      fail(ec == std::errc::result_out_of_range ? "value out of range" : "expected a number");
   }
   pos_ = static_cast<std::size_t>(end - text_.data());
   return v;
}

std::int64_t TextReader::readSigned() {
   skipSpace();
   if (pos_ >= text_.size()) {
      failPremature();
   }
   std::int64_t v = 0;
   auto [end, ec] = std::from_chars(text_.data() + pos_, text_.data() + text_.size(), v);
   if (ec != std::errc()) {
      fail(ec == std::errc::result_out_of_range ? "value out of range" : "expected a number");
   }
   pos_ = static_cast<std::size_t>(end - text_.data());
   return v;
}

double TextReader::readDouble() {
   skipSpace();
   if (pos_ >= text_.size()) {
      failPremature();
   }
   if (tryConsume("inf")) {
      return std::numeric_limits<double>::infinity();
   }
   if (tryConsume("-inf")) {
      return -std::numeric_limits<double>::infinity();
   }
   double v = 0;
   auto [end, ec] = std::from_chars(text_.data() + pos_, text_.data() + text_.size(), v);
   if (ec != std::errc()) {
      fail("expected a number");
   }
   pos_ = static_cast<std::size_t>(end - text_.data());
   return v;
}

void TextReader::fail(const std::string& message) const {
   throw ParseException(message + " at column " + std::to_string(column()) + " deserializing " +
                        typeName_);
}

void TextReader::failPremature() const {
   throw ParseException("premature end of value type " + typeName_);
}

void expectEndOfValue(TextReader& r) {
   if (!r.atEnd()) {
      char text[256];
      std::snprintf(text, sizeof text, "junk at column %lld deserializing %s", r.column(),
                    r.typeName().c_str());
      throw ParseException(text);
   }
}

std::string valueToStrep(int v) {
   return std::to_string(v);
}
std::string valueToStrep(unsigned v) {
   return std::to_string(v);
}
std::string valueToStrep(long v) {
   return std::to_string(v);
}
std::string valueToStrep(unsigned long v) {
   return std::to_string(v);
}
std::string valueToStrep(long long v) {
   return std::to_string(v);
}
std::string valueToStrep(unsigned long long v) {
   return std::to_string(v);
}
std::string valueToStrep(double v) {
   char text[64];
   std::snprintf(text, sizeof text, "%.17g", v);
   return text;
}
std::string valueToStrep(bool v) {
   return v ? "True" : "False";
}
std::string valueToStrep(const String8& v) {
   return quote(v.view());
}
std::string valueToStrep(const std::string& v) {
   return quote(v);
}

int readValue(TextReader& r, const int*) {
   return checkedNarrow<int>(r, r.readSigned());
}
unsigned readValue(TextReader& r, const unsigned*) {
   const std::uint64_t v = r.readUnsigned();
   if (v > std::numeric_limits<unsigned>::max()) {
      r.fail("value out of range");
   }
   return static_cast<unsigned>(v);
}
long long readValue(TextReader& r, const long long*) {
   return r.readSigned();
}
unsigned long long readValue(TextReader& r, const unsigned long long*) {
   return r.readUnsigned();
}
double readValue(TextReader& r, const double*) {
   return r.readDouble();
}
bool readValue(TextReader& r, const bool*) {
   if (r.tryConsume("True")) {
      return true;
   }
   if (r.tryConsume("False")) {
      return false;
   }
   if (r.atEnd()) {
      r.failPremature();
   }
   r.fail("expected True or False");
}
String8 readValue(TextReader& r, const String8*) {
   return String8(r.readQuoted());
}

}  // namespace Kel
