#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/Layering.h"

namespace unit {
namespace {

namespace fs = std::filesystem;

TEST(SourceTree, KeepsTheDirectionOfItsDependencies) {
  const Layering layering = layeringOf(VORNIX_SOURCE_DIR);
  EXPECT_GT(layering.files, 40U);
  EXPECT_GT(layering.includes, 100U);
  EXPECT_EQ(layering.violations, std::vector<std::string>{});
}

// A tree of a few files that keep to the rules, to one of which a test adds a line.
class PlantedTree {
 public:
  PlantedTree() : root_(fs::temp_directory_path() / ("vornix-layers-" + std::to_string(getpid()))) {
    for (const char* file : {"src/Utils.h",
                             "src/Text.h",
                             "src/Family.h",
                             "src/DeviceHandler.h",
                             "src/ComFenwix.h",
                             "src/ComTramsel.h",
                             "src/ComBLE.h",
                             "src/main.h",
                             "src/platform/Platform.h",
                             "src/platform/CBUUID.h",
                             "src/platform/bluez/Bus.h",
                             "src/platform/shared/Queue.h",
                             "lab/simulated/Platform.h",
                             "lab/DeviceModel.h",
                             "lab/models/Wire.h",
                             "lab/Text.h",
                             "host/vornix_host.h",
                             "scope/Clock.h",
                             "bench/Ratio.h",
                             "tests/support/Pipe.h"}) {
      write(file, "#pragma once\n");
    }
  }
  PlantedTree(const PlantedTree&) = delete;
  PlantedTree& operator=(const PlantedTree&) = delete;
  ~PlantedTree() { fs::remove_all(root_); }

  void write(const fs::path& file, const std::string& text) {
    fs::create_directories((root_ / file).parent_path());
    std::ofstream(root_ / file) << text;
  }

  const fs::path& root() const { return root_; }

