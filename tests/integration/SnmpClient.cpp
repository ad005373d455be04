#include "SnmpClient.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <iomanip>
#include <iterator>
#include <mutex>
#include <sstream>

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
// clang-format on

namespace Harness {

static_assert(AsnType::Integer == ASN_INTEGER);
static_assert(AsnType::OctetString == ASN_OCTET_STR);
static_assert(AsnType::Null == ASN_NULL);
static_assert(AsnType::ObjectId == ASN_OBJECT_ID);
static_assert(AsnType::IpAddress == ASN_IPADDRESS);
static_assert(AsnType::Counter32 == ASN_COUNTER);
static_assert(AsnType::Gauge32 == ASN_GAUGE);
static_assert(AsnType::TimeTicks == ASN_TIMETICKS);
static_assert(AsnType::Opaque == ASN_OPAQUE);
static_assert(AsnType::Counter64 == ASN_COUNTER64);
static_assert(AsnType::NoSuchObject == SNMP_NOSUCHOBJECT);
static_assert(AsnType::NoSuchInstance == SNMP_NOSUCHINSTANCE);
static_assert(AsnType::EndOfMibView == SNMP_ENDOFMIBVIEW);
static_assert(ErrStat::TooBig == SNMP_ERR_TOOBIG);
static_assert(ErrStat::GenErr == SNMP_ERR_GENERR);
static_assert(ErrStat::NoAccess == SNMP_ERR_NOACCESS);
static_assert(ErrStat::WrongType == SNMP_ERR_WRONGTYPE);
static_assert(ErrStat::WrongValue == SNMP_ERR_WRONGVALUE);
static_assert(ErrStat::NoCreation == SNMP_ERR_NOCREATION);
static_assert(ErrStat::InconsistentValue == SNMP_ERR_INCONSISTENTVALUE);
static_assert(ErrStat::AuthorizationError == SNMP_ERR_AUTHORIZATIONERROR);
static_assert(ErrStat::NotWritable == SNMP_ERR_NOTWRITABLE);
static_assert(ErrStat::InconsistentName == SNMP_ERR_INCONSISTENTNAME);

namespace {

// A walk longer than this is taken to be an agent going round in circles.
constexpr std::size_t walkLimit = 100000;

std::vector<oid> toNetSnmp(const Oid& id) {
   if (id.size() > MAX_OID_LEN) {
      throw std::invalid_argument("OID longer than " + std::to_string(MAX_OID_LEN) +
                                  " sub-identifiers: " + id.str());
   }
   return {id.arcs().begin(), id.arcs().end()};
}

Oid fromNetSnmp(const oid* arcs, std::size_t length) {
   std::vector<std::uint32_t> result;
   result.reserve(length);
   for (std::size_t i = 0; i < length; ++i) {
      result.push_back(static_cast<std::uint32_t>(arcs[i]));
   }
   return Oid(std::move(result));
}

Varbind fromNetSnmp(const netsnmp_variable_list& var) {
   Varbind vb;
   vb.oid = fromNetSnmp(var.name, var.name_length);
   vb.type = var.type;
   switch (var.type) {
      case ASN_INTEGER:
         vb.integer = *var.val.integer;
         break;
      case ASN_COUNTER:
      case ASN_GAUGE:
      case ASN_TIMETICKS:
         vb.integer = static_cast<std::int64_t>(*var.val.integer & 0xffffffffUL);
         break;
      case ASN_COUNTER64:
         vb.counter64 = (static_cast<std::uint64_t>(var.val.counter64->high) << 32) |
                        (var.val.counter64->low & 0xffffffffUL);
         break;
      case ASN_OCTET_STR:
      case ASN_IPADDRESS:
      case ASN_OPAQUE:
         vb.bytes.assign(reinterpret_cast<const char*>(var.val.string), var.val_len);
         break;
      case ASN_OBJECT_ID:
         vb.objectId = fromNetSnmp(var.val.objid, var.val_len / sizeof(oid));
         break;
      default:
         break;  // NULL and the exception values carry nothing
   }
   return vb;
}

std::int64_t parseNumber(const SetValue& value) {
   if (value.number) {
      return *value.number;
   }
   std::int64_t result = 0;
   const char* first = value.text.data();
   const char* last = first + value.text.size();
   const auto [end, ec] = std::from_chars(first, last, result);
   if (ec != std::errc() || end != last) {
      throw std::invalid_argument("not a number for SET of " + value.oid.str() + ": '" +
                                  value.text + "'");
   }
   return result;
}

unsigned long parseUnsigned32(const SetValue& value) {
   const std::int64_t n = parseNumber(value);
   if (n < 0 || n > 0xffffffffLL) {
      throw std::invalid_argument("not an unsigned 32-bit value for SET of " + value.oid.str());
   }
   return static_cast<unsigned long>(n);
}

std::string parseHex(const SetValue& value) {
   std::string digits;
   for (char c : value.text) {
      if (std::isxdigit(static_cast<unsigned char>(c))) {
         digits += c;
      } else if (!std::isspace(static_cast<unsigned char>(c))) {
         throw std::invalid_argument("not hex for SET of " + value.oid.str() + ": '" + value.text +
                                     "'");
      }
   }
   if (digits.size() % 2 != 0) {
      throw std::invalid_argument("odd number of hex digits for SET of " + value.oid.str());
   }
   std::string bytes;
   for (std::size_t i = 0; i < digits.size(); i += 2) {
      bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
   }
   return bytes;
}

void addSetVarbind(netsnmp_pdu* pdu, const SetValue& value) {
   const std::vector<oid> name = toNetSnmp(value.oid);
   switch (value.type) {
      case 'i': {
         const long n = static_cast<long>(parseNumber(value));
         snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_INTEGER, &n, sizeof n);
         return;
      }
      case 'u':
      case 'c':
      case 't': {
         const unsigned long n = parseUnsigned32(value);
         const u_char type = value.type == 'u'   ? ASN_GAUGE
                             : value.type == 'c' ? ASN_COUNTER
                                                 : ASN_TIMETICKS;
         snmp_pdu_add_variable(pdu, name.data(), name.size(), type, &n, sizeof n);
         return;
      }
      case 'a': {
         in_addr addr{};
         if (inet_pton(AF_INET, value.text.c_str(), &addr) != 1) {
            throw std::invalid_argument("not an IPv4 address for SET of " + value.oid.str());
         }
         snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_IPADDRESS, &addr, 4);
         return;
      }
      case 'o': {
         const std::vector<oid> target = toNetSnmp(Oid(value.text));
         snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_OBJECT_ID, target.data(),
                               target.size() * sizeof(oid));
         return;
      }
      case 's':
      case 'x': {
         const std::string bytes = value.type == 's' ? value.text : parseHex(value);
         snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_OCTET_STR, bytes.data(),
                               bytes.size());
         return;
      }
      case 'n':
         snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_NULL, nullptr, 0);
         return;
      default:
         throw std::invalid_argument(std::string("unknown SET type letter '") + value.type +
                                     "' for " + value.oid.str());
   }
}

