// Faults of a device: what it refuses, hides, cuts short or answers wrongly.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "lab/DeviceModel.h"
#include "lab/Uuid.h"

namespace lab {

class ModelFaults {
 public:
  // "refuse-read=UUID[:CODE]", "refuse-write=UUID[:CODE]", "refuse-subscribe=UUID[:CODE]": an ATT
  // error answers; CODE defaults to not permitted.
  // "short=UUID:N": values of that characteristic are cut to N bytes.
  // "value=UUID:HEX": it reads and sends these bytes, whatever its value is.
  // "hide=UUID": the service or characteristic is left out of the tree.
  // "last=UUID": the service comes last in the tree, the characteristic last in its service.
  // False when it is none of these.
  bool set(std::string_view name, std::string_view argument);

  AttError onRead(const Uuid& uuid) const { return find(reads_, uuid); }
  AttError onWrite(const Uuid& uuid) const { return find(writes_, uuid); }
  AttError onSubscribe(const Uuid& uuid) const { return find(subscriptions_, uuid); }
  bool hides(const Uuid& uuid) const { return hidden_.contains(uuid); }
  bool isLast(const Uuid& uuid) const { return last_.contains(uuid); }

  // The value as the faults make the device send it.
  Bytes spoil(const Uuid& uuid, Bytes value) const;

 private:
  using Refusals = std::map<Uuid, AttError>;
  static AttError find(const Refusals& refusals, const Uuid& uuid);
  static bool setRefusal(Refusals& refusals, const Uuid& uuid, std::string_view code,
                         AttError usual);

  Refusals reads_;
  Refusals writes_;
  Refusals subscriptions_;
  std::map<Uuid, std::size_t> lengths_;
  std::map<Uuid, Bytes> values_;
  std::set<Uuid> hidden_;
  std::set<Uuid> last_;
};

}  // namespace lab
