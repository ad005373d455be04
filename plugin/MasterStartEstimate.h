#pragma once

#include <cstddef>

namespace Plugin {

// Where a master agent's sysUpTime started, on our own Kel::now() clock, narrowed down from
// the replies to pings.
//
// The master stamps each reply with its up-time in whole hundredths, truncated, read at some
// moment between our send and our receipt. net-snmp moves the subagent's start to
// (receipt - stamp), which is late by the reply's travel and the truncated fraction: up to a
// tick and more under load, enough for a change made between two reads of the master's
// sysUpTime to be stamped outside them. One reply bounds the true start S from both sides:
//
//    start - (receivedAt - sentAt) - one tick  <  S  <=  start
//
// where `start` is the subagent's start just after the reply. Replies whose fractions fall
// just after and just before a tick boundary narrow the bounds to about one round trip; a
// burst of pings that spans a tick boundary has both.
class MasterStartEstimate {
 public:
   static constexpr double tick = 0.01;

   // One ping: our clock before sending and after the reply, and the start net-snmp derived
   // from it. A reply that contradicts the bounds held (the master restarted, or a clock was
   // stepped) starts the estimate over from that reply alone.
   void sample(double sentAt, double receivedAt, double derivedStart);

   bool known() const { return samples_ > 0; }
   std::size_t samples() const { return samples_; }
   // The middle of the bounds, the best estimate of S (meaningful when known()).
   double start() const { return (lower_ + upper_) / 2; }
   // How far apart the bounds are: S lies within half of it from start().
   double width() const { return upper_ - lower_; }

 private:
   // A microsecond either side for net-snmp's timevals, which truncate.
   static constexpr double slack = 2e-6;

   double lower_ = 0.0;
   double upper_ = 0.0;
   std::size_t samples_ = 0;
};

}  // namespace Plugin
