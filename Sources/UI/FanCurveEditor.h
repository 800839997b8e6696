#pragma once

#include <QWidget>
#include <functional>
#include <vector>

#include "Helpers/FanPreset.h"
#include "UI/FanCurveEditorState.h"

class QBoxLayout;
class QCheckBox;
class QFrame;
class QGridLayout;
class QLabel;
class QLineEdit;
class QPushButton;

namespace halcyra {

class FanCurveEditorBlock;
class PresetDrafts;

/// The form for one custom preset. It changes a working copy of its own and saves nothing itself.
class FanCurveEditor : public QWidget {
  Q_OBJECT

 public:
  using Callback = std::function<void(const FanPreset&)>;

  /// `onSave` is called with the edited preset by "Save and Apply", `onDelete` once the user has confirmed.
  FanCurveEditor(Callback onSave, Callback onDelete, QWidget* parent = nullptr);

  /// Where unsaved edits are kept from now on; null: nowhere. Outlives the editor.
  void setDrafts(PresetDrafts* drafts) { drafts_ = drafts; }
  /// Edits the draft of `preset`, which is its saved form, from now on, or `preset` itself where there is no draft.
  void setPreset(const FanPreset& preset);
  /// Drops what has not been saved.
  void revert();
  /// The working copy.
  const FanPreset& preset() const { return preset_; }
  /// The preset has been renamed elsewhere, and saved; an edited name stays.
  void setName(const std::string& name);
  /// Indices of the controllable fans, ascending.
  void setFanIndices(const std::vector<int>& indices);
  /// What the fans' zones report at the moment, for the marks on the curves.
  void setReadings(const std::vector<CurveReading>& readings);
  void setNarrow(bool narrow);
  /// For a preset that has just been made: shows the form, and has the user type its name.
  void beginNaming();

 private:
  QWidget* makeNameAndSource();
  QWidget* makeSource();
  QWidget* makeLink();
  QWidget* makeButtons();
  void change(const std::function<void(FanPreset&)>& edit);
  void refresh();
  void makeBlocks(const std::vector<EditorBlock>& blocks);
  void connectBlock(FanCurveEditorBlock* block);
  void layOutBlocks();
  void layOutButtons();
  void applyReadings();
  void save();
  void askForDeletion();

  Callback onSave_;
  Callback onDelete_;
  PresetDrafts* drafts_ = nullptr;
  FanPreset preset_;
  FanPreset saved_;
  bool wasJustSaved_ = false;
  std::vector<int> fanIndices_;
  std::vector<CurveReading> readings_;
  bool isNarrow_ = false;
  QBoxLayout* nameAndSource_ = nullptr;
  QWidget* source_ = nullptr;
  QLineEdit* name_ = nullptr;
  QPushButton* curveSegment_ = nullptr;
  QPushButton* constantSegment_ = nullptr;
  QWidget* link_ = nullptr;
  QCheckBox* linkToggle_ = nullptr;
  QLabel* linkCaption_ = nullptr;
  QBoxLayout* blockRow_ = nullptr;
  std::vector<QWidget*> boxes_;
  std::vector<FanCurveEditorBlock*> blocks_;
  QGridLayout* buttons_ = nullptr;
  QPushButton* delete_ = nullptr;
  QWidget* noteRow_ = nullptr;
  QLabel* note_ = nullptr;
  QPushButton* revert_ = nullptr;
  QPushButton* save_ = nullptr;
};

}  // namespace halcyra
