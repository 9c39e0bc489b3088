// A Bluetooth controller for a peripheral with a single link: sets it up, advertises, and sends and
// receives L2CAP packets under the controller's flow control.
//
// One thread. Nothing blocks: whoever owns the controller calls process() when the channel has
// input, or output after wantsToWrite(). Handles, reasons and lengths are those of the Host
// Controller Interface (Bluetooth Core, Vol 4, Part E).
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "lab/DeviceModel.h"
#include "lab/hci/HciChannel.h"

namespace lab {

struct Advertisement {
  bool isConnectable = true;
  Bytes data;          // at most 31 bytes
  Bytes scanResponse;  // at most 31 bytes

  bool operator==(const Advertisement&) const = default;
};

class ControllerListener {
 public:
  // The controller is set up. address: as it is printed, most significant byte first.
  virtual void controllerReady(const std::string& address) = 0;
  // The controller cannot be used (any more); nothing follows.
  virtual void controllerFailed(const std::string& reason) = 0;
  virtual void linkUp() = 0;
  virtual void linkDown(std::uint8_t reason) = 0;
  virtual void received(std::uint16_t channel, std::span<const std::uint8_t> payload) = 0;

 protected:
  ~ControllerListener() = default;
};

class Controller {
 public:
  using Handed = std::function<void()>;

  Controller(HciChannel channel, ControllerListener& listener);

  void start();
  void process();

  int fileDescriptor() const { return channel_.fileDescriptor(); }
  bool wantsToWrite() const { return isChannelFull_; }

  // Starts advertising, or starts anew with other data. A link ends it.
  void advertise(const Advertisement& advertisement);
  void stopAdvertising();

  // False while a command waits or is not answered yet.
  bool isIdle() const { return commands_.empty() && !isCommandPending_; }

  // Sends one L2CAP packet over the link; handed is called when all of it is with the controller.
  void send(std::uint16_t channel, std::span<const std::uint8_t> payload, Handed handed = {});
  // The number of L2CAP packets that are not completely with the controller yet.
  std::size_t backlog() const { return backlog_; }

  // The next links that come up stay up and are left alone: they only use up connection handles.
  // btvirt delivers packets under the sender's handle, so that a central with several links needs
  // peripherals whose handle is the same on both sides.
  void leaveLinksAlone(std::uint32_t count) { linksToLeave_ = count; }

  // Ends the link; linkDown follows. reason: the HCI error code that the central gets.
  void disconnect(std::uint8_t reason);

 private:
  using Packet = std::span<const std::uint8_t>;
  struct Fragment {
    Bytes packet;
    bool isLast;
    Handed handed;  // of the last one
  };

  void command(std::uint16_t opcode, std::span<const std::uint8_t> parameters);
  void pump();
  bool sendNow(const Bytes& packet);
  void handleEvent(Packet event);
  void handleCommandComplete(std::uint16_t opcode, Packet result);
  void handleLinkComplete(Packet parameters);
  void handleLinkEnd(std::uint16_t handle, std::uint8_t reason);
  void handleCompletedPackets(Packet parameters);
  void handleData(Packet data);
  void takeBufferSize(std::size_t length, std::size_t count);
  void disconnectHandle(std::uint16_t handle, std::uint8_t reason);
  void dropLink(std::uint8_t reason);
  void fail(const std::string& reason);

  HciChannel channel_;
  ControllerListener& listener_;
  bool isFailed_ = false;
  bool isChannelFull_ = false;

  std::deque<Bytes> commands_;
  bool isCommandPending_ = false;
  std::optional<Advertisement> onAir_;  // as last set in the controller

  std::optional<std::uint16_t> link_;
  std::uint32_t linksToLeave_ = 0;
  std::size_t bufferLength_ = 27;
  std::size_t bufferCount_ = 1;
  std::size_t freeBuffers_ = 1;
  std::deque<Fragment> fragments_;
  std::size_t backlog_ = 0;
  Bytes incoming_;  // the fragments of an L2CAP packet so far, its header first
};

}  // namespace lab
