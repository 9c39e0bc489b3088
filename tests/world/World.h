// One session: the bridge's own core and Linux platform, in a world that is played on one thread
// and in its own time. Everything that may happen is drawn from the plan's seed.
#pragma once

#include <sys/epoll.h>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "Output.h"
#include "lab/bluetoothd/Bluetoothd.h"
#include "lab/models/Models.h"
#include "tests/world/Judge.h"
#include "tests/world/Plan.h"

namespace world {

// Bytes; always the same where the allocator does not tell.
std::size_t memoryInUse();

class World final : private lab::Witness {
 public:
  // left: the incidents that are left out. print: of each line of the session, as it happens.
  using Print = std::function<void(const std::string& line)>;
  World(const Plan& plan, const std::set<std::size_t>& left, Print print);
  ~World();

  // Throws what is wrong.
  void play();

  // A life of the bridge was ended in the middle of a callback, which leaves behind what a process
  // does not.
  bool hasLeftCallback() const { return hasLeftCallback_; }

  // What the bridge's clock is.
  Microseconds now() const { return agenda_.now(); }
  std::size_t wait(int epoll, Microseconds time, std::span<epoll_event> found, bool mayPass);
  void pass(Microseconds duration);

  // The bridge's standard output, and what happens around each write to it.
  Output& output() { return *output_; }
  void willWrite(std::string_view bytes);
  void didWrite();
  void letAllOut();

 private:
  struct Over {};    // the session
  struct Killed {};  // the bridge, from outside

  Fate fateOf(lab::RemoteDevice& device, std::string_view verb, std::string_view uuid) override;
  void didHear(lab::RemoteDevice& device) override;
  void didLinkUp(lab::RemoteDevice& device) override;
  void didLinkDown(lab::RemoteDevice& device) override;
  void didRead(lab::RemoteDevice& device, std::string_view uuid, const lab::Bytes* value) override;
  void didWrite(lab::RemoteDevice& device, std::string_view uuid, const lab::Bytes& value) override;
  void didAnswerSubscription(lab::RemoteDevice& device, std::string_view uuid,
                             bool isMade) override;
  void didEndSubscription(lab::RemoteDevice& device, std::string_view uuid) override;
  void didSendValue(lab::RemoteDevice& device, std::string_view uuid,
                    const lab::Bytes& value) override;
  void didAsk(const std::string& path, const std::string& member) override;
  void didListObjects() override;

  void setUp();
  void happen(const Incident& incident);
  void advertise(std::size_t device);
  void passStranger(std::size_t number);
  void sendValues(std::size_t device, std::size_t choice);
  void liveOnce();
  void act();
  std::size_t poll(int epoll, Microseconds time, std::span<epoll_event> found, bool mayPass);
  void step(Microseconds limit);
  void readOutput();
  bool canRest();
  void tell(const std::string& text);
  std::string adapterOf(std::size_t which) const;

  const Plan& plan_;
  std::set<std::size_t> left_;
  Print print_;
  lab::Agenda agenda_;
  lab::Dice worldDice_;
  lab::Dice orderDice_;
  lab::MessageBus bus_;
  lab::Bluetoothd bluetoothd_;
  Judge judge_;
  std::vector<std::unique_ptr<lab::BenchDevice>> models_;

  int input_ = -1;      // the host's end of the bridge's output
  std::string unread_;  // that was written
  std::unique_ptr<Output> output_;
  bool isStalled_ = false;
  std::deque<std::string> commands_;
  bool isInputAtEnd_ = false;
  bool isKilled_ = false;
  bool isActing_ = false;
  bool isOver_ = false;
  bool isWaiting_ = false;
  bool hasLeftCallback_ = false;
  std::set<std::size_t> spoilt_;  // devices whose next request is
  std::size_t spoilChoice_ = 0;
  std::size_t turnsAtOnce_ = 0;    // of the bridge, without that time passes
  std::size_t memoryInUse_ = 0;    // when half of the strangers had passed
  std::size_t writtenAtOnce_ = 0;  // lines, while something is held back
  void* bridge_ = nullptr;         // the ComBLE that lives
};

}  // namespace world
