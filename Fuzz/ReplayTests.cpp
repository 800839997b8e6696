// Runs the seeds and everything that the fuzzers have found so far through the same functions that the fuzzers drive,
// in every build and without a fuzzer: a finding stays found.

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "FuzzTargets.h"

namespace halcyra::fuzz {
namespace {

namespace fs = std::filesystem;

struct Target {
  const char* name;
  void (*run)(Bytes input);
};

constexpr Target targets[] = {
    {"ControlSocket", fuzzControlSocket},
    {"DefaultsFile", fuzzDefaultsFile},
    {"HelperMessages", fuzzHelperMessages},
    {"HelperStatus", fuzzHelperStatus},
    {"Presets", fuzzPresets},
    {"SMCRecords", fuzzSMCRecords},
    {"SMCReplies", fuzzSMCReplies},
    {"Traces", fuzzTraces},
#ifdef AEROVANE_HAS_WINDOWS
    {"UpdateFeed", fuzzUpdateFeed},
#endif
};

std::vector<fs::path> filesIn(const char* kind, const char* target) {
  std::vector<fs::path> files;
  const fs::path folder = fs::path(AEROVANE_FUZZ_FOLDER) / kind / target;
  if (fs::exists(folder)) {
    for (const auto& entry : fs::directory_iterator(folder)) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::uint8_t> contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  EXPECT_TRUE(stream) << file;
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

class ReplayTests : public testing::TestWithParam<Target> {};

// An invariant that does not hold ends the process; the line before it names the file.
void replay(const Target& target, const std::vector<fs::path>& files) {
  for (const fs::path& file : files) {
    const auto content = contentOf(file);
    std::cout << "replaying " << file.filename().string() << std::endl;
    target.run(content);
  }
}

TEST_P(ReplayTests, TheSeedsPass) {
  const auto files = filesIn("Corpus", GetParam().name);
  ASSERT_FALSE(files.empty()) << "a target without seeds tests nothing here";
  replay(GetParam(), files);
}

TEST_P(ReplayTests, WhatWasFoundStaysFixed) {
  replay(GetParam(), filesIn("Regressions", GetParam().name));
}

TEST_P(ReplayTests, NothingAtAllPasses) {
  GetParam().run({});
}

INSTANTIATE_TEST_SUITE_P(Fuzz, ReplayTests, testing::ValuesIn(targets),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace halcyra::fuzz
