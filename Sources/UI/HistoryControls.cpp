#include "UI/HistoryControls.h"

#include <QButtonGroup>
#include <QFontMetrics>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <QWheelEvent>
#include <algorithm>
#include <utility>

#include "UI/Controls/FocusRing.h"
#include "UI/Controls/Picker.h"
#include "UI/Fonts.h"
#include "UI/SettingsFlowLayout.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int chipHeight = 24;
constexpr int chipPadding = 8;
constexpr int chipStroke = 13;
constexpr int chipGap = 6;
constexpr int chipCross = 7;
constexpr int leastAddWidth = 96;
constexpr int greatestAddWidth = 128;
constexpr int addVisibleOptions = 14;

/// Names an overlay beside a stroke of its colour; a click takes it away.
class Chip : public QAbstractButton {
 public:
  Chip(const QString& name, ColorOf color, QWidget* parent) : QAbstractButton(parent), color_(color) {
    setText(name);
    setObjectName(QStringLiteral("overlayChip"));
    setAccessibleName(QStringLiteral("Remove %1 from the chart").arg(name));
    setToolTip(toolTipOf(accessibleName().toStdString()));
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  }

  QSize sizeHint() const override {
    const int text = QFontMetrics(textFont(TextStyle::caption)).horizontalAdvance(this->text());
    return {chipPadding + chipStroke + chipGap + text + chipGap + chipCross + chipPadding, chipHeight};
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    const Theme& theme = Theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme.btnLine, 1));
    painter.setBrush(isDown() ? theme.btnPress : underMouse() ? theme.btnHover : theme.btn);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), focusRadius, focusRadius);
    const double middle = height() / 2.0;
    painter.fillRect(QRectF(chipPadding, middle - 1, chipStroke, 2), color_());
    painter.setFont(textFont(TextStyle::caption));
    painter.setPen(theme.text);
    painter.drawText(rect().adjusted(chipPadding + chipStroke + chipGap, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                     text());
    painter.setPen(QPen(theme.text2, 1.4, Qt::SolidLine, Qt::RoundCap));
    const double half = chipCross / 2.0;
    const QPointF cross(width() - chipPadding - half, middle);
    painter.drawLine(cross + QPointF(-half, -half), cross + QPointF(half, half));
    painter.drawLine(cross + QPointF(-half, half), cross + QPointF(half, -half));
    if (hasFocus() && showsFocus_) drawFocusRing(painter, rect());
  }
  void focusInEvent(QFocusEvent* event) override {
    showsFocus_ = showsFocus(*event, showsFocus_);
    QAbstractButton::focusInEvent(event);
  }

 private:
  ColorOf color_;
  bool showsFocus_ = false;
};

/// Adds only what is chosen in its list: an arrow key opens the list, the wheel belongs to the pane that scrolls.
class OverlayPicker : public Picker {
 public:
  using Picker::Picker;

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    switch (event->key()) {
      case Qt::Key_Up:
      case Qt::Key_Down:
      case Qt::Key_Space:
      case Qt::Key_Return:
      case Qt::Key_Enter:
      case Qt::Key_F4:
        return showPopup();
      default:
        event->ignore();
    }
  }
  void wheelEvent(QWheelEvent* event) override { event->ignore(); }
};

}  // namespace

ColorOf overlayColor(std::size_t position) {
  static constexpr std::array<ColorOf, HistorySelection::maximumOverlayCount> colors{
      [] { return Theme::current().cool; }, [] { return Theme::current().normal; },
      [] { return Theme::current().vhot; }, [] { return Theme::current().text2; }};
  return colors[std::min(position, colors.size() - 1)];
}

