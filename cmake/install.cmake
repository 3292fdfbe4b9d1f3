# The rules of cmake --install. They work with any prefix and with DESTDIR. Parts that are not built are
# not installed.

# On Windows everything is in one folder, which script/windows-package makes an installer and an archive of. The
# programs contain the libraries that they need, whose licences demand that they are handed on.
if(WIN32)
  foreach(program relaybird relaybird-console)
    if(TARGET ${program})
      install(TARGETS ${program} DESTINATION .)
    endif()
  endforeach()
  if(TARGET rbx_help)
    install(FILES ${PROJECT_BINARY_DIR}/help/rbx.chm DESTINATION .)
  endif()
  install(FILES packaging/windows/libraries.txt DESTINATION licences)
  install(FILES packaging/debian/copyright DESTINATION licences RENAME relaybird.txt)
  foreach(package g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev nsis wx3.2-headers)
    install(FILES /usr/share/doc/${package}/copyright DESTINATION licences RENAME ${package}.txt)
  endforeach()
  foreach(licence GPL-2 GPL-3 LGPL-2 LGPL-2.1)
    install(FILES /usr/share/common-licenses/${licence} DESTINATION licences RENAME ${licence}.txt)
  endforeach()
  return()
endif()

include(GNUInstallDirs)
set(application_header ${PROJECT_SOURCE_DIR}/src/platform/system/application_id.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${application_header})
file(STRINGS ${application_header} application_id REGEX "kApplicationId =")
string(REGEX REPLACE ".*\"(.*)\".*" "\\1" application_id "${application_id}")
set(packaging ${PROJECT_SOURCE_DIR}/packaging)

# Code for files that contain the full path of a program, which is known only at installation, when the
# prefix is known. Sets the variable `program` from `folder` and `name`.
set(find_full_path [=[
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX NORMALIZE OUTPUT_VARIABLE program)
    cmake_path(APPEND program "${folder}" "${name}")
    if(program MATCHES "[\"'\\]")
      message(WARNING "a service cannot start a program whose path contains quotes or a backslash: ${program}")
    endif()]=])

if(TARGET relaybird)
  install(TARGETS relaybird)
  install(FILES ${packaging}/man/relaybird.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${packaging}/desktop/${application_id}.desktop
          DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  # The file by which the session bus starts the program. The path is quoted, since it may contain
  # blanks.
  install(CODE "
    set(template \"${packaging}/dbus/${application_id}.service\")
    set(made \"${PROJECT_BINARY_DIR}/${application_id}.service\")
    set(folder \"${CMAKE_INSTALL_BINDIR}\")
    set(name relaybird)")
  install(CODE "${find_full_path}")
  install(CODE [=[
    file(READ "${template}" service)
    string(REPLACE "=/usr/bin/relaybird\n" "=\"${program}\"\n" service "${service}")
    file(WRITE "${made}" "${service}")]=])
  install(FILES ${PROJECT_BINARY_DIR}/${application_id}.service
          DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/services)
  install(FILES ${packaging}/desktop/${application_id}.metainfo.xml
          DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

  set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
  set(rendered "")
  foreach(size 16 22 24 32 48 64 128 256 512)
    set(icon ${PROJECT_BINARY_DIR}/icons/${size}x${size}/${application_id}.png)
    add_custom_command(
      OUTPUT ${icon}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/icons/${size}x${size}
      COMMAND ${RSVG_CONVERT} --width ${size} --height ${size}
              --output ${icon} ${PROJECT_SOURCE_DIR}/art/relaybird.svg
      DEPENDS ${PROJECT_SOURCE_DIR}/art/relaybird.svg
      VERBATIM)
    list(APPEND rendered ${icon})
    install(FILES ${icon} DESTINATION ${icons}/${size}x${size}/apps)
  endforeach()
  add_custom_target(relaybird_icons ALL DEPENDS ${rendered})
  install(FILES ${PROJECT_SOURCE_DIR}/art/relaybird.svg
          DESTINATION ${icons}/scalable/apps RENAME ${application_id}.svg)
  install(FILES ${PROJECT_SOURCE_DIR}/art/relaybird-running-symbolic.svg
          DESTINATION ${icons}/symbolic/apps RENAME ${application_id}-symbolic.svg)
endif()

if(TARGET relaybird-console)
  install(TARGETS relaybird-console)
  install(FILES ${packaging}/man/relaybird-console.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  # The path is quoted, since it may contain blanks, and percent signs are doubled (systemd.unit(5)).
  install(CODE "
    set(template \"${packaging}/systemd/relaybird-console.service\")
    set(made \"${PROJECT_BINARY_DIR}/relaybird-console.service\")
    set(folder \"${CMAKE_INSTALL_BINDIR}\")
    set(name relaybird-console)")
  install(CODE "${find_full_path}")
  install(CODE [=[
    string(REPLACE "%" "%%" program "${program}")
    file(READ "${template}" unit)
    string(REPLACE "=/usr/bin/relaybird-console\n" "=\"${program}\"\n" unit "${unit}")
    file(WRITE "${made}" "${unit}")]=])
  # Not CMAKE_INSTALL_LIBDIR: systemd reads units from lib on every architecture.
  install(FILES ${PROJECT_BINARY_DIR}/relaybird-console.service DESTINATION lib/systemd/user)
endif()

# The programs search for the manual at this place relative to their own folder.
if(TARGET rbx_help)
  cmake_path(SET help_folder NORMALIZE ${CMAKE_INSTALL_BINDIR}/../share/relaybird)
  install(FILES ${PROJECT_BINARY_DIR}/help/rbx.chm DESTINATION ${help_folder})
endif()

if(TARGET relaybird OR TARGET relaybird-console)
  install(FILES LICENSE docs/console.md docs/preferences.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()
