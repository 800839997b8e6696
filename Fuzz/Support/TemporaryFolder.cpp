#include "Support/TemporaryFolder.h"

#include <cstdlib>

#include "Support/Expect.h"

namespace halcyra::fuzz {

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "aerovane-fuzz-XXXXXX").string();
  expect(mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TemporaryFolder::clear() const {
  for (const auto& entry : std::filesystem::directory_iterator(path_)) {
    std::filesystem::remove_all(entry.path());
  }
}

}  // namespace halcyra::fuzz
