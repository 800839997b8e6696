#include "UI/FanCurveEditor.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "App/PresetDrafts.h"
#include "UI/Controls/PaneScrolling.h"
#include "UI/FanCurveEditorBlock.h"
#include "UI/PresetListState.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int cardPadding = 18;
constexpr int boxPadding = 14;
constexpr int nameFieldWidth = 240;
/// Under the toggle's text, not its box.
constexpr int captionIndent = 25;
/// Room for two lines, so that the buttons stay where they are.
constexpr int noteHeight = 32;

bool haveSameFans(const std::vector<FanCurveEditorBlock*>& shown, const std::vector<EditorBlock>& wanted) {
  if (shown.size() != wanted.size()) return false;
  for (std::size_t each = 0; each < shown.size(); ++each) {
    if (shown[each]->fan() != wanted[each].fan) return false;
  }
  return true;
}

}  // namespace

FanCurveEditor::FanCurveEditor(Callback onSave, Callback onDelete, QWidget* parent)
    : QWidget(parent),
      onSave_(std::move(onSave)),
      onDelete_(std::move(onDelete)),
      preset_(FanPreset::cpuCoreDefault()),
      saved_(preset_) {
  setObjectName(QStringLiteral("fanCurveEditor"));
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(8);
  column->addWidget(makeLabel(this, "editorTitle", TextRole::headline, EditorText::title));
  auto* const card = new QFrame(this);
  card->setProperty("card", true);
  auto* const rows = new QVBoxLayout(card);
  rows->setContentsMargins(cardPadding, editorRowSpacing, cardPadding, editorRowSpacing);
  rows->setSpacing(editorRowSpacing);
  column->addWidget(card);
  rows->addWidget(makeNameAndSource());
  link_ = makeLink();
  rows->addWidget(link_);
  blockRow_ = new QHBoxLayout;
  blockRow_->setSpacing(editorRowSpacing);
  rows->addLayout(blockRow_);
  rows->addWidget(makeButtons());
  refresh();
}

QWidget* FanCurveEditor::makeNameAndSource() {
  auto* const row = new QWidget(this);
  nameAndSource_ = new QHBoxLayout(row);
  nameAndSource_->setContentsMargins(0, 0, 0, 0);
  nameAndSource_->setSpacing(editorRowSpacing);
  auto* const cell = new QVBoxLayout;
  cell->setSpacing(editorLabelSpacing);
  QLabel* const caption = makeLabel(row, TextRole::secondary, EditorText::name);
  cell->addWidget(caption);
  name_ = new QLineEdit(row);
  name_->setObjectName(QStringLiteral("presetName"));
  name_->setPlaceholderText(textOf(EditorText::namePrompt));
  name_->setAccessibleName(textOf(EditorText::name));
  name_->setMaximumWidth(nameFieldWidth);
  caption->setBuddy(name_);
  connect(name_, &QLineEdit::textEdited, this,
          [this](const QString& text) { change([&](FanPreset& preset) { preset.name = text.toStdString(); }); });
  // A long name shows its start.
  connect(name_, &QLineEdit::editingFinished, this, [this] { name_->setCursorPosition(0); });
  cell->addWidget(name_);
  nameAndSource_->addLayout(cell, 1);
  source_ = makeSource();
  nameAndSource_->addWidget(source_, 0, Qt::AlignBottom | Qt::AlignRight);
  return row;
}

