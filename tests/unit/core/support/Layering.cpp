#include "tests/unit/core/support/Layering.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <string_view>

namespace fs = std::filesystem;

namespace unit {

namespace {

// The layers of the core, the lowest first. A file may include files of lower layers, and of its
// own layer only its own header; the helpers in the lowest layer may include one another.
const std::vector<std::vector<std::string>> kLayers = {
    {"Bytes", "Decimal", "EndProcess", "FenwixStreams", "GattIdentifiers", "HandlerSlot", "Help",
     "HexDigits", "Output", "Payload", "Precondition", "StandardDescriptors", "Text", "TextBuffer",
     "Utils"},
    {"Family"},
    {"DeviceHandler"},
    {"Com..."},
    {"ComBLE"},
    {"HostCommands", "RunLoop"},
    {"main"},
    {"vornix"},
};

// The name that decides a file's layer; ComFenwixCommand.cpp is a part of ComFenwix.
std::string stemOf(const fs::path& file) {
  const std::string stem = file.stem().string();
  return stem == "ComFenwixCommand" ? "ComFenwix" : stem;
}

// The index of the file's layer, the lowest being 0; nothing for a file that has none.
std::optional<std::size_t> layerOf(const fs::path& file) {
  const std::string stem = stemOf(file);
  const bool isHandler = stem.starts_with("Com") && stem != "ComBLE";
  for (std::size_t i = 0; i < kLayers.size(); ++i) {
    if (std::ranges::find(kLayers[i], isHandler ? "Com..." : stem) != kLayers[i].end()) return i;
  }
  return std::nullopt;
}

// The part of the tree that a path belongs to: "core", "platform", "platform/bluez", "lab",
// "lab/simulated", "tests", ...; "" where no sources belong.
std::string areaOf(const fs::path& file) {
  const std::vector<std::string> parts(file.begin(), file.end());
  if (parts[0] == "src" && parts.size() == 2) return "core";
  if (parts[0] == "src") {
    if (parts[1] != "platform" || parts.size() > 4) return "";
    return parts.size() == 3 ? "platform" : "platform/" + parts[2];
  }
  if (parts[0] == "lab" && (parts[1] == "simulated" || parts[1] == "demo")) return "lab/simulated";
  static const std::vector<std::string> others = {"bench", "host", "lab", "scope", "tests"};
  return std::ranges::find(others, parts[0]) == others.end() ? "" : parts[0];
}

bool hasPlace(const fs::path& file) {
  const std::string area = areaOf(file);
  return area == "core" ? layerOf(file).has_value() : !area.empty();
}

bool isAllowedInCore(const fs::path& file, const fs::path& target) {
  if (areaOf(target) == "platform") return true;
  if (areaOf(target) != "core") return false;
  return layerOf(target) < layerOf(file) || (layerOf(file) == 0U && layerOf(target) == 0U) ||
         stemOf(file) == stemOf(target);
}

bool isAllowed(const fs::path& file, const fs::path& target, bool isProgram) {
  const std::string area = areaOf(file);
  const std::string targetArea = areaOf(target);
  if (area == "core") return isAllowedInCore(file, target);
  if (area == "platform") return targetArea == "platform";
  if (area.starts_with("platform/")) {
    return targetArea == "platform" || targetArea == "platform/shared" || targetArea == area;
  }
  if (area == "lab" || area == "host") return targetArea == area;
  if (area == "scope") return targetArea == "scope" || targetArea == "host";
  return targetArea.starts_with("lab") || targetArea == "platform" ||
         targetArea == "platform/shared" || (isProgram && target == "src/main.h");
}

std::string withoutComments(const std::string& text) {
  static const std::regex comment("//[^\n]*|/\\*[^*]*\\*+([^/*][^*]*\\*+)*/");
  return std::regex_replace(text, comment, " ");
}

std::string textOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return withoutComments({std::istreambuf_iterator<char>(stream), {}});
}

// The file of the tree that an include names, looked for in the including file's folder and in the
// include folders. A name that begins with a folder of the tree counts even if no such file exists.
std::optional<fs::path> targetOf(const fs::path& root, const fs::path& file,
                                 const std::string& name) {
  for (const fs::path& folder :
       {file.parent_path(), fs::path("src"), fs::path(), fs::path("host")}) {
    const fs::path candidate = (folder / name).lexically_normal();
    if (fs::is_regular_file(root / candidate)) return candidate;
  }
  static const std::regex ours("(lab|tests|bench|host|scope|platform|vornix_host)/.*");
  if (!std::regex_match(name, ours)) return std::nullopt;
  return name.starts_with("platform/") ? fs::path("src") / name : fs::path(name);
}

bool isSource(const fs::path& file) {
  static const std::vector<std::string> extensions = {".h", ".hpp", ".cpp", ".cc",
                                                      ".c", ".mm",  ".m"};
  return std::ranges::find(extensions, file.extension().string()) != extensions.end();
}

void read(const fs::path& root, const fs::path& file, Layering& layering) {
  static const std::regex include(
      R"re((?:^|\n)[ \t]*#[ \t]*(?:include|import)[ \t]*([<"])([^>"]+)[>"])re");
  static const std::regex mainFunction(R"(\bint\s+main\s*\()");
  const std::string text = textOf(root / file);
  const bool isProgram = std::regex_search(text, mainFunction);
  ++layering.files;
  if (!hasPlace(file)) return layering.violations.push_back(file.string() + " has no place");
  if (areaOf(file) == "bench" || areaOf(file) == "tests") return;  // these may include anything
  for (std::sregex_iterator match(text.begin(), text.end(), include), end; match != end; ++match) {
    const std::string name = (*match)[2];
    const auto target = targetOf(root, file, name);
    const bool isQuoted = (*match)[1] == "\"";
    if (target) ++layering.includes;
    // POSIX has some of its headers in sys.
    const bool isSystemLibrary = !target && name.find('/') != std::string::npos &&
                                 !name.starts_with("sys/") &&
                                 (areaOf(file) == "core" || areaOf(file) == "platform");
    if (target ? !isAllowed(file, *target, isProgram) : isQuoted || isSystemLibrary) {
      layering.violations.push_back(file.string() + " includes " +
                                    (target ? target->string() : name));
    }
  }
}

}  // namespace

Layering layeringOf(const fs::path& root) {
  std::vector<fs::path> files;
  for (const auto& top : fs::directory_iterator(root)) {
    const std::string name = top.path().filename().string();
    if (!top.is_directory() || name.starts_with(".") || name.starts_with("build")) continue;
    for (const auto& entry : fs::recursive_directory_iterator(top.path())) {
      if (entry.is_regular_file() && isSource(entry.path())) {
        files.push_back(fs::relative(entry.path(), root));
      }
    }
  }
  std::ranges::sort(files);
  Layering layering;
  for (const fs::path& file : files) read(root, file, layering);
  return layering;
}

}  // namespace unit
