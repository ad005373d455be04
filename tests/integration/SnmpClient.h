#pragma once

// An SNMPv2c client for integration tests, on net-snmp's client library. This header keeps
// net-snmp's own headers (and their macros) out of the tests; the type and error-status
// numbers below are the protocol's, checked against net-snmp's in SnmpClient.cpp.

#include <chrono>
#include <compare>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harness {

// ASN.1/BER type tags of varbind values (RFC 2578, RFC 3416).
namespace AsnType {
constexpr std::uint8_t Integer = 0x02;
constexpr std::uint8_t OctetString = 0x04;
constexpr std::uint8_t Null = 0x05;
constexpr std::uint8_t ObjectId = 0x06;
constexpr std::uint8_t IpAddress = 0x40;
constexpr std::uint8_t Counter32 = 0x41;
constexpr std::uint8_t Gauge32 = 0x42;  // also Unsigned32
constexpr std::uint8_t TimeTicks = 0x43;
constexpr std::uint8_t Opaque = 0x44;
constexpr std::uint8_t Counter64 = 0x46;
constexpr std::uint8_t NoSuchObject = 0x80;
constexpr std::uint8_t NoSuchInstance = 0x81;
constexpr std::uint8_t EndOfMibView = 0x82;
}  // namespace AsnType

// PDU error-status values (RFC 3416).
namespace ErrStat {
constexpr long NoError = 0;
constexpr long TooBig = 1;
constexpr long NoSuchName = 2;
constexpr long BadValue = 3;
constexpr long ReadOnly = 4;
constexpr long GenErr = 5;
constexpr long NoAccess = 6;
constexpr long WrongType = 7;
constexpr long WrongLength = 8;
constexpr long WrongEncoding = 9;
constexpr long WrongValue = 10;
constexpr long NoCreation = 11;
constexpr long InconsistentValue = 12;
constexpr long ResourceUnavailable = 13;
constexpr long CommitFailed = 14;
constexpr long UndoFailed = 15;
constexpr long AuthorizationError = 16;
constexpr long NotWritable = 17;
constexpr long InconsistentName = 18;
}  // namespace ErrStat

const char* asnTypeName(std::uint8_t type);
const char* errStatName(long errstat);

// A numeric OBJECT IDENTIFIER. Converts from dotted text ("1.3.6.1.2.1.17.1.3.0", a leading
// dot allowed) so tests can pass string literals; orders the way SNMP does.
class Oid {
 public:
   Oid() = default;
   Oid(const char* text);  // implicit, so that tests can pass literals
   Oid(const std::string& text);
   explicit Oid(std::vector<std::uint32_t> arcs) : arcs_(std::move(arcs)) {}

   const std::vector<std::uint32_t>& arcs() const { return arcs_; }
   std::size_t size() const { return arcs_.size(); }
   bool empty() const { return arcs_.empty(); }
   std::string str() const;

   // True if this OID is `prefix` or lies in the subtree under it.
   bool startsWith(const Oid& prefix) const;
   // This OID with `suffix` appended, e.g. column + index.
   Oid operator+(const Oid& suffix) const;
   Oid child(std::uint32_t arc) const;

   bool operator==(const Oid&) const = default;
   std::strong_ordering operator<=>(const Oid& other) const;

 private:
   std::vector<std::uint32_t> arcs_;
};

std::ostream& operator<<(std::ostream& os, const Oid& oid);

// One variable binding as received.
struct Varbind {
   Oid oid;
   std::uint8_t type = AsnType::Null;
   // INTEGER (signed), Counter32, Gauge32/Unsigned32, TimeTicks.
   std::int64_t integer = 0;
   std::uint64_t counter64 = 0;
   // OCTET STRING, IpAddress (4 bytes), Opaque.
   std::string bytes;
   // OBJECT IDENTIFIER.
   Oid objectId;

