// Requests to devices and subscriptions.
#include "lab/bluetoothd/Bluetoothd.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "lab/bluetoothd/BusTypes.h"

namespace lab {

using namespace std::chrono_literals;

namespace {

constexpr Microseconds kAttLimit = 30s;  // an unanswered ATT request ends the link after this

// std::function has to be copyable, and BusMessage is not.
using SharedMessage = std::shared_ptr<sd_bus_message>;

SharedMessage share(const BusMessage& message) {
  return {sd_bus_message_ref(message.get()), DropMessage()};
}

BusMessage share(const SharedMessage& message) {
  return BusMessage(sd_bus_message_ref(message.get()));
}

}  // namespace

void Bluetoothd::serveGatt(const BusMessage& call, RemoteDevice& device, Gatt& gatt,
                           const std::string& member) {
  lookAtSockets(device);
  if (member == "StartNotify") return startNotify(call, device, gatt);
  if (member == "StopNotify") {
    unsubscribe(device, gatt);
    return reply(call);
  }
  if (!device.isConnected_) return bus_.sendError(call, kFailed, "Not connected");
  if (member == "ReadValue") return read(call, device, gatt);
  if (member == "WriteValue") return write(call, device, gatt);
  if (member == "AcquireNotify") return acquire(call, device, gatt);
  failUnknown(call, kUnknownMethod);
}

void Bluetoothd::request(const BusMessage& call, RemoteDevice& device, const char* verb, Gatt& gatt,
                         const std::function<void(Witness::Fate)>& answer) {
  const Witness::Fate fate = witness_.fateOf(device, verb, gatt.uuid);
  const std::size_t number = ++requestCount_;
  const bool isIgnored = fate == Witness::Fate::ignore;
  pending_.emplace(number,
                   Pending{&device, &gatt, BusMessage(sd_bus_message_ref(call.get())), isIgnored});
  if (isIgnored) {
    later(kAttLimit, [this, number, &device] {
      if (pending_.contains(number)) dropLink(device);
    });
    return;
  }
  later(shortTime(), [this, number, fate, answer, &device] {
    if (!pending_.contains(number)) return;
    if (fate == Witness::Fate::drop) return dropLink(device);
    answer(fate);
    pending_.erase(number);
    wake(device);
  });
}

void Bluetoothd::fail(const BusMessage& call, AttError error) {
  if (error == AttError::readNotPermitted) {
    return bus_.sendError(call, kNotPermitted, "Read not permitted");
  }
  if (error == AttError::writeNotPermitted) {
    return bus_.sendError(call, kNotPermitted, "Write not permitted");
  }
  char text[64];
  std::snprintf(text, sizeof text, "Operation failed with ATT error: 0x%02x",
                static_cast<unsigned>(error));
  bus_.sendError(call, kFailed, text);
}

void Bluetoothd::read(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  request(call, device, "read", gatt,
          [this, &device, &gatt, call = share(call)](Witness::Fate fate) {
            const BusMessage owned = share(call);
            ReadResult result = AttError::readNotPermitted;
            if (fate == Witness::Fate::serve) result = device.model_.read(gatt.index);
            if (device.isEnding_) return dropLink(device);  // before its answer
            const Bytes* value = std::get_if<Bytes>(&result);
            if (value == nullptr) {
              fail(owned, std::get<AttError>(result));
              return witness_.didRead(device, gatt.uuid, nullptr);
            }
            tellChange(device.path() + gatt.path, kCharacteristicInterface,
                       {{"Value", *value}});  // a read changes the Value property, as in BlueZ
            BusMessage reply = MessageBus::newReply(owned);
            sd_bus_message_append_array(reply.get(), 'y', value->data(), value->size());
            bus_.sendReply(std::move(reply));
            witness_.didRead(device, gatt.uuid, value);
          });
}

void Bluetoothd::write(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (sd_bus_message_read_array(call.get(), 'y', &bytes, &size) < 0) return;
  Bytes value(size);
  if (size > 0) std::memcpy(value.data(), bytes, size);
  request(call, device, "write", gatt,
          [this, &device, &gatt, value, call = share(call)](Witness::Fate fate) {
            const BusMessage owned = share(call);
            AttError error = AttError::writeNotPermitted;
            if (fate == Witness::Fate::serve) error = device.model_.write(gatt.index, value);
            witness_.didWrite(device, gatt.uuid, value);
            if (error == AttError::none) return reply(owned);
            fail(owned, error);
          });
}

void Bluetoothd::acquire(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  const bool offersSocket =
      gatt.declared.notify || (gatt.declared.indicate && traits.offersMoreSockets);
  if (!traits.offersSockets || !offersSocket) {
    return bus_.sendError(call, kNotSupported, "Operation is not supported");
  }
  if (gatt.way != Gatt::Way::none) return bus_.sendError(call, kInProgress, "In progress");
  request(call, device, "subscribe", gatt,
          [this, &device, &gatt, call = share(call)](Witness::Fate fate) {
            const BusMessage owned = share(call);
            AttError error = AttError::unlikely;
            if (fate == Witness::Fate::serve) error = device.model_.subscribe(gatt.index, true);
            if (error != AttError::none) {
              witness_.didAnswerSubscription(device, gatt.uuid, false);
              if (!traits.answersRefusedSockets) return bus_.forget(owned);
              return fail(owned, error);
            }
            std::array<int, 2> ends{};
            if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0,
                           ends.data()) != 0) {
              return;
            }
            BusMessage reply = MessageBus::newReply(owned);
            sd_bus_message_append(reply.get(), "hq", ends[1], 247);
            close(ends[1]);
            gatt.way = Gatt::Way::socket;
            gatt.socket = ends[0];
            bus_.sendReply(std::move(reply));
            witness_.didAnswerSubscription(device, gatt.uuid, true);
          });
}

