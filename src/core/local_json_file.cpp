#include "core/local_json_file.h"

#include <memory>
#include <optional>

namespace Veltro::Internal {

std::string ReadLocalJsonFile(LocalFolder& folder, std::string_view name) {
  if (std::optional<std::string> text = folder.Read(name)) return *std::move(text);
  WriteLocalJsonFile(folder, name, "");
  return {};
}

void WriteLocalJsonFile(LocalFolder& folder, std::string_view name, std::string_view text) {
  const std::unique_ptr<FileReplacement> replacement = folder.Replace(name);
  replacement->Append(text);
  replacement->Commit();
}

}  // namespace Veltro::Internal