   // noSuchObject, noSuchInstance or endOfMibView.
   bool isException() const;
   // "1.3.6.1.2.1.17.1.3.0 = INTEGER: 2"
   std::string str() const;

   bool operator==(const Varbind&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Varbind& vb);

// A response PDU.
struct Response {
   long errstat = ErrStat::NoError;
   long errindex = 0;  // 1-based; 0 when errstat is noError
   std::vector<Varbind> varbinds;

   bool ok() const { return errstat == ErrStat::NoError; }
};

std::ostream& operator<<(std::ostream& os, const Response& response);

// The answer to a single-varbind request: the varbind plus the PDU's error status.
struct GetResult : Varbind {
   long errstat = ErrStat::NoError;
   long errindex = 0;

   bool ok() const { return errstat == ErrStat::NoError; }
};

std::ostream& operator<<(std::ostream& os, const GetResult& result);

// One varbind of a SET request. The type letter is snmpset's:
//   'i' INTEGER, 'u' Unsigned32/Gauge32, 'c' Counter32, 't' TimeTicks,
//   'a' IpAddress (dotted quad), 'o' OBJECT IDENTIFIER (dotted), 's' OCTET STRING (the bytes
//   as given, NULs included), 'x' OCTET STRING (hex digits, spaces ignored), 'n' NULL.
// The value is either a number ({oid, 'i', 3}) or text ({oid, 'i', "3"}, {oid, 's', "abc"}).
struct SetValue {
   SetValue(Oid oid, char type, std::int64_t number);
   SetValue(Oid oid, char type, std::string text);
   SetValue(Oid oid, char type, const char* text)
       : SetValue(std::move(oid), type, std::string(text)) {}

   Oid oid;
   char type;
   std::optional<std::int64_t> number;
   std::string text;
};

// A request got no response: timed out or could not be sent.
class SnmpError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// A walk met something a correct agent never returns (an OID that does not increase, an
// error status) or ran past its bound.
class WalkError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

struct ClientTiming {
   std::chrono::milliseconds timeout = std::chrono::milliseconds(2000);
   int retries = 2;
};

// SNMPv2c requests to one agent with one community, over a net-snmp single session.
// Requests throw SnmpError when no response arrives.
class SnmpClient {
 public:
   // `peer` is a net-snmp transport address, e.g. "udp:127.0.0.1:16161".
   SnmpClient(const std::string& peer, const std::string& community, ClientTiming timing = {});
   ~SnmpClient();
   SnmpClient(const SnmpClient&) = delete;
   SnmpClient& operator=(const SnmpClient&) = delete;

   GetResult get(const Oid& oid);
   GetResult getNext(const Oid& oid);
   Response getMany(const std::vector<Oid>& oids);
   Response getNextMany(const std::vector<Oid>& oids);
   Response getBulk(const Oid& oid, int maxRepetitions);
   Response getBulk(const std::vector<Oid>& oids, int nonRepeaters, int maxRepetitions);
   // Every object under `subtree` in order, by GETNEXT (bulkWalk: GETBULK). Stops at the end of
   // the subtree or at an exception value; throws WalkError if the agent returns an error
   // status or an OID not greater than the one asked about.
   std::vector<Varbind> walk(const Oid& subtree);
   std::vector<Varbind> bulkWalk(const Oid& subtree, int maxRepetitions = 10);
   // All varbinds in one SET PDU.
   Response set(const std::vector<SetValue>& values);

   // Like getMany(), but returns nothing instead of throwing when no response arrives.
   std::optional<Response> tryGet(const std::vector<Oid>& oids);

 private:
   struct Request;
   std::optional<Response> send(Request& request);
   Response request(Request& request);
   GetResult single(Response response, const Oid& asked);

   std::string peer_;
   void* session_ = nullptr;
};

// Calls init_snmp() for the client library once per process, with MIB loading and
// configuration and persistent files turned off.
void initClientLibrary();

}  // namespace Harness
