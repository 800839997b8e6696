#pragma once

#include <QWidget>
#include <optional>
#include <vector>

#include "UI/FanCurveEditorState.h"

class QBoxLayout;
class QLabel;

namespace halcyra {

class CurvePreview;
class FanCurveEditorField;
class FanCurveEditorSlider;

/// Pixels between the rows of the editor, and between a label and its field.
inline constexpr int editorRowSpacing = 14;
inline constexpr int editorLabelSpacing = 4;

/// One block of the editor's controls: the shared values or those of one fan.
class FanCurveEditorBlock : public QWidget {
  Q_OBJECT

 public:
  explicit FanCurveEditorBlock(std::optional<int> fan, QWidget* parent = nullptr);

  std::optional<int> fan() const { return fan_; }
  void apply(const EditorBlock& block, bool isConstant, double hysteresis);
  /// The fans that stand on this block's curve.
  void setReadings(const std::vector<CurveReading>& readings);
  /// One column instead of fields beside the curve.
  void setNarrow(bool narrow);
  /// What takes the focus, in order.
  std::vector<QWidget*> focusOrder() const;
  /// Takes what has been typed.
  void submit();

 signals:
  void temperatureChanged(EditorBound bound, double temperature);
  void rpmChanged(double rpm);
  void hysteresisChanged(double hysteresis);

 private:
  QWidget* makeCurve();
  QWidget* makeConstant();
  QWidget* makeWarning(QWidget* parent);
  QWidget* makeHysteresis(QWidget* parent);
  QWidget* makeField(QWidget* parent, std::string_view label, const char* name, EditorBound bound,
                     FanCurveEditorField** field);

  std::optional<int> fan_;
  QWidget* curve_ = nullptr;
  QWidget* constant_ = nullptr;
  QBoxLayout* fieldsAndPreview_ = nullptr;
  QBoxLayout* fields_ = nullptr;
  FanCurveEditorField* low_ = nullptr;
  FanCurveEditorField* high_ = nullptr;
  FanCurveEditorField* rpm_ = nullptr;
  CurvePreview* preview_ = nullptr;
  QWidget* warning_ = nullptr;
  FanCurveEditorSlider* slider_ = nullptr;
  FanCurveEditorField* hysteresis_ = nullptr;
};

}  // namespace halcyra
