# What a Mac's build has of its own: Objective-C++, the frameworks, and the application's bundle.

enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)

set(AEROVANE_SIGNING_TEAM "" CACHE STRING
  "Ten characters: the team whose signature application and helper require of each other; empty: unsigned, unchecked")
string(LENGTH "${AEROVANE_SIGNING_TEAM}" length)
if(AEROVANE_SIGNING_TEAM AND NOT (length EQUAL 10 AND AEROVANE_SIGNING_TEAM MATCHES "^[A-Z0-9]+$"))
  message(FATAL_ERROR "AEROVANE_SIGNING_TEAM is not a team's identifier: ten capital letters and digits")
endif()

# aerovane_apple_platform(NAME FOLDER folder LINK target...)
function(aerovane_apple_platform name)
  cmake_parse_arguments(ARG "" "FOLDER" "LINK" ${ARGN})
  aerovane_library(${name} FOLDERS ${ARG_FOLDER} LINK ${ARG_LINK})
  file(GLOB objective CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${ARG_FOLDER}/*.mm)
  target_sources(${name} PRIVATE ${objective})
  set_source_files_properties(${objective} PROPERTIES COMPILE_OPTIONS "-fobjc-arc;-Wno-nullability-completeness")
  target_compile_options(${name} PRIVATE -fblocks)
  target_compile_definitions(${name} PRIVATE AEROVANE_SIGNING_TEAM="${AEROVANE_SIGNING_TEAM}")
  # The kernel's headers define as macros what the program has as constants: their order matters, in each file alone.
  set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  target_link_libraries(${name} PUBLIC "-framework CoreFoundation" "-framework IOKit")
endfunction()

# aerovane_bundle(APPLICATION HELPER target): makes Aerovane.app of the application.
function(aerovane_bundle application)
  cmake_parse_arguments(ARG "" "HELPER" "" ${ARGN})
  set(packaging ${PROJECT_SOURCE_DIR}/packaging/macos)
  set(icon ${packaging}/Aerovane.icns)
  set(daemon ${packaging}/com.norwick.Halcyra.helper.plist)
  target_sources(${application} PRIVATE ${icon} ${daemon})
  set_source_files_properties(${icon} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
  set_source_files_properties(${daemon} PROPERTIES MACOSX_PACKAGE_LOCATION Library/LaunchDaemons)
  set_target_properties(${application} PROPERTIES OUTPUT_NAME Aerovane MACOSX_BUNDLE ON
    MACOSX_BUNDLE_INFO_PLIST ${packaging}/Info.plist.in)
  target_link_libraries(${application} PRIVATE
    "-framework Foundation" "-framework ServiceManagement" "-framework UserNotifications" objc)
  add_dependencies(${application} ${ARG_HELPER})
  add_custom_command(TARGET ${application} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:${ARG_HELPER}> $<TARGET_FILE_DIR:${application}>/ VERBATIM)
endfunction()
