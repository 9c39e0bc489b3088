// The bridge's host: it sends commands, and gets every byte that is written, in order, while it
// does not stall.
#pragma once

#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "Output.h"

namespace world {

class Host {
 public:
  Host() { std::setbuf(stdout, nullptr); }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host();

  bool isStalled = false;
  std::deque<std::string> commands;  // that it is about to send
  bool isInputAtEnd = false;

  // Standard output is the pipe of a bridge that begins.
  void connect();
  Output& output() { return *output_; }

  // What the bridge writes, in the order in which it does.
  void willRead(std::string_view bytes) { unread_ += bytes; }
  // Reads what has come out of what was written.
  void read();
  // Leaves room for so many bytes, by others that it has to read before the bridge's next.
  void fillPipe(std::size_t room);
  // Reads what is in the pipe, also while it stalls. Whether there was something.
  bool readPipe();
  const std::string& unread() const { return unread_; }
  // Gives up the pipe of a bridge that was killed.
  void forget();

  // What the product waits for on the reader's thread, or before its end. A host that stalls is not
  // waited for.
  void letAllOut();

 private:
  void readAll();

  int input_ = -1;  // the host's end
  std::string unread_;
  std::unique_ptr<Output> output_;
};

}  // namespace world
