// A Fenwix: two RMS streams, two raw streams, battery level and health, five identification numbers
// and a command channel.
#pragma once

#include <array>

#include "lab/models/BenchDevice.h"

namespace lab {

class FenwixModel : public BenchDevice {
 public:
  explicit FenwixModel(std::string name = "Nomsuel-1");

  // The RMS value with this number: a positive binary32 below 1, little-endian, that tells the
  // lower 16 bits of the number.
  static Bytes rms(std::uint32_t sequence);

  // The raw value with this number, 20 bytes: the number in 4 bytes, little-endian, and samples.
  static Bytes raw(std::uint32_t sequence);

  // A JSON document of exactly this many bytes, all of them ASCII.
  static Bytes document(std::size_t length);

 private:
  // How replies to commands go wrong.
  struct ReplyFaults {
    std::optional<Bytes> replaced;
    std::optional<std::size_t> length;
    std::optional<std::size_t> part;
    bool hasInvalidText = false;
  };

  Bytes sample(Id stream, std::uint32_t sequence) override;
  // A command: code, length of the argument in 2 bytes, argument. Code 19 is answered with the
  // document, any other one with its own argument.
  AttError written(Id id, std::span<const std::uint8_t> value) override;
  // json N: the document's length, 0 to 65535. health N.
  bool controlled(std::string_view verb, std::string_view argument) override;
  // reply=HEX: these bytes answer every command. reply-cut=N: a reply ends after N bytes, header
  // included. reply-part=N: it is cut into notifications of N bytes. invalid-utf8: the document
  // is no text.
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