 private:
  fs::path root_;
};

struct Planted : Case {
  std::string file;
  std::string text;
  std::string violation;  // empty: none
};

class PlantedInclude : public testing::TestWithParam<Planted> {};

TEST_P(PlantedInclude, IsJudged) {
  PlantedTree tree;
  tree.write(GetParam().file, GetParam().text);
  const std::vector<std::string> none;
  EXPECT_EQ(layeringOf(tree.root()).violations,
            GetParam().violation.empty() ? none : std::vector{GetParam().violation});
}

Planted allowed(std::string name, std::string file, std::string text) {
  return {{std::move(name)}, std::move(file), std::move(text), ""};
}

Planted refused(std::string name, std::string file, std::string text, std::string violation) {
  return {{std::move(name)}, std::move(file), std::move(text), std::move(violation)};
}

INSTANTIATE_TEST_SUITE_P(
    Allowed, PlantedInclude,
    testing::Values(
        allowed("InterfaceInCore", "src/ComFenwix.cpp", "#include \"platform/Platform.h\"\n"),
        allowed("OwnHeader", "src/ComFenwix.cpp",
                "#include \"ComFenwix.h\"\n#include \"Utils.h\"\n"),
        allowed("HelperInHelper", "src/Utils.cpp", "#include \"Text.h\"\n"),
        allowed("HeaderOfTheClass", "src/ComFenwixCommand.cpp", "#include \"ComFenwix.h\"\n"),
        allowed("SharedHalfInANewHandler", "src/ComNouveau.h", "#include \"DeviceHandler.h\"\n"),
        allowed("NewPlatform", "src/platform/nouveau/Bus.cpp",
                "#include \"platform/Platform.h\"\n#include \"platform/shared/Queue.h\"\n"),
        allowed("HostInScope", "scope/main.cpp", "#include \"vornix_host.h\"\n"),
        allowed("EverythingInTests", "tests/unit/core/Test.cpp", "#include \"ComBLE.h\"\n"),
        allowed("LowerLayer", "src/main.cpp", "#include \"ComBLE.h\"\n#include <cstdio>\n"),
        allowed("PosixBesideTheInterface", "src/platform/Platform.cpp", "#include <sys/stat.h>\n"),
        allowed("OwnFolder", "src/platform/bluez/Bus.cpp",
                "#include <systemd/sd-bus.h>\n#include \"platform/bluez/Bus.h\"\n"
                "#include \"platform/CBUUID.h\"\n"),
        allowed("SharedInImplementation", "src/platform/bluez/Bus.cpp",
                "#include \"platform/shared/Queue.h\"\n"),
        allowed("LabInLab", "lab/models/Wire.cpp", "#include \"lab/DeviceModel.h\"\n"),
        allowed("SimulatedPlatformUnderTheModels", "lab/simulated/Host.cpp",
                "#include \"lab/DeviceModel.h\"\n#include \"lab/simulated/Platform.h\"\n"),
        allowed("SharedInTheSimulatedPlatform", "lab/simulated/Platform.cpp",
                "#include \"platform/shared/Queue.h\"\n"),
        allowed("BridgeInADemo", "lab/demo/main.cpp", "#include \"main.h\"\nint main() {}\n"),
        allowed("IncludeInALineComment", "src/Text.cpp", "// #include \"lab/Text.h\"\n"),
        allowed("IncludeInABlockComment", "src/Text.cpp", "/*\n#include \"lab/Text.h\"\n*/\n")),
    caseName);

INSTANTIATE_TEST_SUITE_P(
    Refused, PlantedInclude,
    testing::Values(
        refused("ImplementationInCore", "src/main.cpp", "#include \"platform/bluez/Bus.h\"\n",
                "src/main.cpp includes src/platform/bluez/Bus.h"),
        refused("SystemLibraryInCore", "src/Utils.cpp", "#include <systemd/sd-bus.h>\n",
                "src/Utils.cpp includes systemd/sd-bus.h"),
        refused("HigherLayer", "src/Utils.cpp", "#include \"ComBLE.h\"\n",
                "src/Utils.cpp includes src/ComBLE.h"),
        refused("CentralInAHandler", "src/ComFenwix.cpp", "#include \"ComBLE.h\"\n",
                "src/ComFenwix.cpp includes src/ComBLE.h"),
        refused("HandlerInAHandler", "src/ComFenwix.cpp", "#include \"ComTramsel.h\"\n",
                "src/ComFenwix.cpp includes src/ComTramsel.h"),
        refused("HandlerInWhatHandlersShare", "src/DeviceHandler.cpp", "#include \"ComFenwix.h\"\n",
                "src/DeviceHandler.cpp includes src/ComFenwix.h"),
        refused("HandlersHalfInADescription", "src/Family.h", "#include \"DeviceHandler.h\"\n",
                "src/Family.h includes src/DeviceHandler.h"),
        refused("NewFileInCore", "src/Nouveau.h", "", "src/Nouveau.h has no place"),
        refused("NewFolderInCore", "src/nouveau/Text.h", "", "src/nouveau/Text.h has no place"),
        refused("NewFolder", "nouveau/Text.h", "", "nouveau/Text.h has no place"),
        refused("BridgeInHost", "host/vornix_host.h", "#include \"Utils.h\"\n",
                "host/vornix_host.h includes src/Utils.h"),
        refused("BridgeInScope", "scope/main.cpp", "#include \"main.h\"\nint main() {}\n",
                "scope/main.cpp includes src/main.h"),
        refused("LabInCore", "src/Text.cpp", "#include \"lab/Text.h\"\n",
                "src/Text.cpp includes lab/Text.h"),
        refused("LabInCoreByAngleBrackets", "src/Text.cpp", "  #  include  <lab/Text.h>\n",
                "src/Text.cpp includes lab/Text.h"),
        refused("LabInCoreByRelativePath", "src/Text.cpp", "#include \"../lab/Text.h\"\n",
                "src/Text.cpp includes lab/Text.h"),
        refused("TestsInCore", "src/Text.cpp", "#include \"tests/support/Pipe.h\"\n",
                "src/Text.cpp includes tests/support/Pipe.h"),
        refused("BenchInCore", "src/Text.cpp", "#include \"bench/Ratio.h\"\n",
                "src/Text.cpp includes bench/Ratio.h"),
        refused("HostInCore", "src/Text.cpp", "#include \"vornix_host.h\"\n",
                "src/Text.cpp includes host/vornix_host.h"),
        refused("MissingFileInCore", "src/Text.cpp", "#include \"lab/Gone.h\"\n",
                "src/Text.cpp includes lab/Gone.h"),
        refused("QuotedFileOfNobody", "src/Text.cpp", "#include \"Gone.h\"\n",
                "src/Text.cpp includes Gone.h"),
        refused("CoreInInterface", "src/platform/Platform.cpp", "#include \"Utils.h\"\n",
                "src/platform/Platform.cpp includes src/Utils.h"),
        refused("ImplementationInInterface", "src/platform/Platform.cpp",
                "#include \"platform/bluez/Bus.h\"\n",
                "src/platform/Platform.cpp includes src/platform/bluez/Bus.h"),
        refused("CoreInImplementation", "src/platform/bluez/Bus.cpp", "#include \"Utils.h\"\n",
                "src/platform/bluez/Bus.cpp includes src/Utils.h"),
        refused("SimulatedPlatformInImplementation", "src/platform/bluez/Bus.cpp",
                "#include \"lab/simulated/Platform.h\"\n",
                "src/platform/bluez/Bus.cpp includes lab/simulated/Platform.h"),
        refused("OtherImplementation", "src/platform/bluez/Bus.cpp",
                "#include \"platform/corebluetooth/Gatt.h\"\n",
                "src/platform/bluez/Bus.cpp includes src/platform/corebluetooth/Gatt.h"),
        refused("ImplementationInShared", "src/platform/shared/Queue.cpp",
                "#include \"platform/bluez/Bus.h\"\n",
                "src/platform/shared/Queue.cpp includes src/platform/bluez/Bus.h"),
        refused("SharedInCore", "src/main.cpp", "#include \"platform/shared/Queue.h\"\n",
                "src/main.cpp includes src/platform/shared/Queue.h"),
        refused("ImportInObjectiveC", "src/platform/corebluetooth/Central.mm",
                "#import \"ComBLE.h\"\n",
                "src/platform/corebluetooth/Central.mm includes src/ComBLE.h"),
        refused("LabInImplementation", "src/platform/bluez/Bus.cpp",
                "#include \"lab/DeviceModel.h\"\n",
                "src/platform/bluez/Bus.cpp includes lab/DeviceModel.h"),
        refused("CoreInModel", "lab/models/Wire.cpp", "#include \"Utils.h\"\n",
                "lab/models/Wire.cpp includes src/Utils.h"),
        refused("HandlerInModel", "lab/models/Wire.cpp", "#include \"ComFenwix.h\"\n",
                "lab/models/Wire.cpp includes src/ComFenwix.h"),
        refused("InterfaceInModel", "lab/models/Wire.cpp", "#include \"platform/CBUUID.h\"\n",
                "lab/models/Wire.cpp includes src/platform/CBUUID.h"),
        refused("SimulatedPlatformInModel", "lab/models/Wire.cpp",
                "#include \"lab/simulated/Platform.h\"\n",
                "lab/models/Wire.cpp includes lab/simulated/Platform.h"),
        refused("HandlerInADemo", "lab/demo/main.cpp", "#include \"ComFenwix.h\"\nint main() {}\n",
                "lab/demo/main.cpp includes src/ComFenwix.h"),
        refused("BridgeInWhatIsNoProgram", "lab/demo/Air.cpp", "#include \"main.h\"\n",
                "lab/demo/Air.cpp includes src/main.h"),
        refused("RealStackInADemo", "lab/demo/Air.cpp", "#include \"platform/bluez/Bus.h\"\n",
                "lab/demo/Air.cpp includes src/platform/bluez/Bus.h"),
        refused("TestsInLab", "lab/models/Wire.cpp", "#include \"tests/support/Pipe.h\"\n",
                "lab/models/Wire.cpp includes tests/support/Pipe.h")),
    caseName);

TEST(PlantedTreeOfTests, HasNoViolationByItself) {
  PlantedTree tree;
  const Layering layering = layeringOf(tree.root());
  EXPECT_EQ(layering.files, 20U);
  EXPECT_EQ(layering.violations, std::vector<std::string>{});
}

}  // namespace
}  // namespace unit