std::string printable(const std::string& bytes) {
   bool text = true;
   for (unsigned char c : bytes) {
      if (!std::isprint(c)) {
         text = false;
      }
   }
   std::ostringstream os;
   if (text) {
      os << '"' << bytes << '"';
   } else {
      os << "Hex:" << std::hex << std::setfill('0');
      for (unsigned char c : bytes) {
         os << ' ' << std::setw(2) << static_cast<int>(c);
      }
   }
   return os.str();
}

}  // namespace

const char* asnTypeName(std::uint8_t type) {
   switch (type) {
      case AsnType::Integer:
         return "INTEGER";
      case AsnType::OctetString:
         return "OCTET STRING";
      case AsnType::Null:
         return "NULL";
      case AsnType::ObjectId:
         return "OBJECT IDENTIFIER";
      case AsnType::IpAddress:
         return "IpAddress";
      case AsnType::Counter32:
         return "Counter32";
      case AsnType::Gauge32:
         return "Gauge32";
      case AsnType::TimeTicks:
         return "TimeTicks";
      case AsnType::Opaque:
         return "Opaque";
      case AsnType::Counter64:
         return "Counter64";
      case AsnType::NoSuchObject:
         return "noSuchObject";
      case AsnType::NoSuchInstance:
         return "noSuchInstance";
      case AsnType::EndOfMibView:
         return "endOfMibView";
      default:
         return "unknown type";
   }
}

