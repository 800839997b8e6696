#include "UI/QuitNotice.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <utility>

namespace halcyra {

QuitNotice::QuitNotice(std::function<void()> quit) : quit_(std::move(quit)) {}

QuitNotice::~QuitNotice() = default;

void QuitNotice::showWaiting() {
  show("Waiting for the helper to hand the fans back…",
       "Aerovane quits as soon as the fans are under automatic control again.");
}

void QuitNotice::showFailure(const std::string& failure) {
  std::string sentence = failure;
  if (!sentence.empty() && sentence[0] >= 'a' && sentence[0] <= 'z') sentence[0] = static_cast<char>(sentence[0] - 32);
  show("The fans could not be handed back", sentence + ". The helper goes on trying after Aerovane has quit.");
}

void QuitNotice::show(const std::string& message, const std::string& explanation) {
  if (!box_) {
    box_ = std::make_unique<QMessageBox>();
    box_->setObjectName(QStringLiteral("quitNotice"));
    box_->setWindowTitle(QStringLiteral("Aerovane"));
    // The box measures the headline in the font that it has before the style makes it bold.
    box_->setStyleSheet(QStringLiteral("QLabel#qt_msgbox_label { min-width: 330px; }"));
    QPushButton* const button = box_->addButton(QStringLiteral("Quit anyway"), QMessageBox::AcceptRole);
    button->setObjectName(QStringLiteral("quitAnyway"));
    QObject::connect(button, &QPushButton::clicked, box_.get(), [this] {
      if (const auto quit = std::exchange(quit_, nullptr)) quit();
    });
  }
  box_->setText(QString::fromStdString(message));
  box_->setInformativeText(QString::fromStdString(explanation));
  // The reason may tell what another process has said.
  for (QLabel* label : box_->findChildren<QLabel*>()) label->setTextFormat(Qt::PlainText);
  // Not modal: nothing waits for it.
  box_->setModal(false);
  box_->show();
  box_->raise();
}

}  // namespace halcyra
