# Cross-compiles for arm64 macOS with zig's compiler. AEROVANE_CHECK_TOOLS: a folder with its `clang++`, `ar` and
# `ranlib` for that target (scripts/check-macos makes it).
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "Part of the compiler's target")
set(CMAKE_OSX_SYSROOT "" CACHE STRING "None")

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES AEROVANE_CHECK_TOOLS)
set(CMAKE_CXX_COMPILER ${AEROVANE_CHECK_TOOLS}/clang++)
set(CMAKE_OBJCXX_COMPILER ${AEROVANE_CHECK_TOOLS}/clang++)
set(CMAKE_AR ${AEROVANE_CHECK_TOOLS}/ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${AEROVANE_CHECK_TOOLS}/ranlib CACHE FILEPATH "")
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool-14 llvm-install-name-tool REQUIRED)

set(AEROVANE_CHECK_INCLUDES ${CMAKE_BINARY_DIR}/include)
set(fmt_DIR ${CMAKE_CURRENT_LIST_DIR}/packages)
set(nlohmann_json_DIR ${CMAKE_CURRENT_LIST_DIR}/packages)
set(CLI11_DIR ${CMAKE_CURRENT_LIST_DIR}/packages)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

set(frameworks "-iframework${CMAKE_CURRENT_LIST_DIR}/frameworks -isystem${CMAKE_CURRENT_LIST_DIR}/include")
set(CMAKE_CXX_FLAGS_INIT "${frameworks}")
set(CMAKE_OBJCXX_FLAGS_INIT "${frameworks}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-F${CMAKE_CURRENT_LIST_DIR}/frameworks -L${CMAKE_CURRENT_LIST_DIR}/lib")
