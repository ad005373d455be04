#pragma once

#include <string>

#include "snmp/NetSnmp.h"

// snmpd's agent in the fuzzing process: net-snmp's agent library with the module loaded on
// the lab switch, answering PDUs through a session whose transport keeps the encoded answer.
namespace Fuzz {

// The agent is started once, by the LLVMFuzzerInitialize defined with it: private
// configuration and persistent directories (no snmpd.conf of the machine is read) and a
// private control socket.

// Hands `request` to the agent as snmpd hands it a received PDU, then runs the switch's
// and the agent's work that is due, as snmpd's loop would between requests. Aborts unless
// the answer is one well-formed BER message answering the request by the rules of SNMPv2
// (same request id; GET and SET name the requested OIDs; GETNEXT and GETBULK move strictly
// forward or end the view) and a refused SET left the input configuration as it was.
void askAndCheck(netsnmp_pdu* request);

// The switch's input configuration (VLANs and switchports) as text, for comparisons.
std::string inputConfigText();

}  // namespace Fuzz
