#include "UI/FirstRunCard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "UI/Controls/FocusKeeper.h"
#include "UI/Icons.h"
#include "UI/MenuBarState.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int stepIndent = 24;
constexpr int sideMargin = 16;
constexpr int endMargin = 12;
constexpr int progressHeight = 4;
/// Two lines of a caption: what stands below does not move when the note gets longer.
constexpr int noteHeight = 32;
/// Three lines of it, as in the panel.
constexpr int commandHeight = 60;

QPushButton* makeCardButton(const char* objectName, const char* text, QWidget* parent) {
  auto* const button = new QPushButton(QString::fromUtf8(text), parent);
  button->setObjectName(QString::fromLatin1(objectName));
  button->setProperty("compact", true);
  button->setAutoDefault(false);
  return button;
}

QVBoxLayout* makeIndented(QWidget* box) {
  auto* const column = new QVBoxLayout(box);
  column->setContentsMargins(stepIndent, 0, 0, 2);
  column->setSpacing(4);
  return column;
}

}  // namespace

FirstRunCard::FirstRunCard(QWidget* parent) : QFrame(parent) {
  setObjectName(QStringLiteral("firstRun"));
  setAccessibleName(QString::fromUtf8(FirstRunText::title));
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(sideMargin, endMargin, sideMargin, endMargin);
  column->setSpacing(6);
  title_ = makeWrappedLabel(this, TextRole::headline, FirstRunText::title);
  column->addWidget(title_);
  for (int position = 0; position < 3; ++position) steps_.at(static_cast<std::size_t>(position)) = makeStep(position);
  setUpBox_ = makeSetUp();
  testBox_ = makeTest();
  column->addWidget(steps_[0].row);
  column->addWidget(steps_[1].row);
  column->addWidget(setUpBox_);
  column->addWidget(steps_[2].row);
  column->addWidget(testBox_);
  complete_ = makeWrappedLabel(this, TextRole::secondary, FirstRunText::complete);
  column->addWidget(complete_);
  done_ = makeCardButton("firstRunDone", FirstRunText::done, this);
  connect(done_, &QPushButton::clicked, this, &FirstRunCard::acknowledged);
  column->addWidget(done_, 0, Qt::AlignLeft);
  hide();
}

FirstRunCard::StepLine FirstRunCard::makeStep(int position) {
  StepLine line;
  line.row = new QWidget(this);
  line.row->setObjectName(QStringLiteral("firstRunStep%1").arg(position + 1));
  auto* const layout = new QHBoxLayout(line.row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);
  line.mark = new IconLabel(QStringLiteral("circle"), line.row);
  layout->addWidget(line.mark);
  line.title = makeLabel(line.row, TextRole::body);
  layout->addWidget(line.title, 1);
  line.value = makeLabel(line.row, TextRole::secondary);
  layout->addWidget(line.value);
  return line;
}

QWidget* FirstRunCard::makeSetUp() {
  auto* const box = new QWidget(this);
  QVBoxLayout* const column = makeIndented(box);
  setUp_ = makeCardButton("setUpHelper", MenuBarText::setUpHelper, box);
  setUp_->setProperty("kind", "primary");
  connect(setUp_, &QPushButton::clicked, this, &FirstRunCard::setUpRequested);
  column->addWidget(setUp_);
  column->addWidget(makeWrappedLabel(box, TextRole::secondary, MenuBarText::approveNote));
  commandBox_ = makeCommand();
  column->addWidget(commandBox_);
  column->addWidget(makeWrappedLabel(box, TextRole::secondary, MenuBarText::otherAppsNote));
  return box;
}

QWidget* FirstRunCard::makeCommand() {
  auto* const box = new QWidget(this);
  auto* const column = new QVBoxLayout(box);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(2);
  column->addWidget(makeWrappedLabel(box, TextRole::secondary, FirstRunText::commandNote));
  auto* const row = new QHBoxLayout;
  row->setSpacing(6);
  command_ = new QPlainTextEdit(box);
  command_->setObjectName(QStringLiteral("approvalCommand"));
  command_->setAccessibleName(QString::fromUtf8(FirstRunText::commandNote));
  command_->setReadOnly(true);
  command_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  command_->setTabChangesFocus(true);
  command_->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  command_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  command_->setFixedHeight(commandHeight);
  row->addWidget(command_, 1);
  copy_ = makeCardButton("copyCommand", FirstRunText::copy, box);
  connect(copy_, &QPushButton::clicked, this, [this] {
    QGuiApplication::clipboard()->setText(command_->toPlainText());
    copy_->setText(QString::fromUtf8(FirstRunText::copied));
  });
  row->addWidget(copy_, 0, Qt::AlignTop);
  column->addLayout(row);
  return box;
}

