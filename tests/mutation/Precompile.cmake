# Included by the top CMakeLists.txt when tests/mutation/run configures: precompiles the headers
# that the build of each mutation would otherwise read again.
cmake_language(DEFER CALL target_precompile_headers vornix_core PRIVATE
  [["ComBLE.h"]] <algorithm> <chrono> <cstdio> <functional> <string>)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  cmake_language(DEFER CALL target_precompile_headers vornix_bluez PRIVATE
    [["platform/bluez/CentralManager.h"]] <algorithm> <chrono>)
endif()
