#include "scope/server/Server.h"

#include <httplib.h>
#include <netinet/in.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "scope/server/Guard.h"
#include "scope/server/PageFiles.h"

namespace scope {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kThreads = 16;
// The rest of the threads is for what does not last.
constexpr int kMostPages = 8;
constexpr std::size_t kLongestCommand = 256;
// A page that takes nothing for so long is let go; it asks again when it lives.
constexpr auto kWriteLimit = 5s;
constexpr auto kHeartbeat = 500ms;

constexpr int kAccepted = 202;
constexpr int kBadRequest = 400;
constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kConflict = 409;
constexpr int kTooMany = 503;

constexpr const char* kText = "text/plain; charset=utf-8";
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

Asked askedBy(const httplib::Request& request, std::string& host, std::string& origin,
              std::string& authorization) {
  host = request.get_header_value("Host");
  origin = request.get_header_value("Origin");
  authorization = request.get_header_value("Authorization");
  Asked asked{host, std::nullopt, authorization};
  if (request.has_header("Origin")) asked.origin = origin;
  return asked;
}

// The library compresses a text that it is given whole, as small as it can: a third of a second for
// the page's largest file, each time, and for nothing on the loopback address. `owner` is kept for
// as long as the text is sent.
void sendAsItIs(httplib::Response& response, std::string_view text, const char* type,
                std::shared_ptr<const void> owner) {
  if (text.empty()) {
    response.set_content("", type);
    return;
  }
  response.set_content_provider(
      text.size(), type,
      [text, owner = std::move(owner)](std::size_t offset, std::size_t length,
                                       httplib::DataSink& sink) {
        return sink.write(text.data() + offset, length);
      });
}

}  // namespace

class Server::Requests {
 public:
  explicit Requests(ServerSetup setup) : setup_(std::move(setup)) {
    server_.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server_.set_keep_alive_timeout(2);
    server_.set_read_timeout(5s);
    server_.set_write_timeout(kWriteLimit);
    server_.set_payload_max_length(kLongestCommand);
    server_.set_tcp_nodelay(true);
    // Not the library's own, which would share the port with whoever asks for it.
    server_.set_socket_options([](socket_t socket) {
      const int yes = 1;
      ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    addHandlers();
    listen();
  }
  Requests(const Requests&) = delete;
  Requests& operator=(const Requests&) = delete;

  int port() const { return port_; }
  int pages() const { return pages_; }
  bool isAnswering() const { return answers_ > 0; }
  bool hadPages() const { return hadPages_; }

 private:
  void listen() {
    constexpr const char* kAddress = "127.0.0.1";
    if (setup_.port == 0) {
      port_ = server_.bind_to_any_port(kAddress);
    } else {
      port_ = server_.bind_to_port(kAddress, setup_.port) ? setup_.port : -1;
    }
    if (port_ < 0) {
      throw std::runtime_error("no page: port " + std::to_string(setup_.port) +
                               " cannot be listened on");
    }
    guard_ = std::make_unique<Guard>(setup_.secret, port_);
    std::thread([this] { server_.listen_after_bind(); }).detach();
  }

  void addHandlers() {
    server_.set_pre_routing_handler([this](const auto& request, auto& response) {
      std::string host;
      std::string origin;
      std::string authorization;
      const Asked asked = askedBy(request, host, origin, authorization);
      const bool isPage = request.method == "GET" && findPageFile(request.path) != nullptr;
      if (isPage ? guard_->maySee(asked) : guard_->mayKnow(asked)) {
        return httplib::Server::HandlerResponse::Unhandled;
      }
      response.status = kForbidden;
      return httplib::Server::HandlerResponse::Handled;
    });
    server_.set_post_routing_handler([](const auto&, auto& response) {
      response.set_header("Content-Security-Policy", kPolicy);
      response.set_header("X-Content-Type-Options", "nosniff");
      response.set_header("Referrer-Policy", "no-referrer");
      response.set_header("Cross-Origin-Resource-Policy", "same-origin");
      response.set_header("Cross-Origin-Opener-Policy", "same-origin");
      response.set_header("Cache-Control", "no-store");
    });
    server_.Get("/events",
                [this](const auto& request, auto& response) { sendEvents(request, response); });
    server_.Get("/document", [this](const auto&, auto& response) {
      auto text = std::make_shared<const std::string>(setup_.document());
      sendAsItIs(response, *text, kText, text);
    });
    server_.Post("/command",
                 [this](const auto& request, auto& response) { takeCommand(request, response); });
    server_.Get(".*", [](const auto& request, auto& response) {
      const PageFile* const file = findPageFile(request.path);
      response.status = kNotFound;
      if (file == nullptr) return;
      response.status = 200;
      sendAsItIs(response, file->text, file->type, nullptr);
    });
  }

  // Lives until the answer that owns it has been written.
  std::shared_ptr<const void> answer() {
    ++answers_;
    return {nullptr, [this](const void*) { --answers_; }};
  }

  void takeCommand(const httplib::Request& request, httplib::Response& response) {
    const std::shared_ptr<const void> answering = answer();
    const bool isLine = !request.body.empty() && request.body.size() <= kLongestCommand &&
                        request.body.find_first_of("\r\n") == std::string::npos;
    if (setup_.isReadOnly) {
      response.status = kForbidden;
    } else if (!isLine) {
      response.status = kBadRequest;
    } else {
      response.status = setup_.command(request.body) ? kAccepted : kConflict;
    }
    // In a word, since an answer without a body would not be owned.
    sendAsItIs(response, response.status == kAccepted ? "sent\n" : "not sent\n", kText, answering);
  }

  void sendEvents(const httplib::Request& request, httplib::Response& response) {
    if (++pages_ > kMostPages) {
      --pages_;
      response.status = kTooMany;
      return;
    }
    hadPages_ = true;
    const std::string from = request.get_param_value("from");
    auto next = std::make_shared<std::uint64_t>(std::strtoull(from.c_str(), nullptr, 10));
    response.set_chunked_content_provider(
        "application/x-ndjson",
        [this, next](std::size_t, httplib::DataSink& sink) { return sendNext(*next, sink); },
        [this](bool) { --pages_; });
  }

  bool sendNext(std::uint64_t& next, httplib::DataSink& sink) {
    const Backlog::Line line = setup_.backlog->get(next, kHeartbeat);
    // How many values came before it tells the page what it has missed.
    std::string text =
        "{\"number\":" + std::to_string(line.number) + ",\"before\":" + std::to_string(line.values);
    if (line.text) {
      next = line.number + 1;
      (text += ',') += *line.text;
    } else if (setup_.backlog->hasEnded()) {
      sink.done();
      return true;
    } else {
      text += "}\n";
    }
    return sink.write(text.data(), text.size());
  }

  ServerSetup setup_;
  httplib::Server server_;
  std::unique_ptr<Guard> guard_;
  int port_ = -1;
  std::atomic<int> pages_ = 0;
  std::atomic<bool> hadPages_ = false;
  std::atomic<int> answers_ = 0;  // to commands, that have not been written
};

Server::Server(ServerSetup setup) : requests_(new Requests(std::move(setup))) {}

int Server::port() const {
  return requests_->port();
}

int Server::pages() const {
  return requests_->pages();
}

bool Server::isAnswering() const {
  return requests_->isAnswering();
}

bool Server::hadPages() const {
  return requests_->hadPages();
}

}  // namespace scope
