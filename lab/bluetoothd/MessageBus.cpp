#include "lab/bluetoothd/MessageBus.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace lab {
namespace {

constexpr const char* kDaemon = "org.freedesktop.DBus";
constexpr const char* kDaemonPath = "/org/freedesktop/DBus";
constexpr const char* kStack = "org.bluez";
constexpr const char* kNoReply = "org.freedesktop.DBus.Error.NoReply";
constexpr const char* kUnknownService = "org.freedesktop.DBus.Error.ServiceUnknown";

void check(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string("sd-bus refuses: ") + what);
}

std::string nameOf(pid_t process) {
  return "vornix-world-" + std::to_string(process);
}

// The listening socket of this process, kept for its whole life; a forked process opens its own.
int listener() {
  static int socket = -1;
  static pid_t owner = 0;
  if (owner == getpid()) return socket;
  owner = getpid();
  const std::string name = nameOf(owner);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path + 1, name.data(), name.size());
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
  socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket < 0 || bind(socket, reinterpret_cast<sockaddr*>(&address), length) < 0 ||
      listen(socket, 4) < 0) {
    throw std::system_error(errno, std::generic_category(), "the bus cannot listen");
  }
  return socket;
}

// The value of KEY='VALUE' in a match rule.
std::string valueIn(const std::string& rule, const std::string& key) {
  const std::string mark = key + "='";
  std::size_t at = rule.find(mark);
  while (at != std::string::npos && at > 0 && rule[at - 1] != ',') at = rule.find(mark, at + 1);
  if (at == std::string::npos) return {};
  at += mark.size();
  return rule.substr(at, rule.find('\'', at) - at);
}

}  // namespace

MessageBus::MessageBus() {
  // Drops the connections that were asked of an earlier bus and never accepted.
  int stale = -1;
  while ((stale = ::accept4(listener(), nullptr, nullptr, SOCK_CLOEXEC)) >= 0) close(stale);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): a world has one thread
  setenv("DBUS_SYSTEM_BUS_ADDRESS", addressOf(getpid()).c_str(), 1);
}

MessageBus::~MessageBus() {
  hangUp();
}

std::string MessageBus::addressOf(pid_t process) {
  return "unix:abstract=" + nameOf(process);
}