QWidget* FirstRunCard::makeTest() {
  auto* const box = new QWidget(this);
  QVBoxLayout* const column = makeIndented(box);
  test_ = makeCardButton("runSupervisedTest", MenuBarText::supervisedTest, box);
  connect(test_, &QPushButton::clicked, this, &FirstRunCard::testRequested);
  column->addWidget(test_);
  progress_ = new QProgressBar(box);
  progress_->setObjectName(QStringLiteral("testProgress"));
  progress_->setAccessibleName(QString::fromUtf8(FirstRunText::testRuns));
  // How long the fan takes nobody knows.
  progress_->setRange(0, 0);
  progress_->setTextVisible(false);
  progress_->setFixedHeight(progressHeight);
  QSizePolicy kept = progress_->sizePolicy();
  kept.setRetainSizeWhenHidden(true);
  progress_->setSizePolicy(kept);
  column->addWidget(progress_);
  column->addWidget(makeWrappedLabel(box, TextRole::secondary, MenuBarText::supervisedTestNote));
  testNote_ = makeWrappedLabel(box, TextRole::secondary);
  testNote_->setObjectName(QStringLiteral("testNote"));
  testNote_->setMinimumHeight(noteHeight);
  testNote_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  column->addWidget(testNote_);
  return box;
}

void FirstRunCard::apply(const FirstRunState& state) {
  if (state == shown_) return;
  setLabelText(title_, state.isComplete ? FirstRunText::completeTitle : FirstRunText::title);
  for (std::size_t each = 0; each < steps_.size(); ++each) applyStep(steps_.at(each), state.steps.at(each));
  setEnabledKeepingFocus(setUp_, state.canSetUp);
  setVisibleKeepingFocus(setUpBox_, state.showsSetUp);
  const QString command = textOf(state.command);
  if (command_->toPlainText() != command) {
    command_->setPlainText(command);
    copy_->setText(QString::fromUtf8(FirstRunText::copy));
  }
  setVisibleKeepingFocus(commandBox_, !state.command.empty());
  setEnabledKeepingFocus(test_, state.canTest);
  setVisibleKeepingFocus(test_, state.showsTest);
  setVisibleKeepingFocus(testBox_, state.showsTestCaption);
  progress_->setVisible(state.isTesting);
  setLabelText(testNote_, state.testNote);
  if (state.testNoteIsError != shown_.testNoteIsError) {
    testNote_->setProperty("role", state.testNoteIsError ? "error" : "secondary");
    restyle(testNote_);
  }
  complete_->setVisible(state.isComplete);
  setVisibleKeepingFocus(done_, state.isComplete);
  setVisibleKeepingFocus(this, state.isShown);
  shown_ = state;
}

void FirstRunCard::applyStep(StepLine& line, const FirstRunState::Step& step) {
  using Mark = FirstRunState::Mark;
  setLabelText(line.title, step.title);
  setLabelText(line.value, step.value);
  switch (step.mark) {
    case Mark::done:
      line.mark->setName(QStringLiteral("check-circle-fill"));
      line.mark->setColor([] { return Theme::current().ok; });
      break;
    case Mark::current:
      line.mark->setName(QStringLiteral("circle"));
      line.mark->setColor([] { return Theme::current().accent; });
      break;
    case Mark::ahead:
      line.mark->setName(QStringLiteral("circle"));
      line.mark->setColor([] { return Theme::current().textDis; });
      break;
    case Mark::failed:
      line.mark->setName(QStringLiteral("warning-fill"));
      line.mark->setColor([] { return Theme::current().err; });
      break;
  }
}

}  // namespace halcyra
