// Whole PDUs as a manager may send them, any OIDs and values, in BER: the agent with the
// module on the lab switch answers each one well-formed, and a refused SET changes nothing.
//
// snmpd's agent runs in the fuzzing process: net-snmp's agent library with the module loaded
// on the lab switch, started once by LLVMFuzzerInitialize with private configuration and
// persistent directories (no snmpd.conf of the machine is read) and a private control socket.
// Requests reach it through a session whose transport keeps the encoded answer.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "platform/bridging/InputConfig.h"
#include "platform/kel/ActivityManager.h"
#include "platform/kel/Time.h"
#include "platform/statedb/StateDb.h"
#include "plugin/PluginHost.h"
#include "snmp/NetSnmp.h"

namespace Fuzz {
namespace {

constexpr const char* appName = "bridgesnmp-fuzz";
constexpr char community[] = "public";

std::vector<u_char> sent;  // the last message the agent sent
netsnmp_session* session = nullptr;

// Aborts, naming the broken rule, so that libFuzzer keeps the input (which it prints).
void require(bool condition, const char* rule = "answer") {
   if (!condition) {
      std::fprintf(stderr, "broken: %s\n", rule);
      std::abort();
   }
}

int keepSent(netsnmp_transport*, const void* buf, int size, void**, int*) {
   const auto* bytes = static_cast<const u_char*>(buf);
   sent.assign(bytes, bytes + size);
   return size;
}

int closeNothing(netsnmp_transport*) {
   return 0;
}

char* formatAddress(netsnmp_transport*, const void*, int) {
   return strdup("fuzz");
}

// A session of the agent whose transport keeps what is sent instead of sending it.
netsnmp_session* openCapturingSession() {
   static const oid udpDomain[] = {1, 3, 6, 1, 6, 1, 1};
   auto* transport = static_cast<netsnmp_transport*>(calloc(1, sizeof(netsnmp_transport)));
   transport->domain = udpDomain;
   transport->domain_length = sizeof udpDomain / sizeof udpDomain[0];
   transport->sock = open("/dev/null", O_RDONLY);
   transport->msgMaxSize = 65507;
   transport->f_send = keepSent;
   transport->f_close = closeNothing;
   transport->f_fmtaddr = formatAddress;
   netsnmp_session settings;
   snmp_sess_init(&settings);
   settings.version = SNMP_VERSION_2c;
   settings.community = reinterpret_cast<u_char*>(const_cast<char*>(community));
   settings.community_len = sizeof community - 1;
   return snmp_add(&settings, transport, nullptr, nullptr);
}

// The switch's and the agent's work that is due now; bounded, as a wake-up may ask for more.
void runDueWork() {
   Kel::ActivityManager& manager = Kel::ActivityManager::instance();
   for (int pass = 0; pass < 64 && manager.nextWake() <= Kel::now(); ++pass) {
      manager.runDue();
   }
}

// The answer in `sent`, parsed as a v2c message; null when it is not one.
netsnmp_pdu* parseSent() {
   size_t length = sent.size();
   u_char type = 0;
   u_char* at =
       asn_parse_sequence(sent.data(), &length, &type, ASN_SEQUENCE | ASN_CONSTRUCTOR, "message");
   long version = -1;
   at = at ? asn_parse_int(at, &length, &type, &version, sizeof version) : nullptr;
   u_char name[64];
   size_t nameLength = sizeof name;
   at = at ? asn_parse_string(at, &length, &type, name, &nameLength) : nullptr;
   if (!at || version != SNMP_VERSION_2c) {
      return nullptr;
   }
   auto* answer = static_cast<netsnmp_pdu*>(calloc(1, sizeof(netsnmp_pdu)));
   answer->version = SNMP_VERSION_2c;
   if (snmp_pdu_parse(answer, at, &length) != 0) {
      snmp_free_pdu(answer);
      return nullptr;
   }
   return answer;
}

std::vector<const netsnmp_variable_list*> varbinds(const netsnmp_pdu& pdu) {
   std::vector<const netsnmp_variable_list*> list;
   for (const netsnmp_variable_list* v = pdu.variables; v; v = v->next_variable) {
      list.push_back(v);
   }
   return list;
}

int compare(const netsnmp_variable_list* a, const netsnmp_variable_list* b) {
   return snmp_oid_compare(a->name, a->name_length, b->name, b->name_length);
}

// A successor of `from`: strictly after it, or the end of the view at the same OID.
bool follows(const netsnmp_variable_list* next, const netsnmp_variable_list* from) {
   return next->type == SNMP_ENDOFMIBVIEW ? compare(next, from) >= 0 : compare(next, from) > 0;
}

void checkAnswer(const netsnmp_pdu& request, const netsnmp_pdu& answer) {
   const auto asked = varbinds(request);
   const auto got = varbinds(answer);
   require(answer.command == SNMP_MSG_RESPONSE && answer.reqid == request.reqid);
   require(answer.errstat >= SNMP_ERR_NOERROR && answer.errstat <= SNMP_ERR_INCONSISTENTNAME);
   require(answer.errindex >= 0 && answer.errindex <= static_cast<long>(asked.size()));
   if (answer.errstat == SNMP_ERR_TOOBIG) {
      return;
   }
   if (request.command != SNMP_MSG_GETBULK) {
      require(got.size() == asked.size());
      for (std::size_t i = 0; i < got.size(); ++i) {
         const bool forward = request.command == SNMP_MSG_GETNEXT && answer.errstat == 0;
         require(forward ? follows(got[i], asked[i]) : compare(got[i], asked[i]) == 0);
      }
      return;
   }
   if (answer.errstat != 0) {
      return;
   }
   // GETBULK: the non-repeaters once each, then rows of the repeaters, each column forward.
   const std::size_t n = asked.size();
   const std::size_t nonRepeaters = std::min<std::size_t>(std::max(request.errstat, 0L), n);
   const std::size_t columns = n - nonRepeaters;
   const std::size_t repetitions = static_cast<std::size_t>(std::max(request.errindex, 0L));
   require(got.size() <= nonRepeaters + repetitions * columns);
   for (std::size_t i = 0; i < got.size(); ++i) {
      if (i < nonRepeaters) {
         require(i < n && follows(got[i], asked[i]));
         continue;
      }
      require(columns > 0);
      // net-snmp 5.9 names a repeater's endOfMibView after another varbind of the request
      // (stock snmpd does it too), so only the values that are not the end move forward.
      const std::size_t k = i - nonRepeaters;
      const auto* previous = k < columns ? asked[nonRepeaters + k] : got[i - columns];
      require(got[i]->type == SNMP_ENDOFMIBVIEW || follows(got[i], previous));
   }
}

// The agent's private directory; removed when the fuzzer exits normally (a crash keeps it).
std::filesystem::path& agentDirectory() {
   static std::filesystem::path* dir = new std::filesystem::path();
   return *dir;
}

// The switch's input configuration (VLANs and switchports) as text, for comparisons.
std::string inputConfigText() {
   const auto config = Kel::ptrCast<Bridging::Input::Config>(
       SnmpUtil::getEntityRelative("Statedb/bridging/input/config"));
   require(config != nullptr);
   std::ostringstream text;
   for (auto it = config->vlanConfigIteratorConst(); it; ++it) {
      const auto& v = **it;
      text << "vlan " << it.key() << " '" << v.configuredName().stdString() << "' "
           << v.adminState() << ' ' << v.internal() << v.hidden() << ' ' << v.selectionWord()
           << '\n';
   }
   for (auto it = config->switchIntfConfigIteratorConst(); it; ++it) {
      const auto& s = **it;
      text << it.key() << ' ' << s.switchportMode() << ' ' << s.accessVlan() << ' '
           << s.trunkNativeVlan() << ' ' << s.trunkAllowedVlans().stdString() << '\n';
   }
   return text.str();
}

void startAgent() {
   const auto dir =
       std::filesystem::temp_directory_path() / ("bridgesnmp-fuzz-" + std::to_string(::getpid()));
   std::filesystem::create_directories(dir);
   agentDirectory() = dir;
   std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(agentDirectory(), ignored);
   });
   setenv("SNMPCONFPATH", dir.c_str(), 1);
   setenv("SNMP_PERSISTENT_DIR", dir.c_str(), 1);
   setenv("MIBS", "", 1);
   netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 0);
   init_agent(appName);
   Plugin::PluginHost::instance().load();
   const std::string socketLine = "bridgesnmpControlSocket " + (dir / "control.sock").string();
   netsnmp_config_remember(const_cast<char*>(socketLine.c_str()));
   init_snmp(appName);
   require(Plugin::PluginHost::instance().started());
   session = openCapturingSession();
   require(session != nullptr);
   runDueWork();
}

