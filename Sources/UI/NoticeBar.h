#pragma once

#include <QFrame>
#include <functional>
#include <optional>
#include <string>

class QLabel;
class QToolButton;

namespace halcyra {

/// The last error at the end of a window, under what scrolls, so that its coming and going moves nothing that can be
/// clicked. It can be selected, copied and put
/// away.
class NoticeBar : public QFrame {
  Q_OBJECT

 public:
  explicit NoticeBar(std::function<void()> dismiss, QWidget* parent = nullptr);

  /// Hides the bar where there is nothing to say.
  void setError(const std::optional<std::string>& error);

 private:
  QLabel* error_ = nullptr;
  QToolButton* dismiss_ = nullptr;
};

}  // namespace halcyra
