#include "UI/SettingsView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>

#include "App/AppModel.h"
#include "UI/Controls/OverlayScrollBar.h"
#include "UI/Controls/Picker.h"
#include "UI/ModelObserver.h"
#include "UI/SettingsSection.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int settingsMargin = 20;
constexpr int settingsEndMargin = 16;
constexpr int sectionGap = 16;
constexpr int thresholdTextWidth = 44;
constexpr int pickerWidth = 208;
constexpr int sliderWidth = 196;
constexpr int intervalPage = 2;
constexpr int thresholdPage = 10;

QPushButton* makeButton(std::string_view text, const char* objectName) {
  auto* const button = new QPushButton(textOf(text));
  button->setObjectName(objectName);
  button->setProperty("compact", true);
  button->setAutoDefault(false);
  return button;
}

void setSlider(QSlider* slider, int value, const std::string& spoken) {
  const QSignalBlocker quiet(slider);
  // A stored value moves the handle; a handle that is being dragged is the user's.
  if (!slider->isSliderDown()) {
    slider->setValue(value);
  }
  const QString description = textOf(spoken);
  if (slider->accessibleDescription() != description) {
    slider->setAccessibleDescription(description);
  }
}

}  // namespace

SettingsView::SettingsView(const ViewContext& context, QWidget* parent)
    : QWidget(parent), model_(context.model), checkForUpdates_(context.checkForUpdates) {
  if (!context.version.empty()) {
    bundle_.shortVersion = context.version;
  }
  setObjectName("page");
  setAttribute(Qt::WA_StyledBackground);
  auto* const outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  auto* const scroll = new QScrollArea(this);
  scroll->setObjectName("settingsScroll");
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setFocusPolicy(Qt::NoFocus);
  outer->addWidget(scroll);
  auto* const form = new QWidget;
  form->setObjectName("page");
  auto* const sections = new QVBoxLayout(form);
  new OverlayScrollBar(*scroll);
  sections->setContentsMargins(settingsMargin, settingsEndMargin, settingsMargin, settingsEndMargin);
  sections->setSpacing(sectionGap);
  for (SettingsSection* const section : {makeHelperSection(), makeMonitoringSection(), makeAlertSection(),
                                         makePresetsSection(), makeSafetySection(), makeAboutSection()}) {
    sections->addWidget(section);
  }
  sections->addStretch(1);
  scroll->setWidget(form);
  connectHelper();
  connectSliders();
  apply(makeSettingsState(model_->view(), bundle_));
  new ModelObserver(*model_, this, [this] { refresh(); });
}

SettingsSection* SettingsView::makeHelperSection() {
  auto* const section = new SettingsSection(SettingsText::helperHeader);
  owner_ = new Picker;
  owner_->setObjectName("ownerPicker");
  owner_->setAccessibleName(textOf(SettingsText::owner));
  owner_->setFocusPolicy(Qt::StrongFocus);
  owner_->installEventFilter(this);
  for (const FanControlOwnership ownership : allFanControlOwnerships) {
    owner_->addItem(textOf(title(ownership)));
  }
  owner_->setMinimumWidth(pickerWidth);
  section->addRow(SettingsText::owner, owner_);
  ownerDetail_ = section->addCaption("", "ownerDetail");
  section->addLine();
  writerRow_ = section->addValue(SettingsText::detectedWriter, "detectedWriter", &writer_);
  writerLine_ = section->addLine();
  status_ = makeLabel(nullptr, "helperStatus", TextRole::body);
  // From the first, so that the stylesheet's padding counts in the size.
  status_->setProperty("capsule", "warn");
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  section->addRow(SettingsText::status, status_);
  section->addCaption(SettingsText::conflictCaption);
  section->addCaption(SettingsText::approvalCaption);
  section->addLine();
  section->addValue(SettingsText::supervisedTest, "supervisedTestStatus", &supervisedTest_);
  section->addLine();
  install_ = makeButton(SettingsText::install, "installHelper");
  uninstall_ = makeButton(SettingsText::uninstall, "uninstallHelper");
  uninstall_->setProperty("kind", "destructive");
  openLoginItems_ = makeButton(SettingsText::openLoginItems, "openLoginItems");
  section->addButtons({install_, uninstall_, openLoginItems_});
  return section;
}

