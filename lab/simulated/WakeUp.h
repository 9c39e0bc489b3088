// Ends the wait of a run loop in real time. ring() may be called on any thread.
#pragma once

namespace platform::simulated {

class WakeUp {
 public:
  WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;
  ~WakeUp();

  void ring();

  // Readable from ring() until takeBack().
  int descriptor() const { return pipe_[0]; }
  void takeBack();

 private:
  int pipe_[2];
};

}  // namespace platform::simulated
