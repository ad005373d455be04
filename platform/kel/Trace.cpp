#include "platform/kel/Trace.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace Kel {
namespace {

// Every handle and every configured level, by facility name. "*" sets the level of
// facilities that are not named explicitly.
class TraceRegistry {
 public:
   static TraceRegistry& instance() {
      static TraceRegistry* registry = new TraceRegistry();  // outlives static handles
      return *registry;
   }

   int attach(TraceHandle* handle) {
      std::lock_guard lock(mutex_);
      handles_.push_back(handle);
      return levelFor(handle->facility());
   }

   void detach(TraceHandle* handle) {
      std::lock_guard lock(mutex_);
      std::erase(handles_, handle);
   }

   void apply(const std::map<std::string, int, std::less<>>& levels) {
      std::lock_guard lock(mutex_);
      for (const auto& [name, level] : levels) {
         configured_[name] = level;
      }
      for (TraceHandle* h : handles_) {
         h->levelIs(levelFor(h->facility()));
      }
   }

   // Whether a handle of this facility exists: "*" names them all.
   bool known(std::string_view facility) {
      std::lock_guard lock(mutex_);
      return facility == "*" || std::any_of(handles_.begin(), handles_.end(),
                                            [&](auto* h) { return facility == h->facility(); });
   }

   std::string facilities() {
      std::lock_guard lock(mutex_);
      std::set<std::string_view> names;
      for (const TraceHandle* h : handles_) {
         names.insert(h->facility());
      }
      std::string text;
      for (const auto name : names) {
         text.append(text.empty() ? "" : ", ").append(name);
      }
      return text;
   }

   int level(std::string_view facility) {
      std::lock_guard lock(mutex_);
      return levelFor(facility);
   }

 private:
   TraceRegistry() { applyEnvironment(); }

 public:
   // Reads BRIDGESNMP_TRACE; a malformed value is reported on stderr and ignored.
   bool applyEnvironment() {
      const char* env = std::getenv("BRIDGESNMP_TRACE");
      if (!env) {
         return true;
      }
      std::map<std::string, int, std::less<>> levels;
      std::string error;
      if (!parseTraceSpec(env, levels, error)) {
         std::cerr << "BRIDGESNMP_TRACE ignored: " << error << "\n";
         return false;
      }
      apply(levels);
      return true;
   }

 private:
   int levelFor(std::string_view facility) const {
      if (auto it = configured_.find(facility); it != configured_.end()) {
         return it->second;
      }
      if (auto it = configured_.find("*"); it != configured_.end()) {
         return it->second;
      }
      return defaultTraceLevel;
   }

 public:
   static bool parseTraceSpec(std::string_view settings,
                              std::map<std::string, int, std::less<>>& out, std::string& error) {
      while (!settings.empty()) {
         const auto comma = settings.find(',');
         std::string_view item = settings.substr(0, comma);
         settings =
             comma == std::string_view::npos ? std::string_view() : settings.substr(comma + 1);
         while (!item.empty() && item.front() == ' ') {
            item.remove_prefix(1);
         }
         while (!item.empty() && item.back() == ' ') {
            item.remove_suffix(1);
         }
         if (item.empty()) {
            continue;
         }
         const auto slash = item.find('/');
         if (slash == std::string_view::npos || slash == 0) {
            error = "expected Facility/level, got '" + std::string(item) + "'";
            return false;
         }
         const std::string_view number = item.substr(slash + 1);
         int level = -1;
         auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), level);
         if (ec != std::errc() || end != number.data() + number.size() || level < 0 || level > 9) {
            error = "trace level must be 0 to 9 in '" + std::string(item) + "'";
            return false;
         }
         out[std::string(item.substr(0, slash))] = level;
      }
      return true;
   }

 private:
   std::mutex mutex_;
   std::vector<TraceHandle*> handles_;
   std::map<std::string, int, std::less<>> configured_;
};

class StderrSink : public TraceSink {
 public:
   void write(const TraceRecord& record) override {
      std::cerr << formatTraceRecord(record) << std::endl;
   }
};

std::shared_ptr<TraceSink>& currentSink() {
   static auto* sink = new std::shared_ptr<TraceSink>(std::make_shared<StderrSink>());
   return *sink;
}

std::string_view sourceName(const char* file) {
   std::string_view path(file);
   if (const auto slash = path.rfind('/'); slash != std::string_view::npos) {
      path.remove_prefix(slash + 1);
   }
   if (const auto dot = path.find('.'); dot != std::string_view::npos) {
      path = path.substr(0, dot);
   }
   return path;
}

}  // namespace

TraceHandle::TraceHandle(const char* facility) : facility_(facility), level_(defaultTraceLevel) {
   level_.store(TraceRegistry::instance().attach(this), std::memory_order_relaxed);
}

TraceHandle::~TraceHandle() {
   TraceRegistry::instance().detach(this);
}

bool setTraceLevels(std::string_view settings, std::string* error) {
   std::map<std::string, int, std::less<>> levels;
   std::string why;
   if (!TraceRegistry::parseTraceSpec(settings, levels, why)) {
      if (error) {
         *error = why;
      }
      return false;
   }
   for (const auto& [name, level] : levels) {
      if (!TraceRegistry::instance().known(name)) {
         if (error) {
            *error = "unknown trace facility '" + name +
                     "'; known: " + TraceRegistry::instance().facilities();
         }
         return false;
      }
   }
   TraceRegistry::instance().apply(levels);
   return true;
}

bool applyTraceEnvironment() {
   return TraceRegistry::instance().applyEnvironment();
}

int traceLevel(std::string_view facility) {
   return TraceRegistry::instance().level(facility);
}

void traceSinkIs(std::shared_ptr<TraceSink> sink) {
   currentSink() = std::move(sink);
}

std::shared_ptr<TraceSink> traceSink() {
   return currentSink();
}

void traceHelper(const TraceHandle& handle, int level, const char* file, int line,
                 std::string_view message) {
   const TraceRecord record{handle.facility(), level, sourceName(file), line, message};
   if (const auto& sink = currentSink()) {
      sink->write(record);
   }
}

std::string formatTraceRecord(const TraceRecord& record) {
   std::string text;
   text.reserve(record.message.size() + 48);
   text.append(record.facility).append("/").append(std::to_string(record.level)).append(" ");
   text.append(record.source).append(":").append(std::to_string(record.line)).append(": ");
   text.append(record.message);
   return text;
}

}  // namespace Kel
