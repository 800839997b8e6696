#include "Support/MemoryFiles.h"

namespace halcyra::test {

std::string MemoryFiles::read(const std::string& path) {
  if (readError) {
    throw FileFailure(*readError);
  }
  const auto found = contents.find(path);
  if (found == contents.end()) {
    throw FileFailure("The file “" + path + "” couldn’t be opened because there is no such file.");
  }
  return found->second;
}

void MemoryFiles::writeAtomically(const std::string& path, const std::string& content) {
  if (writeError) {
    throw FileFailure(*writeError);
  }
  contents[path] = content;
}

}  // namespace halcyra::test
