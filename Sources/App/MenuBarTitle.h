#pragma once

#include <string>

namespace halcyra {

struct ModelView;

/// The text beside the menu bar icon: the temperature of each fan zone, or the displayed one, and the fan speeds.
std::string menuBarTitle(const ModelView& view);

}  // namespace halcyra
