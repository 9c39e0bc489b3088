// One link to an ATT server, PDUs written as hexadecimal text.
//
// The attributes: 0001..0005 generic access (name at 0003, appearance at 0005), 0006 generic
// attribute, 0007..000C service AA40 with AA41 (value 0009, configuration 000A; read, write,
// notify) and 2A24 (value 000C; read), 000D..0010 service 85538AF7-... with 23BCDD50-... (value
// 000F, configuration 0010; indicate).
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "lab/FakeModel.h"

namespace lab {

class AttServerFixture : public testing::Test {
 protected:
  std::string ask(std::string_view pdu) { return toHex(server_.receive(*fromHex(pdu))); }
  std::string step(std::string_view pdu) { return server_.step(*fromHex(pdu)); }
  std::string pdu(CharacteristicIndex characteristic, const Bytes& value) {
    const std::optional<Bytes> carried = server_.valuePdu(characteristic, value);
    return carried ? toHex(*carried) : "none";
  }

  FakeModel model_{{{"AA40",
                     {{.uuid = "AA41", .read = true, .write = true, .notify = true},
                      {.uuid = "2A24", .read = true}}},
                    {"85538AF7-9604-4F46-A933-C9E7A9E05748",
                     {{.uuid = "23BCDD50-00AC-446D-92B9-07AB6E436AD8", .indicate = true}}}}};
  AttEvents observer_;
  AttServer server_{model_, observer_, 517};
};

}  // namespace lab
