#include "SnmpClient.h"

#include <charconv>
#include <cstdlib>
#include <iomanip>
#include <mutex>
#include <sstream>
#include <stdexcept>

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
// clang-format on

namespace Harness {

static_assert(AsnType::Gauge32 == ASN_GAUGE && AsnType::TimeTicks == ASN_TIMETICKS &&
              AsnType::NoSuchInstance == SNMP_NOSUCHINSTANCE &&
              ErrStat::NotWritable == SNMP_ERR_NOTWRITABLE);

namespace {

std::vector<oid> toNetSnmp(const Oid& id) {
   return {id.arcs().begin(), id.arcs().end()};
}

Oid fromNetSnmp(const oid* arcs, std::size_t length) {
   return Oid(std::vector<std::uint32_t>(arcs, arcs + length));
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
      case ASN_OCTET_STR:
         vb.bytes.assign(reinterpret_cast<const char*>(var.val.string), var.val_len);
         break;
      case ASN_OBJECT_ID:
         vb.objectId = fromNetSnmp(var.val.objid, var.val_len / sizeof(oid));
         break;
      default:
         break;  // NULL, the exception values and types the module never serves
   }
   return vb;
}

void initClientLibrary() {
   static std::once_flag once;
   std::call_once(once, [] {
      // Every OID here is numeric: no MIB files, no configuration, no persistent state.
      setenv("MIBS", "", 1);
      setenv("MIBDIRS", "", 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, 1);
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, 1);
      init_snmp("bridgesnmp-integration-tests");
   });
}

}  // namespace

Oid::Oid(const char* text) : Oid(std::string(text)) {}

Oid::Oid(const std::string& text) {
   const char* at = text.data() + (text.starts_with('.') ? 1 : 0);
   const char* const end = text.data() + text.size();
   while (at < end) {
      std::uint32_t arc = 0;
      const auto [next, ec] = std::from_chars(at, end, arc);
      if (ec != std::errc() || (next != end && (*next != '.' || next + 1 == end))) {
         throw std::invalid_argument("not a numeric OID: '" + text + "'");
      }
      arcs_.push_back(arc);
      at = next + 1;
   }
}

std::string Oid::str() const {
   std::string result;
   for (const std::uint32_t arc : arcs_) {
      result += (result.empty() ? "" : ".") + std::to_string(arc);
   }
   return result;
}

bool Oid::startsWith(const Oid& prefix) const {
   return prefix.size() <= size() &&
          std::equal(prefix.arcs_.begin(), prefix.arcs_.end(), arcs_.begin());
}

Oid Oid::operator+(const Oid& suffix) const {
   std::vector<std::uint32_t> result = arcs_;
   result.insert(result.end(), suffix.arcs_.begin(), suffix.arcs_.end());
   return Oid(std::move(result));
}

Oid Oid::child(std::uint32_t arc) const {
   return *this + Oid(std::vector<std::uint32_t>{arc});
}

std::strong_ordering Oid::operator<=>(const Oid& other) const {
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
   os << *this;
   return os.str();
}

std::ostream& operator<<(std::ostream& os, const Varbind& vb) {
   os << vb.oid << " = 0x" << std::hex << std::setw(2) << std::setfill('0') << int{vb.type}
      << std::dec << ": ";
   switch (vb.type) {
      case AsnType::OctetString:
         os << "hex";
         for (const unsigned char c : vb.bytes) {
            os << ' ' << std::hex << std::setw(2) << std::setfill('0') << int{c} << std::dec;
         }
         return os;
      case AsnType::ObjectId:
         return os << vb.objectId;
      default:
         return os << vb.integer;
   }
}

std::ostream& operator<<(std::ostream& os, const Response& response) {
   os << "errstat " << response.errstat << " index " << response.errindex << " [";
   for (const Varbind& vb : response.varbinds) {
      os << vb << "; ";
   }
   return os << "]";
}

std::ostream& operator<<(std::ostream& os, const GetResult& result) {
   return os << static_cast<const Varbind&>(result) << " (errstat " << result.errstat << ")";
}

SetValue::SetValue(Oid oid, char type, std::int64_t number)
    : oid(std::move(oid)), type(type), number(number) {}

SetValue::SetValue(Oid oid, char type, std::string text)
    : oid(std::move(oid)), type(type), text(std::move(text)) {}

SnmpClient::SnmpClient(const std::string& peer, const std::string& community, long timeoutMs,
                       int retries)
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
   settings.timeout = timeoutMs * 1000;
   settings.retries = retries;
   // snmp_sess_open copies what it keeps.
   session_ = snmp_sess_open(&settings);
   if (session_ == nullptr) {
      throw std::runtime_error("cannot open an SNMP session to " + peer);
   }
}

