#include "plugin/MasterStartEstimate.h"

#include <algorithm>

namespace Plugin {

void MasterStartEstimate::sample(double sentAt, double receivedAt, double derivedStart) {
   const double lower = derivedStart - (receivedAt - sentAt) - tick - slack;
   const double upper = derivedStart + slack;
   if (samples_ == 0 || lower > upper_ || upper < lower_) {
      lower_ = lower;
      upper_ = upper;
      samples_ = 1;
      return;
   }
   lower_ = std::max(lower_, lower);
   upper_ = std::min(upper_, upper);
   ++samples_;
}

}  // namespace Plugin