const char* errStatName(long errstat) {
   static const char* const names[] = {"noError",
                                       "tooBig",
                                       "noSuchName",
                                       "badValue",
                                       "readOnly",
                                       "genErr",
                                       "noAccess",
                                       "wrongType",
                                       "wrongLength",
                                       "wrongEncoding",
                                       "wrongValue",
                                       "noCreation",
                                       "inconsistentValue",
                                       "resourceUnavailable",
                                       "commitFailed",
                                       "undoFailed",
                                       "authorizationError",
                                       "notWritable",
                                       "inconsistentName"};
   if (errstat < 0 || errstat >= static_cast<long>(std::size(names))) {
      return "unknown error status";
   }
   return names[errstat];
}

Oid::Oid(const char* text) : Oid(std::string(text ? text : "")) {}

Oid::Oid(const std::string& text) {
   std::size_t pos = (!text.empty() && text.front() == '.') ? 1 : 0;
   while (pos < text.size()) {
      std::uint32_t arc = 0;
      const char* first = text.data() + pos;
      const char* last = text.data() + text.size();
      const auto [end, ec] = std::from_chars(first, last, arc);
      const bool trailingDot = end != last && *end == '.' && end + 1 == last;
      if (ec != std::errc() || (end != last && *end != '.') || trailingDot) {
         throw std::invalid_argument("not a numeric OID: '" + text + "'");
      }
      arcs_.push_back(arc);
      pos = static_cast<std::size_t>(end - text.data()) + 1;
   }
   if (arcs_.empty()) {
      throw std::invalid_argument("not a numeric OID: '" + text + "'");
   }
}

std::string Oid::str() const {
   std::string result;
   for (std::size_t i = 0; i < arcs_.size(); ++i) {
      if (i > 0) {
         result += '.';
      }
      result += std::to_string(arcs_[i]);
   }
   return result;
}

bool Oid::startsWith(const Oid& prefix) const {
   return prefix.arcs_.size() <= arcs_.size() &&
          std::equal(prefix.arcs_.begin(), prefix.arcs_.end(), arcs_.begin());
}

Oid Oid::operator+(const Oid& suffix) const {
   std::vector<std::uint32_t> result = arcs_;
   result.insert(result.end(), suffix.arcs_.begin(), suffix.arcs_.end());
   return Oid(std::move(result));
}

Oid Oid::child(std::uint32_t arc) const {
   std::vector<std::uint32_t> result = arcs_;
   result.push_back(arc);
   return Oid(std::move(result));
}

std::strong_ordering Oid::operator<=>(const Oid& other) const {
   // Lexicographic by sub-identifier, a prefix before everything under it: SNMP's order.
   return std::lexicographical_compare_three_way(arcs_.begin(), arcs_.end(), other.arcs_.begin(),
                                                 other.arcs_.end());
}

std::ostream& operator<<(std::ostream& os, const Oid& oid) {
   return os << oid.str();
}

bool Varbind::isException() const {
   return type == AsnType::NoSuchObject || type == AsnType::NoSuchInstance ||
          type == AsnType::EndOfMibView;
}

std::string Varbind::str() const {
   std::ostringstream os;
   os << oid << " = ";
   switch (type) {
      case AsnType::Integer:
      case AsnType::Counter32:
      case AsnType::Gauge32:
      case AsnType::TimeTicks:
         os << asnTypeName(type) << ": " << integer;
         break;
      case AsnType::Counter64:
         os << asnTypeName(type) << ": " << counter64;
         break;
      case AsnType::OctetString:
      case AsnType::IpAddress:
      case AsnType::Opaque:
         os << asnTypeName(type) << ": " << printable(bytes);
         break;
      case AsnType::ObjectId:
         os << asnTypeName(type) << ": " << objectId;
         break;
      default:
         os << asnTypeName(type);
         break;
   }
   return os.str();
}

