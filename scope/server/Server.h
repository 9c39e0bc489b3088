// Serves the page and its data on the loopback address.
//
//   GET /, /NAME       the page's own files, which are in the program
//   GET /events        lines of JSON as they come (Backlog), each with how many values there were
//                      before it: ?from=N begins with line N, without it with the first one kept
//   GET /document      the JSON document that came last, as plain text
//   POST /command      one line for the bridge: 202, or 409 where it is not safe
//
// Whoever is not let in (Guard.h) gets 403 and no word.
#pragma once

#include <functional>
#include <string>

#include "scope/watch/Backlog.h"

namespace scope {

struct ServerSetup {
  int port = 0;  // 0: one that is free
  std::string secret;
  bool isReadOnly = false;
  const Backlog* backlog = nullptr;
  std::function<std::string()> document;                 // called on the server's threads
  std::function<bool(const std::string& line)> command;  // likewise; false: not safe
};

// Its threads go on until the process ends: the library stops a server only once it listens, and
// waits for the connections that are open.
class Server {
 public:
  // Listens from now on. Throws std::runtime_error when the port cannot be had.
  explicit Server(ServerSetup setup);

  int port() const;
  // Pages that are being told.
  int pages() const;
  // Whether a command was taken that has not been answered yet.
  bool isAnswering() const;
  // Whether a page was told anything at all.
  bool hadPages() const;

 private:
  class Requests;
  Requests* requests_;  // of the threads as well
};

}  // namespace scope
