#include "UI/Theme.h"

#include <utility>

namespace halcyra {

namespace {

bool darkIsCurrent = false;

using Token = std::pair<const char*, QColor Theme::*>;

constexpr Token tokens[] = {
    {"window", &Theme::window},
    {"sidebar", &Theme::sidebar},
    {"card", &Theme::card},
    {"panel", &Theme::panel},
    {"field", &Theme::field},
    {"hair", &Theme::hair},
    {"hairStrong", &Theme::hairStrong},
    {"control", &Theme::control},
    {"track", &Theme::track},
    {"text", &Theme::text},
    {"text2", &Theme::text2},
    {"textDis", &Theme::textDis},
    {"err", &Theme::err},
    {"warn", &Theme::warn},
    {"ok", &Theme::ok},
    {"accent", &Theme::accent},
    {"accentFill", &Theme::accentFill},
    {"accentFillHover", &Theme::accentFillHover},
    {"accentFillPress", &Theme::accentFillPress},
    {"onAccent", &Theme::onAccent},
    {"accentTint", &Theme::accentTint},
    {"accentTintSoft", &Theme::accentTintSoft},
    {"btn", &Theme::btn},
    {"btnLine", &Theme::btnLine},
    {"btnHover", &Theme::btnHover},
    {"btnPress", &Theme::btnPress},
    {"rowHover", &Theme::rowHover},
    {"knob", &Theme::knob},
    {"okBg", &Theme::okBg},
    {"warnBg", &Theme::warnBg},
    {"errFill", &Theme::errFill},
    {"data", &Theme::data},
    {"segOn", &Theme::segOn},
    {"segLine", &Theme::segLine},
    {"series0", &Theme::series0},
    {"series1", &Theme::series1},
    {"series2", &Theme::series2},
    {"cool", &Theme::cool},
    {"coolT", &Theme::coolT},
    {"normal", &Theme::normal},
    {"normalT", &Theme::normalT},
    {"warm", &Theme::warm},
    {"warmT", &Theme::warmT},
    {"hot", &Theme::hot},
    {"hotT", &Theme::hotT},
    {"vhot", &Theme::vhot},
    {"vhotT", &Theme::vhotT},
};

}  // namespace

const Theme& Theme::light() {
  static const Theme theme{
      .window = QColor("#F5F5F2"),
      .sidebar = QColor("#EBEBE7"),
      .card = QColor("#FFFFFF"),
      .panel = QColor("#FAFAF8"),
      .field = QColor("#FFFFFF"),
      .hair = QColor("#E0E1DC"),
      .hairStrong = QColor("#CDCFC9"),
      .control = QColor("#8A9092"),
      .track = QColor("#DFE1DC"),
      .text = QColor("#1A1E1F"),
      .text2 = QColor("#566063"),
      .textDis = QColor("#9AA0A1"),
      .err = QColor("#B3261E"),
      .warn = QColor("#8A4708"),
      .ok = QColor("#1C6B3D"),
      .accent = QColor("#0F6B7A"),
      .accentFill = QColor("#0F6B7A"),
      .accentFillHover = QColor("#0C5A67"),
      .accentFillPress = QColor("#0A4A55"),
      .onAccent = QColor("#FFFFFF"),
      .accentTint = QColor("#D5E4E4"),
      .accentTintSoft = QColor("#E6EFEE"),
      .btn = QColor("#EDEEEA"),
      .btnLine = QColor("#D9DBD5"),
      .btnHover = QColor("#E3E5E0"),
      .btnPress = QColor("#D7D9D3"),
      .rowHover = QColor("#E1E3DE"),
      .knob = QColor("#FFFFFF"),
      .okBg = QColor("#DCEEE2"),
      .warnBg = QColor("#FAE6D1"),
      .errFill = QColor("#B5302A"),
      .data = QColor("#D96E1F"),
      .segOn = QColor("#FFFFFF"),
      .segLine = QColor("#CDCFC9"),
      .series0 = QColor("#0F6B7A"),
      .series1 = QColor("#84569B"),
      .series2 = QColor("#6E6A3A"),
      .cool = QColor("#3F7FC4"),
      .coolT = QColor("#2C68A8"),
      .normal = QColor("#3C9562"),
      .normalT = QColor("#2A764A"),
      .warm = QColor("#B98200"),
      .warmT = QColor("#7D5D00"),
      .hot = QColor("#D96E1F"),
      .hotT = QColor("#A84F0E"),
      .vhot = QColor("#C63C33"),
      .vhotT = QColor("#B3322A"),
  };
  return theme;
}

const Theme& Theme::dark() {
  static const Theme theme{
      .window = QColor("#1A1D1E"),
      .sidebar = QColor("#141617"),
      .card = QColor("#222627"),
      .panel = QColor("#1E2223"),
      .field = QColor("#191C1D"),
      .hair = QColor("#303536"),
      .hairStrong = QColor("#40474A"),
      .control = QColor("#737B7D"),
      .track = QColor("#373D3F"),
      .text = QColor("#E8EBEA"),
      .text2 = QColor("#A1A9AA"),
      .textDis = QColor("#626A6B"),
      .err = QColor("#FF8F85"),
      .warn = QColor("#F2B275"),
      .ok = QColor("#84D3A4"),
      .accent = QColor("#5AB4C2"),
      .accentFill = QColor("#1E7886"),
      .accentFillHover = QColor("#217F8D"),
      .accentFillPress = QColor("#186571"),
      .onAccent = QColor("#FFFFFF"),
      .accentTint = QColor("#1F3D42"),
      .accentTintSoft = QColor("#1F3033"),
      .btn = QColor("#2F3536"),
      .btnLine = QColor("#3B4244"),
      .btnHover = QColor("#394042"),
      .btnPress = QColor("#272C2D"),
      .rowHover = QColor("#222728"),
      .knob = QColor("#DCE0DF"),
      .okBg = QColor("#1F3A2B"),
      .warnBg = QColor("#44301C"),
      .errFill = QColor("#B5302A"),
      .data = QColor("#F0944A"),
      .segOn = QColor("#4A5254"),
      .segLine = QColor("#4A5254"),
      .series0 = QColor("#5AB4C2"),
      .series1 = QColor("#C39BD6"),
      .series2 = QColor("#BDB877"),
      .cool = QColor("#6AA6E8"),
      .coolT = QColor("#7FB4EE"),
      .normal = QColor("#62BE88"),
      .normalT = QColor("#72CB97"),
      .warm = QColor("#E3BB45"),
      .warmT = QColor("#E3BB45"),
      .hot = QColor("#F0944A"),
      .hotT = QColor("#F2A05E"),
      .vhot = QColor("#E8665C"),
      .vhotT = QColor("#F2857C"),
  };
  return theme;
}

const Theme& Theme::current() {
  return darkIsCurrent ? dark() : light();
}

bool Theme::isDark() {
  return darkIsCurrent;
}

void Theme::makeCurrent(bool dark) {
  darkIsCurrent = dark;
}

QString Theme::resolve(QString source) const {
  for (const auto& [name, color] : tokens) {
    source.replace(QStringLiteral("@%1@").arg(QLatin1String(name)), (this->*color).name());
  }
  return source;
}

}  // namespace halcyra
