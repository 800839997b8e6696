# `cpack` in a build folder of the preset `package` makes the Debian package; scripts/check-package does it and tries
# the package out.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME aerovane)
set(CPACK_PACKAGE_VENDOR "The Aerovane maintainers")
set(CPACK_PACKAGE_CONTACT "Seed cc1f0a6b maintainers <maintainers@users.noreply.c-seed-cc1f0a6b.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "fan control by the temperatures of a Mac")
set(CPACK_PACKAGE_DESCRIPTION
"Aerovane reads the temperatures and fan speeds of a Mac's System Management
Controller, turns the noisy readings of the die into one steady temperature
per fan, and drives each fan from the preset that the user chooses.
.
Every write to a fan goes through a separate helper with root rights, which
hands the fans back to the firmware as soon as the application ends, hangs or
loses its sensors. Nobody but root and one registered user may call it.
.
A simulated Mac comes with it, which needs no rights and no hardware:
aerovane --virtual-mac")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The simulated Mac has a message bus of its own; Qt loads its platform while it runs.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "dbus-daemon")
if(AEROVANE_UI)
  string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", qt6-qpa-plugins")
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "default-dbus-system-bus | dbus-system-bus, fonts-inter | fonts-dejavu-core, polkitd, pkexec")
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "qt6-wayland")
endif()

execute_process(COMMAND date --utc --rfc-email --date=${AEROVANE_RELEASE_DATE}
  OUTPUT_VARIABLE AEROVANE_RELEASE_DATE_RFC OUTPUT_STRIP_TRAILING_WHITESPACE)
aerovane_install_compressed(debian/changelog.in changelog ${CMAKE_INSTALL_DATADIR}/doc/aerovane)
install(FILES ${packaging}/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/aerovane)

foreach(script prerm postinst postrm)
  configure_file(${packaging}/debian/${script}.in ${generated}/${script} @ONLY)
  list(APPEND CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${generated}/${script})
endforeach()
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