SnmpClient::SnmpClient(const std::string& peer, const UsmUser& user) : peer_(peer) {
   initClientLibrary();
   netsnmp_session settings;
   snmp_sess_init(&settings);
   settings.version = SNMP_VERSION_3;
   std::string peerName = peer;
   std::string name = user.name;
   settings.peername = peerName.data();
   settings.securityName = name.data();
   settings.securityNameLen = name.size();
   settings.securityLevel = SNMP_SEC_LEVEL_AUTHPRIV;
   settings.securityAuthProto =
       snmp_duplicate_objid(usmHMACSHA1AuthProtocol, USM_AUTH_PROTO_SHA_LEN);
   settings.securityAuthProtoLen = USM_AUTH_PROTO_SHA_LEN;
   settings.securityPrivProto = snmp_duplicate_objid(usmAESPrivProtocol, USM_PRIV_PROTO_AES_LEN);
   settings.securityPrivProtoLen = USM_PRIV_PROTO_AES_LEN;
   settings.securityAuthKeyLen = USM_AUTH_KU_LEN;
   settings.securityPrivKeyLen = USM_PRIV_KU_LEN;
   const auto key = [&](const std::string& passphrase, u_char* out, size_t* length) {
      std::string text = passphrase;
      if (generate_Ku(settings.securityAuthProto, settings.securityAuthProtoLen,
                      reinterpret_cast<u_char*>(text.data()), text.size(), out,
                      length) != SNMPERR_SUCCESS) {
         throw std::runtime_error("cannot make a key for SNMPv3 user " + user.name);
      }
   };
   key(user.authPassphrase, settings.securityAuthKey, &settings.securityAuthKeyLen);
   key(user.privPassphrase, settings.securityPrivKey, &settings.securityPrivKeyLen);
   session_ = snmp_sess_open(&settings);
   SNMP_FREE(settings.securityAuthProto);
   SNMP_FREE(settings.securityPrivProto);
   if (session_ == nullptr) {
      throw std::runtime_error("cannot open an SNMPv3 session to " + peer);
   }
}

SnmpClient::~SnmpClient() {
   snmp_sess_close(session_);
}

Response SnmpClient::send(void* request, const std::string& about) {
   netsnmp_pdu* reply = nullptr;
   // The library owns the request PDU from here on.
   const int status =
       snmp_sess_synch_response(session_, static_cast<netsnmp_pdu*>(request), &reply);
   if (status != STAT_SUCCESS || reply == nullptr) {
      snmp_free_pdu(reply);
      throw std::runtime_error("no response from " + peer_ + " to " + about);
   }
   Response response{reply->errstat, reply->errindex, {}};
   for (netsnmp_variable_list* var = reply->variables; var != nullptr; var = var->next_variable) {
      response.varbinds.push_back(fromNetSnmp(*var));
   }
   snmp_free_pdu(reply);
   return response;
}

Response SnmpClient::request(int command, const std::vector<Oid>& oids, int nonRepeaters,
                             int maxRepetitions) {
   netsnmp_pdu* pdu = snmp_pdu_create(command);
   pdu->non_repeaters = nonRepeaters;
   pdu->max_repetitions = maxRepetitions;
   for (const Oid& id : oids) {
      const std::vector<oid> name = toNetSnmp(id);
      snmp_add_null_var(pdu, name.data(), name.size());
   }
   return send(pdu, "a request about " + oids.front().str());
}

namespace {

GetResult single(Response response) {
   if (response.varbinds.size() != 1) {
      throw std::runtime_error("not one varbind in a response to one");
   }
   GetResult result;
   static_cast<Varbind&>(result) = std::move(response.varbinds.front());
   result.errstat = response.errstat;
   result.errindex = response.errindex;
   return result;
}

}  // namespace

GetResult SnmpClient::get(const Oid& oid) {
   return single(request(SNMP_MSG_GET, {oid}));
}

GetResult SnmpClient::getNext(const Oid& oid) {
   return single(request(SNMP_MSG_GETNEXT, {oid}));
}

Response SnmpClient::getMany(const std::vector<Oid>& oids) {
   return request(SNMP_MSG_GET, oids);
}

Response SnmpClient::getBulk(const Oid& oid, int maxRepetitions) {
   return getBulk(std::vector<Oid>{oid}, 0, maxRepetitions);
}

Response SnmpClient::getBulk(const std::vector<Oid>& oids, int nonRepeaters, int maxRepetitions) {
   return request(SNMP_MSG_GETBULK, oids, nonRepeaters, maxRepetitions);
}

// GETNEXT when maxRepetitions is 0, else GETBULK.
std::vector<Varbind> SnmpClient::bulkWalk(const Oid& subtree, int maxRepetitions) {
   std::vector<Varbind> result;
   Oid current = subtree;
   for (;;) {
      const Response response = maxRepetitions == 0 ? request(SNMP_MSG_GETNEXT, {current})
                                                    : getBulk(current, maxRepetitions);
      if (!response.ok() || response.varbinds.empty()) {
         std::ostringstream os;
         os << "walk of " << subtree << " at " << current << ": " << response;
         throw std::runtime_error(os.str());
      }
      for (const Varbind& vb : response.varbinds) {
         if (vb.isException() || !vb.oid.startsWith(subtree)) {
            return result;
         }
         if (vb.oid <= current) {
            throw std::runtime_error("walk of " + subtree.str() + " went back from " +
                                     current.str() + " to " + vb.oid.str());
         }
         result.push_back(vb);
         current = vb.oid;
      }
   }
}

Response SnmpClient::set(const std::vector<SetValue>& values) {
   netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_SET);
   for (const SetValue& value : values) {
      const std::vector<oid> name = toNetSnmp(value.oid);
      const std::string text = value.number ? std::to_string(*value.number) : value.text;
      // snmp_add_var parses the text the way snmpset does, except that it stops at a NUL.
      const int status =
          value.type == 's' ? (snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_OCTET_STR,
                                                     text.data(), text.size()),
                               0)
                            : snmp_add_var(pdu, name.data(), name.size(), value.type, text.c_str());
      if (status != 0) {
         snmp_free_pdu(pdu);
         throw std::invalid_argument("bad SET value for " + value.oid.str() + ": " + text);
      }
   }
   return send(pdu, "a SET");
}

}  // namespace Harness
