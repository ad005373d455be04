// The snmpd loop driver, run by a loop that does what snmpd's own does in each pass:
// select over net-snmp's fds and alarm timeout, dispatch the external fds, run the alarms.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/kel/ActivityManager.h"
#include "platform/kel/Time.h"
#include "plugin/SnmpdLoopDriver.h"
#include "snmp/NetSnmp.h"
#include "tests/support/PipeInput.h"

#include <net-snmp/library/large_fd_set.h>

namespace {

// One pass of snmpd's receive() loop, waiting at most `maxWait` seconds.
void snmpdLoopPass(double maxWait) {
   netsnmp_large_fd_set readfds;
   netsnmp_large_fd_set writefds;
   netsnmp_large_fd_set exceptfds;
   netsnmp_large_fd_set_init(&readfds, FD_SETSIZE);
   netsnmp_large_fd_set_init(&writefds, FD_SETSIZE);
   netsnmp_large_fd_set_init(&exceptfds, FD_SETSIZE);
   int numfds = 0;
   int block = 0;
   timeval timeout{static_cast<time_t>(maxWait),
                   static_cast<suseconds_t>((maxWait - static_cast<long>(maxWait)) * 1e6)};
   timeval capped = timeout;
   snmp_select_info2(&numfds, &readfds, &timeout, &block);
   netsnmp_external_event_info2(&numfds, &readfds, &writefds, &exceptfds);
   if (block || timercmp(&capped, &timeout, <)) {
      timeout = capped;
   }
   int count = netsnmp_large_fd_set_select(numfds, &readfds, &writefds, &exceptfds, &timeout);
   if (count > 0) {
      netsnmp_dispatch_external_events2(&count, &readfds, &writefds, &exceptfds);
   }
   run_alarms();
   netsnmp_large_fd_set_cleanup(&readfds);
   netsnmp_large_fd_set_cleanup(&writefds);
   netsnmp_large_fd_set_cleanup(&exceptfds);
}

class Slice : public Kel::Clock::NotifieeConst {
 public:
   explicit Slice(std::vector<std::string>* log) : log_(log) {}
   bool keepGoing = false;
   void onTime() override {
      log_->push_back("slice");
      if (keepGoing) {
         timeMinIs(Kel::timeAsap);
      }
   }

 private:
   std::vector<std::string>* log_;
};

bool alarmPending() {
   timeval delta{};
   return get_next_alarm_delay_time(&delta) != 0;
}

class SnmpdLoopDriverTest : public ::testing::Test {
 protected:
   static void SetUpTestSuite() {
      // As snmpd does: alarms are run by the loop, never by SIGALRM.
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
   }
   Kel::ActivityManager manager;
   std::vector<std::string> log;
};

TEST_F(SnmpdLoopDriverTest, SliceThatWantsMoreLeavesRoomForRequestsInBetween) {
   Plugin::SnmpdLoopDriver driver(manager);
   TestSupport::PipeInput requests(&log, "request");
   ASSERT_TRUE(manager.fdReactorIs(requests.readFd(), &requests));
   Slice slice(&log);
   slice.keepGoing = true;
   slice.notifierIs(manager.clock());
   slice.timeMinIs(Kel::timeAsap);

   // Each pass serves the pending request and runs exactly one slice: a slice that asks
   // to run again at once never runs twice before input is looked at.
   for (long pass = 1; pass <= 3; ++pass) {
      requests.arrive();
      snmpdLoopPass(1.0);
      EXPECT_EQ(std::count(log.begin(), log.end(), "request"), pass);
      EXPECT_EQ(std::count(log.begin(), log.end(), "slice"), pass);
   }
   EXPECT_FALSE(alarmPending()) << "a wake-up due now needs no alarm";
   manager.fdReactorDel(requests.readFd());
   slice.notifierIs(nullptr);
}

TEST_F(SnmpdLoopDriverTest, LaterWakeUpComesThroughAOneShotAlarm) {
   Plugin::SnmpdLoopDriver driver(manager);
   Slice slice(&log);
   slice.notifierIs(manager.clock());
   slice.timeMinIs(Kel::now() + 0.005);
   EXPECT_TRUE(alarmPending());

   const double deadline = Kel::now() + 5.0;
   while (log.empty() && Kel::now() < deadline) {
      snmpdLoopPass(0.5);
   }
   ASSERT_EQ(log, std::vector<std::string>{"slice"});
   snmpdLoopPass(0.0);
   EXPECT_EQ(log.size(), 1u) << "one-shot: no second wake-up";
   EXPECT_FALSE(alarmPending());
}

TEST_F(SnmpdLoopDriverTest, RemovingTheDriverUnregistersItsAlarmAndFds) {
   TestSupport::PipeInput requests(&log, "request");
   ASSERT_TRUE(manager.fdReactorIs(requests.readFd(), &requests));
   Slice slice(&log);
   slice.notifierIs(manager.clock());
   {
      Plugin::SnmpdLoopDriver driver(manager);
      slice.timeMinIs(Kel::now() + 3600.0);
      EXPECT_TRUE(alarmPending());
   }
   EXPECT_FALSE(alarmPending());
   requests.arrive();
   snmpdLoopPass(0.0);
   EXPECT_TRUE(log.empty()) << "no fd of ours is watched any more";
   manager.fdReactorDel(requests.readFd());
}

// An SNMP session of the process with a datagram waiting on its socket: what snmpd sees
// when a request has arrived.
class PendingRequest {
 public:
   PendingRequest() {
      netsnmp_session settings;
      snmp_sess_init(&settings);
      settings.peername = const_cast<char*>("udp:127.0.0.1:9");
      settings.version = SNMP_VERSION_2c;
      session_ = snmp_open(&settings);
      EXPECT_TRUE(session_);
      netsnmp_transport* transport = snmp_sess_transport(snmp_sess_pointer(session_));
      sockaddr_in local{};
      socklen_t length = sizeof local;
      EXPECT_EQ(::getsockname(transport->sock, reinterpret_cast<sockaddr*>(&local), &length), 0);
      sender_ = ::socket(AF_INET, SOCK_DGRAM, 0);
      EXPECT_EQ(::sendto(sender_, "x", 1, 0, reinterpret_cast<sockaddr*>(&local), length), 1);
   }
   ~PendingRequest() {
      ::close(sender_);
      snmp_close(session_);
   }

 private:
   netsnmp_session* session_ = nullptr;
   int sender_ = -1;
};

TEST_F(SnmpdLoopDriverTest, WaitingRequestGoesFirstButOnlyOnceInARow) {
   Plugin::SnmpdLoopDriver driver(manager);
   Slice slice(&log);
   slice.keepGoing = true;
   slice.notifierIs(manager.clock());
   slice.timeMinIs(Kel::timeAsap);
   {
      PendingRequest request;  // never read: it stays pending
      snmpdLoopPass(1.0);
      EXPECT_TRUE(log.empty()) << "the wake-up let the waiting request go first";
      snmpdLoopPass(1.0);
      EXPECT_EQ(log.size(), 1u) << "but not twice in a row";
      snmpdLoopPass(1.0);
      EXPECT_EQ(log.size(), 1u);
   }
   snmpdLoopPass(1.0);
   snmpdLoopPass(1.0);
   EXPECT_EQ(log.size(), 3u) << "with nothing waiting, a slice every pass";
   slice.notifierIs(nullptr);
}

}  // namespace
