#include "platform/snmputil/Converters.h"

#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>

#include "platform/kel/Assert.h"
#include "platform/kel/Exception.h"
#include "platform/snmputil/AsnTypes.h"

namespace Snmp {
namespace {

// Zero until the plug-in records the real start at load, so that nothing depends on when
// the first up-time value happened to be asked for.
std::atomic<double> startTime{0.0};

// An OBJECT IDENTIFIER carries at most 128 sub-identifiers (net-snmp's MAX_OID_LEN).
constexpr std::size_t maxOidLength = 128;

// Copies `size` bytes when they fit in `len`; the count, or -1 with nothing written.
int writeBytes(const void* value, std::size_t size, unsigned char* buf, int len) {
   if (len < 0 || size > static_cast<std::size_t>(len)) {
      return -1;
   }
   if (size > 0) {
      std::memcpy(buf, value, size);
   }
   return static_cast<int>(size);
}

// net-snmp takes a 4-byte value of an integer type as a C int (INTEGER) or unsigned int
// (the unsigned types) and widens it to its long; a value of any other size it would
// treat differently, so both forms are always exactly four bytes.
static_assert(sizeof(int) == 4 && sizeof(unsigned int) == 4);

int writeU32(std::uint32_t value, unsigned char* buf, int len) {
   const unsigned int v = value;
   return writeBytes(&v, sizeof(v), buf, len);
}

// Reads the long that net-snmp keeps an integer-type value in; `value` need not be
// aligned.
long readLong(const void* value) {
   KEL_ASSERT(value != nullptr);
   long v = 0;
   std::memcpy(&v, value, sizeof(v));
   return v;
}

// Parses dotted decimal into `out`; the number of sub-identifiers, or 0 when malformed.
std::size_t parseOid(const std::string& text, std::array<AsnOid, maxOidLength>& out) {
   std::size_t count = 0;
   std::size_t i = 0;
   const std::size_t n = text.size();
   while (true) {
      if (i >= n || text[i] < '0' || text[i] > '9') {
         return 0;  // empty sub-identifier, stray character or trailing dot
      }
      std::uint64_t sub = 0;
      while (i < n && text[i] >= '0' && text[i] <= '9') {
         sub = sub * 10 + static_cast<std::uint64_t>(text[i] - '0');
         if (sub > std::numeric_limits<std::uint32_t>::max()) {
            return 0;
         }
         ++i;
      }
      if (count == maxOidLength) {
         return 0;
      }
      out[count++] = static_cast<AsnOid>(sub);
      if (i == n) {
         break;
      }
      if (text[i] != '.') {
         return 0;
      }
      ++i;
   }
   return count >= 2 ? count : 0;
}

}  // namespace

double agentStartTime() {
   return startTime.load(std::memory_order_relaxed);
}

void agentStartTimeIs(double seconds) {
   startTime.store(seconds, std::memory_order_relaxed);
}

double NowSecondsToUptimeSeconds(double nowSeconds) {
   const double up = nowSeconds - agentStartTime();
   return up > 0.0 ? up : 0.0;
}

std::uint32_t SecondsToTimeTicks(double seconds) {
   // Also refuses NaN, which compares false.
   if (!(seconds > 0.0) || !std::isfinite(seconds)) {
      return 0;
   }
   // Whole hundredths elapsed. The small allowance keeps a time such as 12.34 s, whose
   // binary form is a hair below, at 1234 ticks rather than 1233.
   const double hundredths = std::floor(seconds * 100.0 + 1e-6);
   return static_cast<std::uint32_t>(std::fmod(hundredths, 4294967296.0));
}

int U32ToAsnUnsignedF::operator()(std::uint32_t value, unsigned char* buf, int len) const {
   return writeU32(value, buf, len);
}

int S32ToAsnIntegerF::operator()(std::int32_t value, unsigned char* buf, int len) const {
   const int v = value;
   return writeBytes(&v, sizeof(v), buf, len);
}

int U64ToCounter32F::operator()(std::uint64_t value, unsigned char* buf, int len) const {
   return writeU32(static_cast<std::uint32_t>(value & 0xffffffffu), buf, len);
}

int StringToAsnOctetStringF::operator()(const std::string& value, unsigned char* buf,
                                        int len) const {
   return writeBytes(value.data(), value.size(), buf, len);
}

int StringToAsnOidF::operator()(const std::string& value, unsigned char* buf, int len) const {
   std::array<AsnOid, maxOidLength> subIds{};
   const std::size_t count = parseOid(value, subIds);
   if (count == 0) {
      return -1;
   }
   return writeBytes(subIds.data(), count * sizeof(AsnOid), buf, len);
}

int NowSecondsToUptimeTimeTicksF::operator()(double nowSeconds, unsigned char* buf, int len) const {
   return writeU32(SecondsToTimeTicks(NowSecondsToUptimeSeconds(nowSeconds)), buf, len);
}

int VelnetEthAddrToAsnOctetStringF::operator()(const Velnet::EthAddr& value, unsigned char* buf,
                                               int len) const {
   const std::array<std::uint8_t, 6> octets = value.octets();
   return writeBytes(octets.data(), octets.size(), buf, len);
}

std::int32_t AsnIntegerToS32(const void* value) {
   const long v = readLong(value);
   if (v < std::numeric_limits<std::int32_t>::min() ||
       v > std::numeric_limits<std::int32_t>::max()) {
      throw Kel::RangeException("INTEGER value out of 32-bit range");
   }
   return static_cast<std::int32_t>(v);
}

std::uint32_t AsnUnsignedToU32(const void* value) {
   const long v = readLong(value);
   if (v < 0 || static_cast<unsigned long>(v) > std::numeric_limits<std::uint32_t>::max()) {
      throw Kel::RangeException("Unsigned32 value out of range 0 to 4294967295");
   }
   return static_cast<std::uint32_t>(v);
}

Velnet::EthAddr AsnOctetStringToVelnetEthAddr(const void* value, int len) {
   std::array<std::uint8_t, 6> octets{};
   if (value == nullptr || len != static_cast<int>(octets.size())) {
      throw Kel::RangeException("MAC address must be 6 octets");
   }
   std::memcpy(octets.data(), value, octets.size());
   return Velnet::EthAddr(octets);
}

}  // namespace Snmp