QWidget* FanCurveEditor::makeSource() {
  auto* const segmented = new QFrame(this);
  // The stylesheet knows segmented controls by this name.
  segmented->setObjectName(QStringLiteral("segmented"));
  segmented->setAccessibleName(textOf(EditorText::source));
  auto* const row = new QHBoxLayout(segmented);
  row->setContentsMargins(2, 2, 2, 2);
  row->setSpacing(0);
  auto* const group = new QButtonGroup(segmented);
  const auto makeSegment = [&](std::string_view text, const char* name, ControlStrategy strategy) {
    auto* const segment = new QPushButton(textOf(text), segmented);
    segment->setObjectName(QString::fromLatin1(name));
    segment->setAccessibleDescription(textOf(EditorText::source));
    segment->setCheckable(true);
    segment->setAutoDefault(false);
    group->addButton(segment);
    row->addWidget(segment);
    // Also when it is the chosen one: then the value that it shows becomes the preset's.
    connect(segment, &QPushButton::clicked, this,
            [this, strategy] { change([&](FanPreset& preset) { setStrategy(preset, strategy); }); });
    return segment;
  };
  curveSegment_ = makeSegment(EditorText::curve, "sourceCurve", ControlStrategy::cpuCoreAverage);
  constantSegment_ = makeSegment(EditorText::constant, "sourceConstant", ControlStrategy::constantRPM);
  return segmented;
}

QWidget* FanCurveEditor::makeLink() {
  auto* const cell = new QWidget(this);
  auto* const rows = new QVBoxLayout(cell);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->setSpacing(editorLabelSpacing);
  linkToggle_ = new QCheckBox(cell);
  linkToggle_->setObjectName(QStringLiteral("linkFans"));
  connect(linkToggle_, &QCheckBox::toggled, this,
          [this](bool linked) { change([&](FanPreset& preset) { setLinked(preset, linked); }); });
  rows->addWidget(linkToggle_);
  linkCaption_ = makeLabel(cell, "linkCaption", TextRole::caption2);
  makeShrinkable(linkCaption_);
  linkCaption_->setContentsMargins(captionIndent, 0, 0, 0);
  rows->addWidget(linkCaption_);
  return cell;
}

QWidget* FanCurveEditor::makeButtons() {
  auto* const cell = new QWidget(this);
  buttons_ = new QGridLayout(cell);
  buttons_->setContentsMargins(0, 0, 0, 0);
  buttons_->setHorizontalSpacing(editorRowSpacing);
  buttons_->setVerticalSpacing(editorLabelSpacing);
  const auto makeButton = [](QWidget* parent, std::string_view text, const char* name, const char* kind) {
    auto* const button = new QPushButton(textOf(text), parent);
    button->setObjectName(QString::fromLatin1(name));
    button->setProperty("kind", QString::fromLatin1(kind));
    button->setAutoDefault(false);
    return button;
  };
  delete_ = makeButton(cell, EditorText::remove, "deletePreset", "destructive");
  connect(delete_, &QPushButton::clicked, this, &FanCurveEditor::askForDeletion);
  noteRow_ = new QWidget(cell);
  auto* const row = new QHBoxLayout(noteRow_);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(editorRowSpacing);
  note_ = makeLabel(noteRow_, "editorNote", TextRole::secondary);
  makeShrinkable(note_);
  note_->setMinimumHeight(noteHeight);
  row->addWidget(note_, 1);
  revert_ = makeButton(noteRow_, EditorText::revert, "revertPreset", "");
  revert_->setToolTip(textOf(EditorText::revertTip));
  QSizePolicy policy = revert_->sizePolicy();
  policy.setRetainSizeWhenHidden(true);
  revert_->setSizePolicy(policy);
  connect(revert_, &QPushButton::clicked, this, &FanCurveEditor::revert);
  row->addWidget(revert_);
  save_ = makeButton(cell, EditorText::save, "saveAndApply", "primary");
  connect(save_, &QPushButton::clicked, this, &FanCurveEditor::save);
  layOutButtons();
  return cell;
}