HistoryControls::HistoryControls(std::shared_ptr<HistorySelection> selection, QWidget* parent)
    : QWidget(parent), selection_(std::move(selection)) {
  setObjectName(QStringLiteral("historyControls"));
  auto* const row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(4);
  row->addWidget(makeRanges());
  row->addStretch(1);
  add_ = new OverlayPicker(this);
  add_->setObjectName(QStringLiteral("addOverlay"));
  add_->setAccessibleName(QStringLiteral("Lay another sensor over the chart"));
  add_->setPlaceholderText(QStringLiteral("Add sensor"));
  add_->setMaxVisibleItems(addVisibleOptions);
  add_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  add_->setMinimumWidth(leastAddWidth);
  add_->setMaximumWidth(greatestAddWidth);
  connect(add_, &QComboBox::activated, this, [this](int index) {
    const std::string id = add_->itemData(index).toString().toStdString();
    add_->setCurrentIndex(-1);
    selection_->add(id);
  });
  row->addWidget(add_);
  connect(selection_.get(), &HistorySelection::changed, this, &HistoryControls::refresh);
  refresh();
}

QWidget* HistoryControls::makeRanges() {
  auto* const segmented = new QFrame(this);
  // The stylesheet knows segmented controls by this name.
  segmented->setObjectName(QStringLiteral("segmented"));
  segmented->setAccessibleName(QStringLiteral("Time range"));
  auto* const row = new QHBoxLayout(segmented);
  row->setContentsMargins(2, 2, 2, 2);
  row->setSpacing(0);
  auto* const group = new QButtonGroup(segmented);
  struct Range {
    HistoryRange range;
    const char* text;
    const char* objectName;
    const char* description;
  };
  static constexpr std::array<Range, 3> all{
      {{HistoryRange::fiveMinutes, "5 min", "rangeFiveMinutes", "The last five minutes"},
       {HistoryRange::hour, "1 h", "rangeHour", "The last hour"},
       {HistoryRange::all, "All", "rangeAll", "The whole session"}}};
  for (std::size_t each = 0; each < all.size(); ++each) {
    auto* const button = new QPushButton(QString::fromLatin1(all[each].text), segmented);
    button->setObjectName(QString::fromLatin1(all[each].objectName));
    button->setAccessibleName(QString::fromLatin1(all[each].description));
    button->setCheckable(true);
    button->setAutoDefault(false);
    button->setStyleSheet(QStringLiteral("font-size: 12px; padding: 0 8px;"));
    group->addButton(button);
    row->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, range = all[each].range] { selection_->setRange(range); });
    ranges_[each] = button;
  }
  return segmented;
}

void HistoryControls::setOptions(const std::vector<SensorOption>& options) {
  if (options == options_) return;
  options_ = options;
  const QSignalBlocker quiet(add_);
  add_->clear();
  for (const SensorOption& option : options_) {
    add_->addOption(textOf(option.name), textOf(option.id), option.startsGroup);
  }
  add_->setCurrentIndex(-1);
}

void HistoryControls::refresh() {
  ranges_[static_cast<std::size_t>(selection_->choice().range)]->setChecked(true);
  add_->setEnabled(!selection_->isFull());
  add_->setToolTip(selection_->isFull() ? QStringLiteral("There is room for four") : QString());
}

HistoryChips::HistoryChips(std::shared_ptr<HistorySelection> selection, QWidget* parent)
    : QWidget(parent), selection_(std::move(selection)) {
  setObjectName(QStringLiteral("historyChips"));
  flow_ = new SettingsFlowLayout(this, chipGap);
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
  hide();
}

void HistoryChips::setOverlays(const std::vector<HistoryOverlay>& overlays) {
  const bool areSame =
      std::ranges::equal(chips_, overlays, {}, &std::pair<std::string, QAbstractButton*>::first, &HistoryOverlay::id);
  if (areSame) return;
  for (const auto& [id, chip] : chips_) {
    flow_->removeWidget(chip);
    chip->hide();
    // It may be telling of its click just now.
    chip->deleteLater();
  }
  chips_.clear();
  for (const HistoryOverlay& overlay : overlays) {
    auto* const chip = new Chip(textOf(overlay.name), overlayColor(chips_.size()), this);
    connect(chip, &QAbstractButton::clicked, this, [this, id = overlay.id] { selection_->remove(id); });
    flow_->addWidget(chip);
    chip->show();
    chips_.emplace_back(overlay.id, chip);
  }
  setVisible(!overlays.empty());
  updateGeometry();
}

}  // namespace halcyra