SettingsSection* SettingsView::makeMonitoringSection() {
  auto* const section = new SettingsSection(SettingsText::monitoringHeader);
  startAtLogin_ = new QCheckBox(textOf(SettingsText::startAtLogin));
  startAtLogin_->setObjectName("startAtLogin");
  section->addWidget(startAtLogin_);
  section->addLine();
  auto* const row = new QWidget;
  auto* const layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  interval_ =
      makeSlider("pollingInterval", SettingsText::pollingInterval, firstIntervalStep, lastIntervalStep, intervalPage);
  layout->addWidget(makeLabel(row, TextRole::secondary, SettingsText::shortestInterval));
  layout->addWidget(interval_);
  layout->addWidget(makeLabel(row, TextRole::secondary, SettingsText::longestInterval));
  section->addRow(SettingsText::pollingInterval, row);
  applyInterval_ = makeButton("", "applyInterval");
  section->addButtons({applyInterval_}, Qt::AlignRight);
  connect(startAtLogin_, &QCheckBox::clicked, this, [this](bool checked) {
    model_->setLaunchAtLogin(checked);
    // A refusal changes nothing in the model, but the box.
    refresh();
  });
  connect(applyInterval_, &QPushButton::clicked, this, [this] { model_->restartPolling(); });
  return section;
}

SettingsSection* SettingsView::makeAlertSection() {
  auto* const section = new SettingsSection(SettingsText::alertHeader);
  overheatAlerts_ = new QCheckBox(textOf(SettingsText::notify));
  overheatAlerts_->setObjectName("overheatAlerts");
  section->addWidget(overheatAlerts_);
  section->addLine();
  auto* const row = new QWidget;
  auto* const layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  threshold_ =
      makeSlider("overheatThreshold", SettingsText::threshold, static_cast<int>(AppModel::minimumOverheatThreshold),
                 static_cast<int>(AppModel::maximumOverheatThreshold), thresholdPage);
  thresholdText_ = makeLabel(row, "thresholdText", TextRole::body);
  thresholdText_->setMinimumWidth(thresholdTextWidth);
  thresholdText_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  layout->addWidget(threshold_);
  layout->addWidget(thresholdText_);
  section->addRow(SettingsText::threshold, row);
  section->addCaption(SettingsText::alertCaption);
  auto* const test = makeButton(SettingsText::testNotification, "testNotification");
  section->addButtons({test});
  connect(overheatAlerts_, &QCheckBox::clicked, this, [this](bool checked) {
    model_->setOverheatAlertsEnabled(checked);
    refresh();
  });
  connect(test, &QPushButton::clicked, this, [this] { model_->sendTestNotification(); });
  return section;
}

SettingsSection* SettingsView::makePresetsSection() {
  auto* const section = new SettingsSection(SettingsText::presetsHeader);
  section->addCaption(SettingsText::presetsCaption);
  auto* const exporting = makeButton(SettingsText::exportPresets, "exportPresets");
  auto* const importing = makeButton(SettingsText::importPresets, "importPresets");
  section->addButtons({exporting, importing});
  connect(exporting, &QPushButton::clicked, this, [this] { model_->exportCustomPresets(); });
  connect(importing, &QPushButton::clicked, this, [this] { model_->importCustomPresets(); });
  return section;
}

SettingsSection* SettingsView::makeSafetySection() {
  auto* const section = new SettingsSection(SettingsText::safetyHeader);
  auto* const reset = makeButton(SettingsText::returnToAutomatic, "returnToAutomatic");
  const QKeySequence keys(Qt::CTRL | Qt::ALT | Qt::Key_Escape);
  reset->setToolTip(keys.toString(QKeySequence::NativeText));
  section->addButtons({reset});
  const auto handBack = [this] {
    model_->resetToAutomatic(std::string(SettingsText::emergencyReason), false, true, {});
  };
  connect(reset, &QPushButton::clicked, this, handBack);
  // The button's own shortcut would be out of reach while it is scrolled away.
  connect(new QShortcut(keys, this), &QShortcut::activated, this, handBack);
  return section;
}

