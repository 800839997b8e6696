#pragma once

#include <functional>
#include <memory>
#include <string>

class QMessageBox;

namespace halcyra {

/// The window that quitting opens when the hand-back of the fans takes long, or could not be confirmed.
class QuitNotice {
 public:
  /// `quit` is called once, when the person does not want to wait any longer or has read the failure.
  explicit QuitNotice(std::function<void()> quit);
  ~QuitNotice();

  void showWaiting();
  /// `failure`: which fans may still be manual, and why.
  void showFailure(const std::string& failure);

 private:
  void show(const std::string& message, const std::string& explanation);

  std::function<void()> quit_;
  std::unique_ptr<QMessageBox> box_;
};

}  // namespace halcyra
