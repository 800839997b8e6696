#pragma once

#include <functional>
#include <string>

namespace halcyra {

class HalcyraApp;

/// Opens every window, lets it run for a while, writes a PNG of each into `folder`, then calls `finished`.
void takeScreenshots(HalcyraApp& scenes, const std::string& folder, std::function<void()> finished);

}  // namespace halcyra
