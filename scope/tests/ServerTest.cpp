#include "scope/server/Server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "scope/Descriptor.h"

namespace scope {
namespace {

// What a server says to one request, all of it.
std::string ask(int port, const std::string& request) {
  const Descriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
      0) {
    return "no connection";
  }
  EXPECT_EQ(::write(connection.get(), request.data(), request.size()),
            static_cast<ssize_t>(request.size()));
  std::string answer;
  char piece[512];
  for (ssize_t size = 0; (size = ::read(connection.get(), piece, sizeof piece)) > 0;) {
    answer.append(piece, static_cast<std::size_t>(size));
  }
  return answer;
}

std::string post(int port, const std::string& command) {
  return ask(port, "POST /command HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                       "\r\nAuthorization: Bearer secret\r\nConnection: close\r\nContent-Length: " +
                       std::to_string(command.size()) + "\r\n\r\n" + command);
}

TEST(Server, IsAnsweringFromTheCommandToItsAnswer) {
  std::optional<Server> server;
  std::atomic<bool> wasAnswering = false;
  Backlog backlog(1000);
  ServerSetup setup;
  setup.secret = "secret";
  setup.backlog = &backlog;
  setup.command = [&](const std::string& line) {
    wasAnswering = server->isAnswering();
    return line == "kill";
  };
  server.emplace(std::move(setup));
  EXPECT_FALSE(server->isAnswering());
  for (const auto& [command, answer] : {std::pair("kill", " 202 "), {"CV_debutCalib", " 409 "}}) {
    EXPECT_NE(post(server->port(), command).find(answer), std::string::npos) << command;
    EXPECT_TRUE(wasAnswering.exchange(false)) << command;
    while (server->isAnswering()) std::this_thread::yield();
  }
}

}  // namespace
}  // namespace scope
