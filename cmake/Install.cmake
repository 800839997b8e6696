# `cmake --install`: the programs, and what the desktop, the message bus and the service manager need of them, in the
# places of the file-system standard. Below /usr/local the message bus does not read policies; registering a user
# writes a whole one in /etc.

include(GNUInstallDirs)

set(AEROVANE_UNIT_DIR "lib/systemd/system" CACHE STRING "Folder of the systemd unit")
# Of the newest entry of CHANGELOG.md that has a version, else of the commit that is built.
set(AEROVANE_RELEASE_DATE "" CACHE STRING "Date of this version (YYYY-MM-DD); empty: that of the last commit")
if(NOT AEROVANE_RELEASE_DATE)
  execute_process(COMMAND git log -1 --format=%cs WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE AEROVANE_RELEASE_DATE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()

set(AEROVANE_HELPER ${CMAKE_INSTALL_FULL_LIBEXECDIR}/aerovane-helper)
set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(generated ${PROJECT_BINARY_DIR}/packaging)

# aerovane_install_file(FILE DESTINATION folder): FILE of packaging/, its @NAMES@ filled in and .in taken off.
function(aerovane_install_file file destination)
  get_filename_component(name ${file} NAME)
  string(REGEX REPLACE "\\.in$" "" name ${name})
  configure_file(${packaging}/${file} ${generated}/${name} @ONLY)
  install(FILES ${generated}/${name} DESTINATION ${destination})
endfunction()

# aerovane_install_compressed(FILE NAME DESTINATION folder): the same, as NAME.gz.
find_program(GZIP_PROGRAM gzip REQUIRED)
function(aerovane_install_compressed file name destination)
  configure_file(${packaging}/${file} ${generated}/${name} @ONLY)
  execute_process(COMMAND ${GZIP_PROGRAM} -9nc ${generated}/${name} OUTPUT_FILE ${generated}/${name}.gz
    COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${generated}/${name}.gz DESTINATION ${destination})
endfunction()

install(TARGETS aerovane virtual-mac DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS aerovane-helper DESTINATION ${CMAKE_INSTALL_LIBEXECDIR})
# In root's search path: in need `aerovane-helper --release-all` is what an administrator types.
file(RELATIVE_PATH link_target ${CMAKE_INSTALL_FULL_SBINDIR} ${AEROVANE_HELPER})
file(MAKE_DIRECTORY ${generated})
file(CREATE_LINK ${link_target} ${generated}/aerovane-helper SYMBOLIC)
install(FILES ${generated}/aerovane-helper DESTINATION ${CMAKE_INSTALL_SBINDIR})

aerovane_install_file(linux/aerovane-helper.service.in ${AEROVANE_UNIT_DIR})
aerovane_install_file(linux/com.norwick.Halcyra.helper.service.in ${CMAKE_INSTALL_DATADIR}/dbus-1/system-services)
aerovane_install_file(linux/com.norwick.Halcyra.helper.conf ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d)
aerovane_install_file(linux/com.norwick.Halcyra.helper.xml ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces)
aerovane_install_file(linux/com.norwick.Halcyra.helper.policy.in ${CMAKE_INSTALL_DATADIR}/polkit-1/actions)
configure_file(${packaging}/linux/tmpfiles.conf ${generated}/aerovane.conf COPYONLY)
install(FILES ${generated}/aerovane.conf DESTINATION lib/tmpfiles.d)

foreach(page aerovane.1 virtual-mac.1 aerovane-helper.8)
  string(REGEX REPLACE "^.*\\." "" section ${page})
  aerovane_install_compressed(man/${page}.in ${page} ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
foreach(program aerovane aerovane-helper virtual-mac)
  install(FILES ${packaging}/completion/${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()

if(AEROVANE_UI)
  aerovane_install_file(linux/aerovane.desktop ${CMAKE_INSTALL_DATADIR}/applications)
  aerovane_install_file(linux/com.norwick.Halcyra.metainfo.xml.in ${CMAKE_INSTALL_DATADIR}/metainfo)
  install(FILES ${packaging}/linux/aerovane.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
  install(FILES ${PROJECT_SOURCE_DIR}/Sources/UI/Resources/icons/fan.svg RENAME aerovane-symbolic.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/symbolic/apps)
endif()