void FanCurveEditor::layOutButtons() {
  for (QWidget* const each : {static_cast<QWidget*>(delete_), noteRow_, static_cast<QWidget*>(save_)}) {
    buttons_->removeWidget(each);
  }
  const int row = isNarrow_ ? 1 : 0;
  buttons_->addWidget(delete_, row, 0);
  isNarrow_ ? buttons_->addWidget(noteRow_, 0, 0, 1, 3) : buttons_->addWidget(noteRow_, 0, 1);
  buttons_->addWidget(save_, row, 2);
  buttons_->setColumnStretch(1, 1);
  note_->setAlignment((isNarrow_ ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
}

void FanCurveEditor::setPreset(const FanPreset& preset) {
  const std::optional<FanPreset> draft = drafts_ != nullptr ? drafts_->draft(preset.id) : std::nullopt;
  // Saving hands the preset in again.
  wasJustSaved_ = wasJustSaved_ && preset == saved_ && !draft;
  const FanPreset working = draft.value_or(preset);
  saved_ = preset;
  preset_ = working;
  refresh();
}

void FanCurveEditor::setName(const std::string& name) {
  const std::string before = std::exchange(saved_.name, name);
  change([&](FanPreset& preset) {
    if (preset.name == before) preset.name = name;
  });
}

void FanCurveEditor::setFanIndices(const std::vector<int>& indices) {
  if (indices == fanIndices_) return;
  fanIndices_ = indices;
  refresh();
}

void FanCurveEditor::setReadings(const std::vector<CurveReading>& readings) {
  if (readings == readings_) return;
  readings_ = readings;
  applyReadings();
}

void FanCurveEditor::applyReadings() {
  for (FanCurveEditorBlock* const block : blocks_) {
    std::vector<CurveReading> own;
    std::ranges::copy_if(readings_, std::back_inserter(own), [block](const CurveReading& reading) {
      return !block->fan() || reading.fan == *block->fan();
    });
    block->setReadings(own);
  }
}

void FanCurveEditor::beginNaming() {
  scrollIntoView(*this);
  name_->setFocus(Qt::OtherFocusReason);
  name_->selectAll();
}

void FanCurveEditor::setNarrow(bool narrow) {
  if (narrow == isNarrow_) return;
  isNarrow_ = narrow;
  layOutButtons();
  nameAndSource_->setDirection(narrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
  nameAndSource_->setAlignment(source_, Qt::AlignBottom | (narrow ? Qt::AlignLeft : Qt::AlignRight));
  for (QPushButton* const segment : {curveSegment_, constantSegment_}) {
    segment->setStyleSheet(narrow ? QStringLiteral("font-size: 11px; padding: 0 5px;") : QString());
  }
  layOutBlocks();
}

void FanCurveEditor::change(const std::function<void(FanPreset&)>& edit) {
  edit(preset_);
  if (drafts_ != nullptr) drafts_->keep(preset_, saved_);
  wasJustSaved_ = false;
  keepScrollPosition(*this);
  refresh();
}

void FanCurveEditor::refresh() {
  const FanCurveEditorState state = makeFanCurveEditorState({preset_, saved_, wasJustSaved_}, fanIndices_);
  // Typing moves the cursor; only a name from elsewhere is set.
  if (name_->text().toStdString() != state.name) {
    name_->setText(textOf(state.name));
    name_->setCursorPosition(0);
  }
  {
    const QSignalBlocker quietLink(linkToggle_);
    (state.isConstant ? constantSegment_ : curveSegment_)->setChecked(true);
    linkToggle_->setChecked(state.isLinked);
  }
  link_->setVisible(state.showsLink);
  linkToggle_->setText(textOf(state.linkLabel));
  setLabelText(linkCaption_, state.linkCaption);
  if (!haveSameFans(blocks_, state.blocks)) makeBlocks(state.blocks);
  for (std::size_t each = 0; each < blocks_.size(); ++each) {
    blocks_[each]->apply(state.blocks[each], state.isConstant, state.hysteresis);
  }
  delete_->setVisible(state.showsDelete);
  save_->setEnabled(state.canSave);
  save_->setToolTip(state.canSave ? QString() : toolTipOf(state.note));
  save_->setAccessibleDescription(state.canSave ? QString() : textOf(state.note));
  revert_->setVisible(state.isEdited);
  setLabelText(note_, state.note);
  const QString role = state.noteIsReason ? QStringLiteral("conflict") : QStringLiteral("secondary");
  if (note_->property("role").toString() != role) {
    note_->setProperty("role", role);
    restyle(note_);
  }
}

void FanCurveEditor::makeBlocks(const std::vector<EditorBlock>& blocks) {
  // A half-typed number is submitted when its field is hidden, and would ask for blocks while they are made.
  for (FanCurveEditorBlock* const block : blocks_) block->blockSignals(true);
  for (QWidget* const box : boxes_) {
    box->hide();
    // A field of it may be telling of its change just now.
    box->deleteLater();
    box->setParent(nullptr);
  }
  boxes_.clear();
  blocks_.clear();
  for (const EditorBlock& each : blocks) {
    auto* const box = new QWidget(this);
    auto* const column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    auto* const block = new FanCurveEditorBlock(each.fan, box);
    if (each.fan) {
      column->addWidget(makeLabel(box, "editorBlockTitle", TextRole::headline, each.title));
      auto* const frame = new QFrame(box);
      frame->setProperty("inner", true);
      frame->setAccessibleName(textOf(each.title));
      auto* const inner = new QVBoxLayout(frame);
      inner->setContentsMargins(boxPadding, boxPadding, boxPadding, boxPadding);
      inner->addWidget(block);
      column->addWidget(frame, 1);
    } else {
      column->addWidget(block);
    }
    connectBlock(block);
    boxes_.push_back(box);
    blocks_.push_back(block);
    blockRow_->addWidget(box, 1);
    box->show();
  }
  QWidget* last = linkToggle_;
  for (const FanCurveEditorBlock* const block : blocks_) {
    for (QWidget* const next : block->focusOrder()) {
      setTabOrder(last, next);
      last = next;
    }
  }
  setTabOrder(last, delete_);
  setTabOrder(delete_, revert_);
  setTabOrder(revert_, save_);
  layOutBlocks();
  applyReadings();
}

void FanCurveEditor::connectBlock(FanCurveEditorBlock* block) {
  const std::optional<int> fan = block->fan();
  connect(block, &FanCurveEditorBlock::temperatureChanged, this, [this, fan](EditorBound bound, double temperature) {
    change([&](FanPreset& preset) { setTemperature(preset, fan, bound, temperature); });
  });
  connect(block, &FanCurveEditorBlock::rpmChanged, this, [this, fan](double rpm) {
    change([&](FanPreset& preset) { setConstantRPM(preset, fan, std::llround(rpm)); });
  });
  connect(block, &FanCurveEditorBlock::hysteresisChanged, this,
          [this](double hysteresis) { change([&](FanPreset& preset) { setHysteresis(preset, hysteresis); }); });
}

void FanCurveEditor::layOutBlocks() {
  blockRow_->setDirection(isNarrow_ ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
  // Beside each other, two blocks have no room for fields beside their curves.
  for (FanCurveEditorBlock* const block : blocks_) block->setNarrow(isNarrow_ || blocks_.size() > 1);
}

void FanCurveEditor::save() {
  for (FanCurveEditorBlock* const block : blocks_) block->submit();
  if (!preset_.isValidCustomConfiguration()) return;
  // A copy: saving may well put another preset into this editor.
  const FanPreset edited = preset_;
  saved_ = edited;
  if (drafts_ != nullptr) drafts_->discard(edited.id);
  wasJustSaved_ = true;
  refresh();
  onSave_(edited);
}

void FanCurveEditor::revert() {
  // The button that has the focus is about to go.
  name_->setFocus(Qt::OtherFocusReason);
  if (drafts_ != nullptr) drafts_->discard(saved_.id);
  change([this](FanPreset& preset) { preset = saved_; });
}

void FanCurveEditor::askForDeletion() {
  const FanPreset asked = preset_;
  askToDelete(this, textOf(deletionTitle(asked.name)), textOf(EditorText::removeMessage), textOf(EditorText::remove),
              [this, asked] { onDelete_(asked); });
}

}  // namespace halcyra
