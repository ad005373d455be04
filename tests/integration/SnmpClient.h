#pragma once

// An SNMPv2c client for the integration tests, over net-snmp's client library. The type and
// error-status numbers are the protocol's; SnmpClient.cpp checks them against net-snmp's.

#include <compare>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace Harness {

// ASN.1/BER type tags of varbind values (RFC 2578, RFC 3416).
namespace AsnType {
constexpr std::uint8_t Integer = 0x02;
constexpr std::uint8_t OctetString = 0x04;
constexpr std::uint8_t Null = 0x05;
constexpr std::uint8_t ObjectId = 0x06;
constexpr std::uint8_t Counter32 = 0x41;
constexpr std::uint8_t Gauge32 = 0x42;  // also Unsigned32
constexpr std::uint8_t TimeTicks = 0x43;
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

// A numeric OBJECT IDENTIFIER, from dotted text ("1.3.6.1.2.1.17.1.3.0", a leading dot
// allowed) so that tests can pass literals; ordered the way SNMP orders OIDs.
class Oid {
 public:
   Oid() = default;
   Oid(const char* text);  // implicit on purpose
   Oid(const std::string& text);
   explicit Oid(std::vector<std::uint32_t> arcs) : arcs_(std::move(arcs)) {}

   const std::vector<std::uint32_t>& arcs() const { return arcs_; }
   std::size_t size() const { return arcs_.size(); }
   std::string str() const;
   // True if this OID is `prefix` or lies under it.
   bool startsWith(const Oid& prefix) const;
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
   std::int64_t integer = 0;  // INTEGER, Counter32, Gauge32, TimeTicks
   std::string bytes;         // OCTET STRING
   Oid objectId;              // OBJECT IDENTIFIER

   // noSuchObject, noSuchInstance or endOfMibView.
   bool isException() const;
   // As printed below.
   std::string str() const;
   bool operator==(const Varbind&) const = default;
};

// "1.3.6.1.2.1.17.1.3.0 = 0x02: 2": the OID, the type tag, the value.
std::ostream& operator<<(std::ostream& os, const Varbind& vb);

struct Response {
   long errstat = ErrStat::NoError;
   long errindex = 0;  // 1-based; 0 with noError
   std::vector<Varbind> varbinds;

   bool ok() const { return errstat == ErrStat::NoError; }
};

std::ostream& operator<<(std::ostream& os, const Response& response);

// The answer to a one-varbind request: the varbind and the PDU's error status.
struct GetResult : Varbind {
   long errstat = ErrStat::NoError;
   long errindex = 0;

   bool ok() const { return errstat == ErrStat::NoError; }
};

std::ostream& operator<<(std::ostream& os, const GetResult& result);

// One varbind of a SET, typed by snmpset's letters: 'i' INTEGER, 'u' Unsigned32, 'c' Counter32,
// 't' TimeTicks, 'a' IpAddress, 'o' OBJECT IDENTIFIER, 's' OCTET STRING (the bytes as given,
// NULs included), 'x' OCTET STRING in hex digits, 'n' NULL. The value is a number or text.
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

// An SNMPv3 user with authentication (SHA) and privacy (AES).
struct UsmUser {
   std::string name;
   std::string authPassphrase;
   std::string privPassphrase;
};

// SNMPv2c requests to one agent with one community, or SNMPv3 ones as one user. A request
// that gets no response throws std::runtime_error.
class SnmpClient {
 public:
   // `peer` as net-snmp takes it, e.g. "udp:127.0.0.1:16161".
   SnmpClient(const std::string& peer, const std::string& community, long timeoutMs = 2000,
              int retries = 2);
   SnmpClient(const std::string& peer, const UsmUser& user);
   ~SnmpClient();
   SnmpClient(const SnmpClient&) = delete;
   SnmpClient& operator=(const SnmpClient&) = delete;

   GetResult get(const Oid& oid);
   GetResult getNext(const Oid& oid);
   Response getMany(const std::vector<Oid>& oids);
   Response getBulk(const Oid& oid, int maxRepetitions);
   Response getBulk(const std::vector<Oid>& oids, int nonRepeaters, int maxRepetitions);
   // Every object under `subtree` in order, by GETBULK (by GETNEXT with no repetitions), up
   // to the end of the subtree or an exception value. Throws std::runtime_error on an error
   // status or on an OID not greater than the one before it.
   std::vector<Varbind> bulkWalk(const Oid& subtree, int maxRepetitions = 10);
   std::vector<Varbind> walk(const Oid& subtree) { return bulkWalk(subtree, 0); }
   // All varbinds in one SET PDU.
   Response set(const std::vector<SetValue>& values);

 private:
   Response send(void* pdu, const std::string& about);
   Response request(int command, const std::vector<Oid>& oids, int nonRepeaters = 0,
                    int maxRepetitions = 0);

   std::string peer_;
   void* session_ = nullptr;
};

}  // namespace Harness
