// One session: the bridge's own core and platform, in a world that is played on one thread and in
// its own time. Everything that may happen is drawn from the plan's seed. Here are the bridge's
// lives, the time, and what the host does; what is the stack's is the scene's.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ComBLE.h"
#include "lab/Witness.h"
#include "lab/bluetoothd/Agenda.h"
#include "lab/bluetoothd/Dice.h"
#include "lab/models/Models.h"
#include "tests/world/Host.h"
#include "tests/world/Judge.h"
#include "tests/world/Plan.h"
#include "tests/world/Scene.h"

namespace world {

// What the process has taken. memory: bytes; always the same where the allocator does not tell.
struct Taken {
  std::size_t memory;
  int descriptors;
};
Taken takenNow();

class World final : public lab::Witness {
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

  // For the scene.
  lab::Agenda& agenda() { return agenda_; }
  lab::Dice& orderDice() { return orderDice_; }
  Judge& judge() { return judge_; }
  void tell(const std::string& text);

  // What the bridge's clock is.
  Microseconds now() const { return agenda_.now(); }
  void pass(Microseconds duration);

  // The bridge waits until there is something for it, or until that time. mayPass: else time only
  // takes a turn, where there is nothing.
  enum class Woken { bySomething, byTime, byNothing };
  Woken wait(Microseconds time, bool mayPass, const std::function<bool()>& isReady);

  // The bridge's standard output, and what happens around each write to it.
  Host& host() { return host_; }
  void willWrite(std::string_view bytes);
  void didWrite() { act(); }

 private:
  struct Over {};    // the session
  struct Killed {};  // the bridge, from outside

  Fate fateOf(lab::StackDevice& device, std::string_view verb, std::string_view uuid) override;
  void didHear(lab::StackDevice& device) override;
  void didLinkUp(lab::StackDevice& device) override;
  void didLinkDown(lab::StackDevice& device) override;
  void didRead(lab::StackDevice& device, std::string_view uuid, const lab::Bytes* value) override;
  void didWrite(lab::StackDevice& device, std::string_view uuid, const lab::Bytes& value) override;
  void didAnswerSubscription(lab::StackDevice& device, std::string_view uuid, bool isMade) override;
  void didEndSubscription(lab::StackDevice& device, std::string_view uuid) override;
  void didSendValue(lab::StackDevice& device, std::string_view uuid,
                    const lab::Bytes& value) override;
  void didReceive(std::string_view path, std::string_view member) override;
  void didAsk(const std::string& path, const std::string& member) override;
  void didListObjects() override;
  void didAskToConnect(lab::StackDevice& device) override;
  void didFailToConnect(lab::StackDevice& device) override;
  void didFailToDiscover(lab::StackDevice& device) override;
  void didShowCharacteristics(lab::StackDevice& device) override;
  void didInvalidateServices(lab::StackDevice& device) override;
  void didLose(lab::StackDevice& device, std::string_view uuid) override;
  void didLoseWrite(lab::StackDevice& device, std::string_view uuid,
                    const lab::Bytes& value) override;

  void takeOutput();
  void setUp();
  void passStranger(std::size_t number);
  void checkTaken();
  void happen(const Incident& incident);
  void happenToHost(const Incident& incident);
  void sendValues(std::size_t device, std::size_t choice);
  void orderFrom(const lab::StackDevice& device, std::size_t count);
  void liveOnce();
  void act();
  Woken turn(Microseconds time, bool mayPass, const std::function<bool()>& isReady);
  void step(Microseconds limit);
  bool canRest();
  bool comesLate();

  const Plan& plan_;
  std::set<std::size_t> left_;
  Print print_;
  lab::Agenda agenda_;
  lab::Dice orderDice_;
  lab::Dice hostDice_;
  lab::Dice lateDice_;
  std::unique_ptr<Scene> scene_;
  Judge judge_;
  std::vector<std::unique_ptr<lab::BenchDevice>> models_;
  std::vector<lab::StackDevice*> devices_;
  Host host_;

  bool isKilled_ = false;
  bool isActing_ = false;
  bool isOver_ = false;
  bool isWaiting_ = false;
  bool hasLeftCallback_ = false;
  std::set<std::size_t> spoilt_;  // devices whose next request is
  std::size_t spoilChoice_ = 0;
  std::size_t turnsAtOnce_ = 0;    // of the bridge, without that time passes
  std::optional<Taken> taken_;     // when what the plan has in mind was settled
  std::size_t timesHeldBack_ = 0;  // so many times was written while something was held back
  Microseconds writtenAt_{0};
  ComBLE* bridge_ = nullptr;  // the one that lives
};

}  // namespace world