std::ostream& operator<<(std::ostream& os, const Varbind& vb) {
   return os << vb.str();
}

std::ostream& operator<<(std::ostream& os, const Response& response) {
   os << errStatName(response.errstat) << "(" << response.errstat << ") index " << response.errindex
      << " [";
   for (std::size_t i = 0; i < response.varbinds.size(); ++i) {
      os << (i > 0 ? "; " : "") << response.varbinds[i];
   }
   return os << "]";
}

std::ostream& operator<<(std::ostream& os, const GetResult& result) {
   os << static_cast<const Varbind&>(result);
   if (!result.ok()) {
      os << " (" << errStatName(result.errstat) << "(" << result.errstat << ") index "
         << result.errindex << ")";
   }
   return os;
}

SetValue::SetValue(Oid oid, char type, std::int64_t number)
    : oid(std::move(oid)), type(type), number(number) {}

SetValue::SetValue(Oid oid, char type, std::string text)
    : oid(std::move(oid)), type(type), text(std::move(text)) {}

void initClientLibrary() {
   static std::once_flag once;
   std::call_once(once, [] {
      // No MIB files are wanted: every OID here is numeric.
      setenv("MIBS", "", 1);
      setenv("MIBDIRS", "", 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, 1);
      netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_MIB_WARNINGS, 0);
      init_snmp("bridgesnmp-integration-tests");
   });
}

struct SnmpClient::Request {
   netsnmp_pdu* pdu;  // handed to the library by send()
   std::string what;  // for error messages
};

SnmpClient::SnmpClient(const std::string& peer, const std::string& community, ClientTiming timing)
    : peer_(peer) {
   initClientLibrary();
   netsnmp_session settings;
   snmp_sess_init(&settings);
   settings.version = SNMP_VERSION_2c;
   std::string peerName = peer;
   std::string communityName = community;
   settings.peername = peerName.data();
   settings.community = reinterpret_cast<u_char*>(communityName.data());
   settings.community_len = communityName.size();
   settings.timeout = static_cast<long>(
       std::chrono::duration_cast<std::chrono::microseconds>(timing.timeout).count());
   settings.retries = timing.retries;
   // snmp_sess_open copies what it keeps, so the strings above may go.
   session_ = snmp_sess_open(&settings);
   if (session_ == nullptr) {
      throw SnmpError("cannot open an SNMP session to " + peer + ": " +
                      snmp_api_errstring(snmp_errno));
   }
}

SnmpClient::~SnmpClient() {
   if (session_ != nullptr) {
      snmp_sess_close(session_);
   }
}

std::optional<Response> SnmpClient::send(Request& request) {
   netsnmp_pdu* reply = nullptr;
   // The library owns the request PDU from here on, whatever happens.
   const int status = snmp_sess_synch_response(session_, request.pdu, &reply);
   request.pdu = nullptr;
   if (status != STAT_SUCCESS || reply == nullptr) {
      if (reply != nullptr) {
         snmp_free_pdu(reply);
      }
      return std::nullopt;
   }
   Response response;
   response.errstat = reply->errstat;
   response.errindex = reply->errindex;
   for (netsnmp_variable_list* var = reply->variables; var != nullptr; var = var->next_variable) {
      response.varbinds.push_back(fromNetSnmp(*var));
   }
   snmp_free_pdu(reply);
   return response;
}

Response SnmpClient::request(Request& request) {
   std::optional<Response> response = send(request);
   if (!response) {
      throw SnmpError("no response from " + peer_ + " to " + request.what);
   }
   return std::move(*response);
}

GetResult SnmpClient::single(Response response, const Oid& asked) {
   if (response.varbinds.size() != 1) {
      throw SnmpError("expected one varbind in the response about " + asked.str() + ", got " +
                      std::to_string(response.varbinds.size()));
   }
   GetResult result;
   static_cast<Varbind&>(result) = std::move(response.varbinds.front());
   result.errstat = response.errstat;
   result.errindex = response.errindex;
   return result;
}

