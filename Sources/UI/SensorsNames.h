#pragma once

#include <map>
#include <string>
#include <vector>

namespace halcyra {

/// What is known of channels, by key: "Performance core 3", "GPU 2", "SSD 1". Dies of the verified model by their place
/// among their kind, others by the family of their key, numbered where `keys` (ascending) has several of it. Keys of
/// which nothing is known are left out.
std::map<std::string, std::string> sensorNames(const std::vector<std::string>& keys);

}  // namespace halcyra
