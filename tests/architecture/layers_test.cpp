#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kSource = VELTRO_SOURCE_DIR "/src";

/// Public headers without behaviour, which every layer may use.
const std::set<std::string> kVocabulary = {"veltro/guid.h", "veltro/media_settings.h",
                                           "veltro/privacy_status.h",
                                           "veltro/target_location_request.h"};

/// What only platform/linux may name: it is that folder's job to.
const std::vector<std::string> kPlatformOnly = {
    "<curl/",   "<sqlite3",          "<unistd",           "<sys/",     "<pthread",
    "<pugixml", "system_clock::now", "steady_clock::now", "sleep_for", "sleep_until"};

/// The layers and those that each may use, in the order of the file.
using Layers = std::vector<std::pair<std::string, std::set<std::string>>>;

Layers ReadLayers(std::istream& file) {
  Layers layers;
  for (std::string line; std::getline(file, line);) {
    const std::size_t colon = line.find(':');
    std::istringstream names(line.substr(colon + 1));
    std::set<std::string> uses;
    for (std::string name; names >> name;) uses.insert(name);
    layers.emplace_back(line.substr(0, colon), uses);
  }
  return layers;
}

std::string LayerOf(const std::string& path) { return fs::path(path).parent_path().string(); }

/// Everything in the text of a file of `layer` that it may not name, one line each.
std::vector<std::string> Offences(const Layers& layers, const std::string& layer,
                                  std::istream& text) {
  const auto own = std::find_if(layers.begin(), layers.end(),
                                [&](const auto& entry) { return entry.first == layer; });
  if (own == layers.end()) return {"its folder is not in LAYERS"};
  std::vector<std::string> offences;
  for (std::string line; std::getline(text, line);) {
    for (const std::string& word : kPlatformOnly) {
      if (layer != "platform/linux" && line.find(word) != line.npos) offences.push_back(line);
    }
    if (line.rfind("#include \"", 0) != 0) continue;
    const std::string path = line.substr(10, line.rfind('"') - 10);
    const std::string target = LayerOf(path);
    const bool allowed = target == "veltro" ? layer == "api" || kVocabulary.count(path) == 1
                                            : target == layer || own->second.count(target) == 1;
    if (!allowed) offences.push_back(line);
  }
  return offences;
}

Layers ProjectLayers() {
  std::ifstream file(kSource / "LAYERS");
  return ReadLayers(file);
}

TEST(Layers, NameOnlyLayersAboveThemAndAreAllThere) {
  std::set<std::string> above;
  for (const auto& [layer, uses] : ProjectLayers()) {
    for (const std::string& used : uses) {
      EXPECT_TRUE(above.count(used)) << layer << " names " << used << ", which is not above it";
    }
    EXPECT_TRUE(fs::is_directory(kSource / layer)) << layer;
    above.insert(layer);
  }
}

TEST(Layers, AreKeptByEveryFile) {
  const Layers layers = ProjectLayers();
  std::size_t files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(kSource)) {
    const std::string extension = entry.path().extension();
    if (extension != ".h" && extension != ".cpp") continue;
    ++files;
    const fs::path path = fs::relative(entry.path(), kSource);
    std::ifstream text(entry.path());
    for (const std::string& offence : Offences(layers, path.parent_path().string(), text)) {
      ADD_FAILURE() << "src/" << path.string() << ": " << offence;
    }
  }
  EXPECT_GT(files, 50U);
}

TEST(Layers, AreFoundBrokenWhereTheyAre) {
  const Layers layers = {
      {"base", {}}, {"platform/linux", {"base"}}, {"core", {"base"}}, {"api", {"core"}}};
  const std::map<std::string, std::pair<std::string, std::size_t>> rows = {
      {"its own folder and above", {"#include \"core/a.h\"\n#include \"base/b.h\"", 0}},
      {"below", {"#include \"api/a.h\"", 1}},
      {"sideways", {"#include \"platform/linux/a.h\"", 1}},
      {"vocabulary", {"#include \"veltro/privacy_status.h\"", 0}},
      {"another public header", {"#include \"veltro/analytics.h\"", 1}},
      {"the system", {"#include <unistd.h>\n  std::chrono::system_clock::now();", 2}},
  };
  for (const auto& [name, row] : rows) {
    std::istringstream text(row.first);
    EXPECT_EQ(Offences(layers, "core", text).size(), row.second) << name;
  }
}

}  // namespace