namespace {

netsnmp_pdu* requestPdu(int command, const std::vector<Oid>& oids) {
   netsnmp_pdu* pdu = snmp_pdu_create(command);
   for (const Oid& id : oids) {
      const std::vector<oid> name = toNetSnmp(id);
      snmp_add_null_var(pdu, name.data(), name.size());
   }
   return pdu;
}

std::string describe(const char* command, const std::vector<Oid>& oids) {
   std::string result = command;
   for (const Oid& id : oids) {
      result += " " + id.str();
   }
   return result;
}

}  // namespace

GetResult SnmpClient::get(const Oid& oid) {
   return single(getMany({oid}), oid);
}

GetResult SnmpClient::getNext(const Oid& oid) {
   return single(getNextMany({oid}), oid);
}

Response SnmpClient::getMany(const std::vector<Oid>& oids) {
   Request req{requestPdu(SNMP_MSG_GET, oids), describe("GET", oids)};
   return request(req);
}

Response SnmpClient::getNextMany(const std::vector<Oid>& oids) {
   Request req{requestPdu(SNMP_MSG_GETNEXT, oids), describe("GETNEXT", oids)};
   return request(req);
}

Response SnmpClient::getBulk(const Oid& oid, int maxRepetitions) {
   return getBulk(std::vector<Oid>{oid}, 0, maxRepetitions);
}

Response SnmpClient::getBulk(const std::vector<Oid>& oids, int nonRepeaters, int maxRepetitions) {
   Request req{requestPdu(SNMP_MSG_GETBULK, oids), describe("GETBULK", oids)};
   req.pdu->non_repeaters = nonRepeaters;
   req.pdu->max_repetitions = maxRepetitions;
   return request(req);
}

std::optional<Response> SnmpClient::tryGet(const std::vector<Oid>& oids) {
   Request req{requestPdu(SNMP_MSG_GET, oids), describe("GET", oids)};
   return send(req);
}

namespace {

// Checks one step of a walk; false when the walk has left the subtree or ended.
bool walkStep(const Oid& subtree, const Oid& previous, const Varbind& vb,
              std::vector<Varbind>& result) {
   if (vb.isException() || !vb.oid.startsWith(subtree)) {
      return false;
   }
   if (vb.oid <= previous) {
      throw WalkError("OID not increasing in walk of " + subtree.str() + ": " + vb.oid.str() +
                      " after " + previous.str());
   }
   if (result.size() >= walkLimit) {
      throw WalkError("walk of " + subtree.str() + " passed " + std::to_string(walkLimit) +
                      " objects");
   }
   result.push_back(vb);
   return true;
}

void checkWalkResponse(const Oid& subtree, const Oid& asked, const Response& response) {
   if (!response.ok()) {
      std::ostringstream os;
      os << "error in walk of " << subtree << " at " << asked << ": " << response;
      throw WalkError(os.str());
   }
   if (response.varbinds.empty()) {
      throw WalkError("empty response in walk of " + subtree.str() + " at " + asked.str());
   }
}

}  // namespace

std::vector<Varbind> SnmpClient::walk(const Oid& subtree) {
   std::vector<Varbind> result;
   Oid current = subtree;
   for (;;) {
      const Response response = getNextMany({current});
      checkWalkResponse(subtree, current, response);
      if (!walkStep(subtree, current, response.varbinds.front(), result)) {
         return result;
      }
      current = result.back().oid;
   }
}

std::vector<Varbind> SnmpClient::bulkWalk(const Oid& subtree, int maxRepetitions) {
   std::vector<Varbind> result;
   Oid current = subtree;
   for (;;) {
      const Response response = getBulk(current, maxRepetitions);
      checkWalkResponse(subtree, current, response);
      for (const Varbind& vb : response.varbinds) {
         if (!walkStep(subtree, current, vb, result)) {
            return result;
         }
         current = vb.oid;
      }
   }
}

Response SnmpClient::set(const std::vector<SetValue>& values) {
   netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_SET);
   std::string what = "SET";
   try {
      for (const SetValue& value : values) {
         addSetVarbind(pdu, value);
         what += " " + value.oid.str();
      }
   } catch (...) {
      snmp_free_pdu(pdu);
      throw;
   }
   Request req{pdu, what};
   return request(req);
}

}  // namespace Harness
