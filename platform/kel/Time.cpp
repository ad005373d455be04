#include "platform/kel/Time.h"

#include <time.h>

namespace Kel {
namespace {

const TimeSource* installedSource = nullptr;

double systemNow() {
   timespec ts{};
   clock_gettime(CLOCK_MONOTONIC, &ts);
   return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

}  // namespace

double now() {
   return installedSource ? installedSource->now() : systemNow();
}

void timeSourceIs(const TimeSource* source) {
   installedSource = source;
}

ScopedFakeTime::ScopedFakeTime(double start) : FakeTimeSource(start), previous_(installedSource) {
   installedSource = this;
}

ScopedFakeTime::~ScopedFakeTime() {
   installedSource = previous_;
}

}  // namespace Kel
