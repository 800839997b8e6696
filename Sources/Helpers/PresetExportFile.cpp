#include "Helpers/PresetExportFile.h"

#include "Helpers/PresetCoding.h"

namespace halcyra {

std::string PresetExportFile::encode() const {
  return PresetCoding::encode(*this);
}

PresetExportFile PresetExportFile::decode(std::string_view content) {
  return PresetCoding::decodePresetExportFile(content);
}

}  // namespace halcyra
