#pragma once

namespace Kel {

// Where Kel::now() reads the time. The default is the system's monotonic clock, which no
// step of the wall clock (NTP, an operator's date) moves: stamps, slices, ageing and
// deadlines all count on it. Tests install a FakeTimeSource and move time by hand, so nothing
// waits on real time.
class TimeSource {
 public:
   virtual ~TimeSource() = default;
   virtual double now() const = 0;
};

// Seconds on the monotonic clock (since boot), as a double, from the installed time source.
// Only differences between two readings, and up-times against the agent's start, mean
// anything; no value is a date.
double now();

// Installs `source` (not owned); nullptr restores the system clock.
void timeSourceIs(const TimeSource* source);

class FakeTimeSource : public TimeSource {
 public:
   explicit FakeTimeSource(double start = 1000.0) : now_(start) {}
   double now() const override { return now_; }
   void nowIs(double t) { now_ = t; }
   void advance(double seconds) { now_ += seconds; }

 private:
   double now_;
};

// Installs a fake time source for its lifetime and restores the previous one after.
class ScopedFakeTime : public FakeTimeSource {
 public:
   explicit ScopedFakeTime(double start = 1000.0);
   ~ScopedFakeTime() override;
   ScopedFakeTime(const ScopedFakeTime&) = delete;
   ScopedFakeTime& operator=(const ScopedFakeTime&) = delete;

 private:
   const TimeSource* previous_;
};

}  // namespace Kel
