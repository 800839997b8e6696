#include "Programs/VirtualMac/Competitor.h"

#include <system_error>

#include "fmt/format.h"

#include "SMC/FanCapability.h"

namespace halcyra {

namespace {

constexpr const char* fileName = "com.tunabellysoftware.tgfanhelper";

}  // namespace

Competitor::Competitor(const RuntimeLayout& layout)
    : program_(layout.folder.value_or(std::filesystem::temp_directory_path()) / "competitor" / fileName) {}

Competitor::~Competitor() {
  end();
}

void Competitor::start() {
  if (isRunning()) {
    throw VirtualMacError("The competing utility is running already.");
  }
  if (!CompetingFanControllerDetector::controllerName(program_.string())) {
    throw VirtualMacError(fmt::format("“{}” is not a name that is looked for.", program_.string()));
  }
  std::error_code error;
  std::filesystem::create_directories(program_.parent_path(), error);
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  std::filesystem::remove(program_, error);
  std::filesystem::create_hard_link(self, program_, error);
  if (error) {
    std::filesystem::copy_file(self, program_, std::filesystem::copy_options::overwrite_existing, error);
  }
  if (error) {
    throw VirtualMacError(fmt::format("“{}” could not be made: {}", program_.string(), error.message()));
  }
  process_.start(program_.string(), {idleArgument});
}

void Competitor::end() {
  process_.end(Seconds{1.0});
  std::error_code ignored;
  std::filesystem::remove_all(program_.parent_path(), ignored);
}

}  // namespace halcyra
