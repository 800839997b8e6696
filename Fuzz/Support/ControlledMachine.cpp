#include "Support/ControlledMachine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

#include "nlohmann/json.hpp"

#include "Platform/Linux/UnixSocket.h"
#include "Support/Expect.h"

namespace halcyra::fuzz {

namespace {

/// A server that does not answer is a finding; only then is this waited for.
constexpr time_t answerTimeoutSeconds = 20;

void sendAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = ::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string receiveAll(int descriptor) {
  std::string received;
  std::array<char, 4096> buffer{};
  ssize_t count = 0;
  // The fuzzer's own timer interrupts.
  while ((count = ::recv(descriptor, buffer.data(), buffer.size(), 0)) > 0 || (count < 0 && errno == EINTR)) {
    received.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  expect(count == 0, "the server answers and closes the connection");
  return received;
}

}  // namespace

ControlledMachine::ControlledMachine()
    : layout_(RuntimeLayout::inFolder(folder_.path())),
      machine_(reactor_, "idle", 1),
      smc_(reactor_, machine_, layout_),
      competitor_(layout_),
      sleep_(reactor_, layout_),
      commandSet_(machine_, smc_, sleep_, competitor_),
      control_(reactor_, layout_.controlSocket,
               [this](const std::vector<std::string>& arguments, const std::function<void(ControlAnswer)>& answer) {
                 perform(arguments, answer);
               }) {
  noteSettings();
  smc_.start();
  control_.start();
  loop_ = std::thread([this] { reactor_.run(); });
}

ControlledMachine::~ControlledMachine() {
  reactor_.stop();
  loop_.join();
}

void ControlledMachine::perform(const std::vector<std::string>& arguments,
                                const std::function<void(ControlAnswer)>& answer) {
  {
    const std::lock_guard lock(mutex_);
    commands_.push_back(arguments);
  }
  const bool namesFile = arguments.size() == 2 && arguments[0] == "workload" &&
                         (arguments[1].find('/') != std::string::npos || arguments[1].ends_with(".csv"));
  if (namesFile || arguments == std::vector<std::string>{"competitor", "on"}) {
    throw VirtualMacError("Not here.");
  }
  try {
    commandSet_.perform(arguments, [this, answer](const ControlAnswer& result) {
      noteSettings();
      answer(result);
    });
  } catch (...) {
    noteSettings();
    throw;
  }
}

void ControlledMachine::noteSettings() {
  const std::lock_guard lock(mutex_);
  settings_ = {machine_.faults().active(), machine_.workload(), sleep_.isAsleep(), competitor_.isRunning()};
}

int ControlledMachine::connect() const {
  const auto address = unixSocketAddress(layout_.controlSocket);
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval timeout{answerTimeoutSeconds, 0};
  ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  expect(address && ::connect(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0,
         "the server takes connections");
  return descriptor;
}

ControlAnswer ControlledMachine::exchange(const std::string& text) {
  const int descriptor = connect();
  sendAll(descriptor, std::string_view(text).substr(0, text.size() / 2));
  sendAll(descriptor, std::string_view(text).substr(text.size() / 2));
  const std::string received = receiveAll(descriptor);
  ::close(descriptor);
  expect(!received.empty() && received.find('\n') == received.size() - 1, "the answer is one line");
  const auto answer = nlohmann::json::parse(received, nullptr, false);
  expect(answer.is_object() && answer.size() == 2 && answer.contains("status") && answer.contains("text") &&
             answer["status"].is_number_integer() && answer["text"].is_string(),
         "the answer has a status and a text");
  return {answer["status"].get<int>(), answer["text"].get<std::string>()};
}

void ControlledMachine::sendAndLeave(const std::string& text) {
  const int descriptor = connect();
  sendAll(descriptor, text);
  ::close(descriptor);
}

ControlledMachine::Settings ControlledMachine::settings() {
  const std::lock_guard lock(mutex_);
  return settings_;
}

void ControlledMachine::checkShow() {
  const ControlAnswer answer = exchange("{\"arguments\": [\"show\"]}\n");
  expect(answer.status == 0, "the machine tells its state at any time");
  const auto state = nlohmann::json::parse(answer.text);
  const Settings told{state.at("faults").get<std::vector<std::string>>(), state.at("workload").get<std::string>(),
                      state.at("asleep").get<bool>(), state.at("competitor").get<bool>()};
  expect(told == settings(), "the state that the machine tells is the one that it has");
}

std::vector<std::vector<std::string>> ControlledMachine::commands() {
  const std::lock_guard lock(mutex_);
  return commands_;
}

}  // namespace halcyra::fuzz
