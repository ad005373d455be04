#pragma once

#include <atomic>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace Kel {

// One trace facility ("Snmp", "BridgeSnmpAgent", "SnmpConversion", ...). Messages carry
// a level from 0 (set-up failures) to 9 (most detailed); a message is emitted when its
// level is at or below the facility's level. Levels come from the BRIDGESNMP_TRACE
// environment variable ("Snmp/2,BridgeSnmpAgent/8", "*/3") and from setTraceLevels().
// Handles of the same name share their level.
class TraceHandle {
 public:
   explicit TraceHandle(const char* facility);
   ~TraceHandle();
   TraceHandle(const TraceHandle&) = delete;
   TraceHandle& operator=(const TraceHandle&) = delete;

   const char* facility() const { return facility_; }
   bool enabled(int level) const { return level <= level_.load(std::memory_order_relaxed); }
   int level() const { return level_.load(std::memory_order_relaxed); }
   void levelIs(int level) { level_.store(level, std::memory_order_relaxed); }

 private:
   const char* facility_;
   std::atomic<int> level_;
};

// The framework's own facility, "Kel": entities, reactors and exceptions.
TraceHandle& kelTrace();

// Levels a facility starts with when nothing configures it.
inline constexpr int defaultTraceLevel = 0;

// Applies level settings such as "Snmp/2,BridgeSnmpAgent/8" or "*/3" to the
// existing handles and to handles created later. Returns false, changing nothing, when
// the text is malformed or names a facility no handle has; `error` then says why. (A
// facility whose handle is made on first use must make it at load to be named.)
bool setTraceLevels(std::string_view settings, std::string* error = nullptr);
// Applies BRIDGESNMP_TRACE again (it is read once when the first handle is made).
// Returns false when the variable is malformed.
bool applyTraceEnvironment();
// The level a facility has now (its configured or default level).
int traceLevel(std::string_view facility);

struct TraceRecord {
   const char* facility;
   int level;
   std::string_view source;  // the source file's base name without extension
   int line;
   std::string_view message;
};

class TraceSink {
 public:
   virtual ~TraceSink() = default;
   virtual void write(const TraceRecord& record) = 0;
};

// Where messages go: stderr unless replaced (snmpd's log inside the agent, memory in tests).
void traceSinkIs(std::shared_ptr<TraceSink> sink);
std::shared_ptr<TraceSink> traceSink();

// Formats the source name from a file path and hands the record to the sink.
void traceHelper(const TraceHandle& handle, int level, const char* file, int line,
                 std::string_view message);

// The standard text form of a record: "Facility/level Source:line: message".
std::string formatTraceRecord(const TraceRecord& record);

// Writes one message: formats it with `write` and hands it to traceHelper. Cold and out of
// line, so that a trace site costs its caller only the level check and a call that the
// compiler moves away from the hot code.
template <class Write>
[[gnu::cold, gnu::noinline]] void traceFormatted(const TraceHandle& handle, int level,
                                                 const char* source, int line, const Write& write) {
   std::ostringstream stream;
   write(stream);
   traceHelper(handle, level, source, line, stream.str());
}

}  // namespace Kel

// Emits `expr` (a stream expression) when `level` is enabled on `handle`; the message is
// not formatted otherwise.
#define KEL_TRACE(handle, level, expr) KEL_TRACE_SOURCE(handle, level, __FILE__, expr)

// The same, naming `source` (a unit's name, "BridgeExt") as where the message comes from,
// for code shared by several units.
#define KEL_TRACE_SOURCE(handle, level, source, expr)                                            \
   do {                                                                                          \
      const ::Kel::TraceHandle& kelTraceHandle_ = (handle);                                      \
      if (kelTraceHandle_.enabled(level)) [[unlikely]] {                                         \
         ::Kel::traceFormatted(kelTraceHandle_, (level), (source), __LINE__,                     \
                               [&](std::ostream& kelTraceStream_) { kelTraceStream_ << expr; }); \
      }                                                                                          \
   } while (0)