// Hands `request` to the agent as snmpd hands it a received PDU, then runs the switch's
// and the agent's work that is due, as snmpd's loop would between requests. Aborts unless
// the answer is one well-formed BER message answering the request by the rules of SNMPv2
// (same request id; GET and SET name the requested OIDs; GETNEXT and GETBULK move strictly
// forward or end the view) and a refused SET left the input configuration as it was.
void askAndCheck(netsnmp_pdu* request) {
   request->version = SNMP_VERSION_2c;
   request->flags |= UCD_MSG_FLAG_ALWAYS_IN_VIEW;
   free(request->community);
   request->community = reinterpret_cast<u_char*>(strdup(community));
   request->community_len = sizeof community - 1;
   const bool set = request->command == SNMP_MSG_SET;
   const std::string before = set ? inputConfigText() : std::string();
   sent.clear();
   handle_snmp_packet(NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE, session, request->reqid, request,
                      nullptr);
   runDueWork();
   netsnmp_pdu* answer = parseSent();
   require(answer != nullptr, "one well-formed message");
   checkAnswer(*request, *answer);
   require(!set || answer->errstat == 0 || inputConfigText() == before,
           "a refused SET changes nothing");
   snmp_free_pdu(answer);
}

}  // namespace
}  // namespace Fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
   Fuzz::startAgent();
   return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
   std::vector<u_char> ber(data, data + size);
   std::size_t remaining = ber.size();
   netsnmp_pdu* pdu = static_cast<netsnmp_pdu*>(calloc(1, sizeof(netsnmp_pdu)));
   pdu->version = SNMP_VERSION_2c;
   const bool parsed = snmp_pdu_parse(pdu, ber.data(), &remaining) == 0;
   // Only requests reach the agent's request handling; snmpd routes the rest elsewhere.
   switch (parsed ? pdu->command : 0) {
      case SNMP_MSG_GET:
      case SNMP_MSG_GETNEXT:
      case SNMP_MSG_GETBULK:
      case SNMP_MSG_SET:
         Fuzz::askAndCheck(pdu);
         break;
      default:
         break;
   }
   snmp_free_pdu(pdu);
   return 0;
}
