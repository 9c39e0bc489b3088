// The bridge's standard output, as the session sees it: each write to it.
#include "Output.h"
#include "tests/world/World.h"
#include "tests/world/Wrong.h"

namespace world {

namespace {

World* current = nullptr;

// The lines of one callback come at one time. Those of the run loop itself are few.
constexpr std::size_t kMostTimesHeldBack = 3;

}  // namespace

void World::takeOutput() {
  current = this;
}

World::~World() {
  current = nullptr;
}

void World::willWrite(std::string_view bytes) {
  act();
  // A host may read at any moment: also between the lines of one callback.
  if (host_.output().holdsBack() && hostDice_.oneIn(2)) host_.readPipe();
  if (!host_.output().holdsBack()) timesHeldBack_ = 0;
  if (host_.output().holdsBack() && now() != writtenAt_) ++timesHeldBack_;
  writtenAt_ = now();
  if (timesHeldBack_ > kMostTimesHeldBack) throw Wrong("goes on telling a host that does not read");
  // Without the time, which is the machine's.
  const bool isLog = bytes.starts_with("<@") && bytes.size() > 17;
  tell("> " + std::string(isLog ? "<@" : "") +
       std::string(bytes.substr(isLog ? 14 : 0, bytes.size() - (isLog ? 15 : 1))));
  judge_.didWrite(bytes);
  host_.willRead(bytes);
}

}  // namespace world

// What the core takes for the process's output is the output of the bridge that lives. The linker
// puts these in the place of standardOutput(), Output::write() and Output::waitUntilOut().
Output& wrapStandardOutput() asm("__wrap__Z14standardOutputv");
extern "C" {
void __real__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(Output* output,
                                                                        std::string_view bytes);
void __wrap__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(Output* output,
                                                                        std::string_view bytes);
void __wrap__ZN6Output12waitUntilOutEv(Output* output);
}

Output& wrapStandardOutput() {
  return world::current->host().output();
}

extern "C" {
void __wrap__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(Output* output,
                                                                        std::string_view bytes) {
  world::current->willWrite(bytes);
  __real__ZN6Output5writeESt17basic_string_viewIcSt11char_traitsIcEE(output, bytes);
  world::current->didWrite();
}

void __wrap__ZN6Output12waitUntilOutEv(Output* /*output*/) {
  world::current->host().letAllOut();
}
}