SettingsSection* SettingsView::makeAboutSection() {
  auto* const section = new SettingsSection(SettingsText::aboutHeader);
  section->addValue(SettingsText::version, "version", &version_);
  section->addLine();
  auto* const check = makeButton(SettingsText::checkForUpdates, "checkForUpdates");
  section->addButtons({check});
  connect(check, &QPushButton::clicked, this, [this] {
    if (checkForUpdates_) {
      checkForUpdates_();
    }
  });
  return section;
}

QSlider* SettingsView::makeSlider(const char* objectName, std::string_view accessibleName, int first, int last,
                                  int page) {
  auto* const slider = new QSlider(Qt::Horizontal);
  slider->setObjectName(objectName);
  slider->setAccessibleName(textOf(accessibleName));
  slider->setFixedWidth(sliderWidth);
  slider->setRange(first, last);
  slider->setSingleStep(1);
  slider->setPageStep(page);
  slider->setFocusPolicy(Qt::StrongFocus);
  slider->installEventFilter(this);
  return slider;
}

void SettingsView::connectHelper() {
  connect(owner_, &QComboBox::activated, this, [this](int index) {
    model_->setFanControlOwnership(allFanControlOwnerships.at(static_cast<std::size_t>(index)));
  });
  connect(install_, &QPushButton::clicked, this, [this] { model_->installHelper(); });
  connect(uninstall_, &QPushButton::clicked, this, &SettingsView::uninstallHelper);
  connect(openLoginItems_, &QPushButton::clicked, this, [this] { model_->openLoginItemsSettings(); });
}

void SettingsView::connectSliders() {
  connect(interval_, &QSlider::valueChanged, this,
          [this](int step) { model_->setPollingInterval(settingsInterval(step)); });
  connect(threshold_, &QSlider::valueChanged, this, [this](int degrees) { model_->setOverheatThreshold(degrees); });
}

void SettingsView::uninstallHelper() {
  model_->resetToAutomatic(std::string(SettingsText::uninstallReason), false, true, [weak = std::weak_ptr(model_)] {
    if (const auto model = weak.lock()) {
      model->uninstallHelper();
    }
  });
}

void SettingsView::refresh() {
  apply(makeSettingsState(model_->view(), bundle_));
}

void SettingsView::apply(const SettingsState& state) {
  applyHelper(state);
  applySliders(state);
  startAtLogin_->setChecked(state.startAtLogin);
  overheatAlerts_->setChecked(state.overheatAlerts);
  setLabelText(version_, state.version);
}

void SettingsView::applyHelper(const SettingsState& state) {
  for (std::size_t index = 0; index < allFanControlOwnerships.size(); ++index) {
    if (allFanControlOwnerships.at(index) == state.owner) {
      owner_->setCurrentIndex(static_cast<int>(index));
    }
  }
  setLabelText(ownerDetail_, state.ownerDetail);
  setLabelText(writer_, state.detectedWriter.value_or(""));
  writerRow_->setVisible(state.detectedWriter.has_value());
  writerLine_->setVisible(state.detectedWriter.has_value());
  setLabelText(status_, state.helperStatus);
  setCapsule(status_, state.helperApproved);
  setLabelText(supervisedTest_, state.supervisedTest);
  install_->setEnabled(state.canChangeHelper);
  uninstall_->setEnabled(state.canChangeHelper);
}

void SettingsView::applySliders(const SettingsState& state) {
  setSlider(interval_, state.intervalStep, state.spokenInterval);
  const QString apply = textOf(state.applyInterval);
  if (applyInterval_->text() != apply) {
    applyInterval_->setText(apply);
  }
  setSlider(threshold_, state.threshold, state.thresholdText);
  setLabelText(thresholdText_, state.thresholdText);
}

bool SettingsView::eventFilter(QObject* watched, QEvent* event) {
  const auto* const control = qobject_cast<QWidget*>(watched);
  if (event->type() == QEvent::Wheel && control != nullptr && !control->hasFocus()) {
    // Ignored, it goes on to the scroll area.
    event->ignore();
    return true;
  }
  return QWidget::eventFilter(watched, event);
}

}  // namespace halcyra
