// A Fenwix: two RMS streams, two raw streams, battery level and health, five identification numbers
// and a command channel.
#pragma once

#include <array>

#include "lab/models/BenchDevice.h"

namespace lab {

class FenwixModel : public BenchDevice {
 public:
  explicit FenwixModel(std::string name = "Nomsuel-1");

  // RMS value number sequence, 4 bytes: a little-endian binary32, at least 0 and below 1, from
  // which the low 16 bits of the number can be computed.
  static Bytes rms(std::uint32_t sequence);

  // Raw value number sequence, 20 bytes: the number in 4 bytes and eight samples of 2, all
  // little-endian.
  static Bytes raw(std::uint32_t sequence);

  // A JSON document of exactly length bytes, all of them ASCII.
  static Bytes document(std::size_t length);

 private:
  // Faults of the replies to commands.
  struct ReplyFaults {
    std::optional<Bytes> replaced;
    std::optional<std::size_t> length;
    std::optional<std::size_t> part;
    bool hasInvalidText = false;
  };

  Bytes sample(Id stream, std::uint32_t sequence) override;
  // A command: code, length of the argument in 2 bytes (little-endian), argument. The reply to code
  // 19 is the document, to any other code the argument itself.
  AttError written(Id id, std::span<const std::uint8_t> value) override;
  // "json N": the document's length in bytes, 0 to 65535. "health N": the battery health, 0 to 255.
  bool controlled(std::string_view verb, std::string_view argument) override;
  // "reply=HEX": these bytes answer every command. "reply-cut=N": a reply ends after N bytes,
  // header included. "reply-part=N": it is split into notifications of N bytes. "invalid-utf8": the
  // document is not valid UTF-8.
  bool setFault(std::string_view name, std::string_view argument) override;
  void clearFaults() override { replyFaults_ = {}; }

  void reply(std::uint8_t code, Bytes payload);

  std::array<Id, 2> rawStreams_;
  Id command_;
  Id health_;
  std::size_t documentLength_ = 600;
  ReplyFaults replyFaults_;
};

}  // namespace lab