void Bluetoothd::startNotify(const BusMessage& call, RemoteDevice& device, Gatt& gatt) {
  if (!device.isConnected_) return reply(call);  // succeeds without effect
  if (gatt.way != Gatt::Way::none) return bus_.sendError(call, kInProgress, "In progress");
  request(call, device, "subscribe", gatt,
          [this, &device, &gatt, call = share(call)](Witness::Fate fate) {
            AttError error = AttError::unlikely;
            if (fate == Witness::Fate::serve) error = device.model_.subscribe(gatt.index, true);
            if (error != AttError::none) {
              const BusMessage owned = share(call);
              witness_.didAnswerSubscription(device, gatt.uuid, false);
              return fail(owned, error);
            }
            gatt.way = Gatt::Way::signals;
            const auto confirm = [this, call, &device, &gatt] {
              reply(share(call));
              witness_.didAnswerSubscription(device, gatt.uuid, true);
            };
            if (!traits.signalsValuesEarly) return confirm();
            later(shortTime() * 20, [confirm, &device, &gatt, generation = device.generation,
                                     subscription = ++gatt.subscription] {
              if (device.generation == generation && gatt.subscription == subscription) confirm();
            });
          });
}

void Bluetoothd::unsubscribe(RemoteDevice& device, Gatt& gatt) {
  if (gatt.way == Gatt::Way::none) return;
  if (gatt.socket >= 0) close(std::exchange(gatt.socket, -1));
  gatt.way = Gatt::Way::none;
  gatt.oversights = 0;
  ++gatt.subscription;
  witness_.didEndSubscription(device, gatt.uuid);
  if (device.isConnected_) device.model_.subscribe(gatt.index, false);
}

// A client ends a subscription by closing its end of the socket. bluetoothd may handle calls that
// came after that before it sees it: one in the turn of its loop in which the socket was closed,
// and one in the next. Without calls its next turn comes by itself. The device carries out what it
// was asked for before, but for what it ignores.
void Bluetoothd::lookAtSockets(RemoteDevice& device) {
  const bool isAsked = std::ranges::any_of(pending_, [&device](const auto& entry) {
    return entry.second.device == &device && !entry.second.isIgnored;
  });
  if (isAsked) return;
  for (Gatt& gatt : device.gatt_) {
    if (gatt.way != Gatt::Way::socket) continue;
    pollfd end{gatt.socket, 0, 0};
    if (::poll(&end, 1, 0) <= 0 || (end.revents & (POLLHUP | POLLERR)) == 0) continue;
    if (gatt.oversights == 2 || dice_.oneIn(2)) {
      unsubscribe(device, gatt);
    } else if (gatt.oversights++ == 0) {
      later(300us, [this, &device, &gatt, subscription = gatt.subscription] {
        if (gatt.subscription != subscription) return;
        gatt.oversights = 2;
        lookAtSockets(device);
      });
    }
  }
}

void Bluetoothd::takeValue(RemoteDevice& device, Gatt& gatt, const Bytes& value) {
  if (gatt.way == Gatt::Way::signals) {
    tellChange(device.path() + gatt.path, kCharacteristicInterface, {{"Value", value}});
    witness_.didSendValue(device, gatt.uuid, value);
  } else if (gatt.way == Gatt::Way::socket) {
    const ssize_t sent =
        ::send(gatt.socket, value.data(), value.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) return witness_.didSendValue(device, gatt.uuid, value);
    if (errno == EAGAIN) witness_.didLose(device, gatt.uuid);
  }
}

}  // namespace lab
