#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Platform/Time.h"

namespace sdbus {
class IConnection;
}

namespace halcyra {

/// One connection to a message bus and the thread that alone touches it. The thread starts with the first `post` and
/// lives until destruction; the connection is opened on demand, and again after a loss.
class BusThread {
 public:
  using Opener = std::function<std::unique_ptr<sdbus::IConnection>()>;

  explicit BusThread(Opener open);
  /// Stops.
  ~BusThread();
  BusThread(const BusThread&) = delete;
  BusThread& operator=(const BusThread&) = delete;

  /// Closes the connection and ends the thread: drops what has not begun, waits for what is under way. What is handed
  /// in later is dropped. Not on the bus thread itself.
  void stop();

  /// Runs `work` on the bus thread. From any thread.
  void post(std::function<void()> work);
  /// The same, not before `delay` has passed.
  void postAfter(Seconds delay, std::function<void()> work);

  /// The open connection; opens it when there is none. Throws `sdbus::Error` when the bus cannot be reached. Bus
  /// thread only.
  sdbus::IConnection& connection();

  /// `lost` is called on the bus thread when the connection breaks, before it is destroyed, and at the end of the
  /// thread; whatever was made from the connection has to be destroyed in it. Bus thread only, while the connection is
  /// open; a handler is forgotten after the loss, and when `owner` is gone.
  void onLoss(std::weak_ptr<void> owner, std::function<void()> lost);

  /// Runs `work` once everything that the bus has sent so far is handled; dropped when the connection breaks first.
  /// Bus thread only.
  void whenDrained(std::function<void()> work);

  /// Destroys `object` (a proxy, say, from within its own callback) soon, in any case before the connection. Bus
  /// thread only.
  void dispose(std::shared_ptr<void> object);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

/// Opens the bus at `address`; the system bus when it is empty.
BusThread::Opener busOpener(std::string address);
BusThread::Opener sessionBusOpener();

}  // namespace halcyra
