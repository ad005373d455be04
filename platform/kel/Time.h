#pragma once

namespace Kel {

// Where Kel::now() reads the time. The default is the system's wall clock; tests install
// a FakeTimeSource and move time by hand, so nothing waits on real time.
class TimeSource {
 public:
   virtual ~TimeSource() = default;
   virtual double now() const = 0;
};

// Wall-clock seconds since the epoch, as a double, from the installed time source.
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
