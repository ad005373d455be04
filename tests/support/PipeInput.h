#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/kel/ActivityManager.h"

namespace TestSupport {

// A pipe whose read end is watched as input: each byte written is one piece of pending
// input, and reading it logs `label`.
class PipeInput : public Kel::ActivityManager::FdReactor {
 public:
   PipeInput(std::vector<std::string>* log, std::string label)
       : log_(log), label_(std::move(label)) {
      EXPECT_EQ(::pipe(fds_), 0);
   }
   ~PipeInput() override {
      ::close(fds_[0]);
      ::close(fds_[1]);
   }
   int readFd() const { return fds_[0]; }
   void arrive() { ASSERT_EQ(::write(fds_[1], "x", 1), 1); }
   void onReadable(int fd) override {
      char c;
      ASSERT_EQ(::read(fd, &c, 1), 1);
      log_->push_back(label_);
   }

 private:
   std::vector<std::string>* log_;
   std::string label_;
   int fds_[2];
};

}  // namespace TestSupport