void MessageBus::accept() {
  const int socket = ::accept4(listener(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  check(socket, "nobody has asked for a connection");
  constexpr sd_id128_t kId =
      SD_ID128_MAKE(01, 02, 03, 04, 05, 06, 07, 08, 09, 0a, 0b, 0c, 0d, 0e, 0f, 10);
  check(sd_bus_new(&bus_), "new");
  check(sd_bus_set_fd(bus_, socket, socket), "fd");
  check(sd_bus_set_server(bus_, 1, kId), "server");
  check(sd_bus_negotiate_fds(bus_, 1), "fds");
  check(sd_bus_add_filter(bus_, nullptr, receive, this), "filter");
  check(sd_bus_start(bus_), "start");
}

void MessageBus::hangUp() {
  if (bus_ == nullptr) return;
  unanswered_.clear();
  matches_.clear();
  sd_bus_close_unref(bus_);
  bus_ = nullptr;
  if (onClientGone) onClientGone();
}

bool MessageBus::serve() {
  didHandle_ = false;
  int served = bus_ == nullptr ? 0 : 1;
  while (served > 0) served = sd_bus_process(bus_, nullptr);
  if (served < 0) hangUp();
  return didHandle_;
}

pollfd MessageBus::wanted() const {
  if (bus_ == nullptr) return {listener(), POLLIN, 0};
  return {sd_bus_get_fd(bus_), static_cast<short>(std::max(0, sd_bus_get_events(bus_))), 0};
}

int MessageBus::receive(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  static_cast<MessageBus*>(self)->handle(message);
  return 1;
}

void MessageBus::handle(sd_bus_message* message) {
  std::uint8_t type = 0;
  sd_bus_message_get_type(message, &type);
  if (type != SD_BUS_MESSAGE_METHOD_CALL) return;
  didHandle_ = true;
  BusMessage call(sd_bus_message_ref(message));
  const char* destination = sd_bus_message_get_destination(message);
  if (destination == nullptr || std::strcmp(destination, kStack) != 0) {
    return handleDaemonCall(call, sd_bus_message_get_member(message));
  }
  if (onTraffic) onTraffic(message);
  if (owner_.empty()) return sendError(call, kUnknownService, "The name is not activatable");
  unanswered_.emplace_back(sd_bus_message_ref(message));
  onCall(std::move(call));
}

void MessageBus::handleDaemonCall(const BusMessage& call, const std::string& member) {
  if (onBusCall && onBusCall(member, call)) return;
  BusMessage reply = newReply(call);
  const char* text = nullptr;
  if (member == "Hello") {
    sd_bus_message_append(reply.get(), "s", ":1.7");
  } else if (member == "AddMatch") {
    check(sd_bus_message_read(call.get(), "s", &text), "AddMatch");
    const std::string rule = text;
    matches_.push_back({rule, valueIn(rule, "interface"), valueIn(rule, "member"),
                        valueIn(rule, "path"), valueIn(rule, "path_namespace"),
                        valueIn(rule, "arg0")});
  } else if (member == "RemoveMatch") {
    check(sd_bus_message_read(call.get(), "s", &text), "RemoveMatch");
    const auto match = std::ranges::find(matches_, std::string(text), &Match::rule);
    if (match != matches_.end()) matches_.erase(match);
  } else if (member == "GetNameOwner") {
    if (owner_.empty()) {
      return sendError(call, "org.freedesktop.DBus.Error.NameHasNoOwner", "Nobody has it");
    }
    sd_bus_message_append(reply.get(), "s", owner_.c_str());
  } else if (member == "StartServiceByName") {
    if (owner_.empty()) return sendError(call, kUnknownService, "It cannot be started");
    constexpr std::uint32_t kAlreadyRuns = 2;
    sd_bus_message_append(reply.get(), "u", kAlreadyRuns);
  } else {
    throw std::runtime_error("the bus does not know " + member);
  }
  send(reply.get(), kDaemon);
}

void MessageBus::ownStackName() {
  changeOwner(":1." + std::to_string(100 + ++ownerCount_));
}

void MessageBus::loseStackName() {
  changeOwner("");
  for (const BusMessage& call : std::exchange(unanswered_, {})) {
    sendError(call, kNoReply, "The receiver has disconnected");
  }
}

void MessageBus::changeOwner(const std::string& owner) {
  const std::string before = std::exchange(owner_, owner);
  if (bus_ == nullptr) return;
  BusMessage signal = newSignal(kDaemonPath, kDaemon, "NameOwnerChanged");
  sd_bus_message_append(signal.get(), "sss", kStack, before.c_str(), owner.c_str());
  sendIfWanted(signal.get(), kStack, kDaemon);
}

BusMessage MessageBus::newSignal(const std::string& path, const char* interface,
                                 const char* member) {
  sd_bus_message* signal = nullptr;
  if (bus_ == nullptr) return nullptr;
  check(sd_bus_message_new_signal(bus_, &signal, path.c_str(), interface, member), "signal");
  return BusMessage(signal);
}

void MessageBus::sendSignal(BusMessage signal, const char* firstArgument) {
  if (bus_ == nullptr || owner_.empty() || signal == nullptr) return;
  sendIfWanted(signal.get(), firstArgument, owner_);
}

void MessageBus::sendFrom(const std::string& sender, BusMessage signal) {
  if (bus_ != nullptr && signal != nullptr) send(signal.get(), sender);
}

BusMessage MessageBus::newReply(const BusMessage& call) {
  sd_bus_message* reply = nullptr;
  check(sd_bus_message_new_method_return(call.get(), &reply), "reply");
  return BusMessage(reply);
}

void MessageBus::sendReply(BusMessage reply) {
  std::uint64_t cookie = 0;
  if (owner_.empty() || sd_bus_message_get_bus(reply.get()) != bus_) return;
  check(sd_bus_message_get_reply_cookie(reply.get(), &cookie), "cookie");
  if (!forget(cookie)) return;  // of a former owner
  send(reply.get(), owner_);
}

void MessageBus::sendError(const BusMessage& call, const std::string& name,
                           const std::string& text) {
  sd_bus_message* reply = nullptr;
  if (bus_ == nullptr || sd_bus_message_get_bus(call.get()) != bus_) return;
  const sd_bus_error error = SD_BUS_ERROR_MAKE_CONST(name.c_str(), text.c_str());
  check(sd_bus_message_new_method_error(call.get(), &reply, &error), "error");
  const char* destination = sd_bus_message_get_destination(call.get());
  const bool isForStack = destination != nullptr && std::strcmp(destination, kStack) == 0;
  if (isForStack && !owner_.empty()) return sendReply(BusMessage(reply));
  const BusMessage owned(reply);
  send(reply, kDaemon);
}

std::size_t MessageBus::unansweredCount() const {
  return static_cast<std::size_t>(std::ranges::count_if(unanswered_, [](const BusMessage& call) {
    return std::strcmp(sd_bus_message_get_member(call.get()), "Connect") != 0;
  }));
}

void MessageBus::forget(const BusMessage& call) {
  std::uint64_t cookie = 0;
  check(sd_bus_message_get_cookie(call.get(), &cookie), "cookie");
  forget(cookie);
}

bool MessageBus::forget(std::uint64_t cookie) {
  return std::erase_if(unanswered_, [cookie](const BusMessage& call) {
           std::uint64_t own = 0;
           return sd_bus_message_get_cookie(call.get(), &own) >= 0 && own == cookie;
         }) > 0;
}

bool MessageBus::isWanted(sd_bus_message* signal, const char* firstArgument) const {
  const std::string path = sd_bus_message_get_path(signal);
  const auto isMatched = [&](const Match& match) {
    const std::string& space = match.pathNamespace;
    return (match.interface.empty() || match.interface == sd_bus_message_get_interface(signal)) &&
           (match.member.empty() || match.member == sd_bus_message_get_member(signal)) &&
           (match.path.empty() || match.path == path) &&
           (space.empty() || path == space || path.starts_with(space + "/")) &&
           (match.firstArgument.empty() ||
            (firstArgument != nullptr && match.firstArgument == firstArgument));
  };
  return std::ranges::any_of(matches_, isMatched);
}

void MessageBus::sendIfWanted(sd_bus_message* signal, const char* firstArgument,
                              const std::string& sender) {
  if (isWanted(signal, firstArgument)) return send(signal, sender);
  if (!onTraffic) return;
  check(sd_bus_message_seal(signal, 1, 0), "seal");  // makes it readable
  onTraffic(signal);
}

void MessageBus::send(sd_bus_message* message, const std::string& sender) {
  check(sd_bus_message_set_sender(message, sender.c_str()), "sender");
  if (sd_bus_send(bus_, message, nullptr) >= 0 && onTraffic) onTraffic(message);
}

}  // namespace lab
