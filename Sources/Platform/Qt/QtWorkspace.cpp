#include "Platform/Qt/QtWorkspace.h"

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QStandardPaths>
#include <QWidget>

namespace halcyra {

namespace {

const auto jsonFilter = QStringLiteral("JSON (*.json)");

std::optional<std::string> chosenPath(const QString& path) {
  if (path.isEmpty()) return std::nullopt;
  return path.toStdString();
}

}  // namespace

std::optional<std::string> QtWorkspace::runSavePanel(const std::string& suggestedName) {
  QFileDialog dialog(QApplication::activeWindow());
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setNameFilter(jsonFilter);
  dialog.setDefaultSuffix(QStringLiteral("json"));
  dialog.setDirectory(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
  dialog.selectFile(QString::fromStdString(suggestedName));
  return dialog.exec() == QDialog::Accepted ? chosenPath(dialog.selectedFiles().value(0)) : std::nullopt;
}

std::optional<std::string> QtWorkspace::runOpenPanel() {
  return chosenPath(QFileDialog::getOpenFileName(QApplication::activeWindow(), {},
                                                 QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation),
                                                 jsonFilter));
}

void QtWorkspace::activateApplication() {
  if (activate_) activate_();
}

void QtWorkspace::showWarning(const std::string& message, const std::string& informativeText,
                              const std::string& button) {
  QMessageBox box(QMessageBox::NoIcon, QStringLiteral("Aerovane"), QString::fromStdString(message),
                  QMessageBox::NoButton, QApplication::activeWindow());
  box.setObjectName(QStringLiteral("warning"));
  box.setInformativeText(QString::fromStdString(informativeText));
  // Both may tell what stands in a file that somebody else has written.
  for (QLabel* label : box.findChildren<QLabel*>()) label->setTextFormat(Qt::PlainText);
  box.addButton(QString::fromStdString(button), QMessageBox::AcceptRole);
  box.exec();
}

}  // namespace halcyra
