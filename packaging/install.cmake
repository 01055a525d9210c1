# What `make install` and the Debian packages put where. The packages' lists are in debian/*.install.
include(GNUInstallDirs)

# The libraries promise no interface to others: they stand in a folder of their own, and the programs know the way.
set(VSANMIB_LIBRARY_DIR ${CMAKE_INSTALL_FULL_LIBDIR}/vsanmib)
# A distribution's packages may say another; not cached, so that it follows the prefix.
set(VSANMIB_UNITS ${CMAKE_INSTALL_PREFIX}/lib/systemd/system)
if(VSANMIB_UNIT_DIR)
  set(VSANMIB_UNITS ${VSANMIB_UNIT_DIR})
endif()

install(TARGETS vsanmib LIBRARY DESTINATION ${VSANMIB_LIBRARY_DIR})
set_target_properties(vsanmib PROPERTIES INSTALL_RPATH "$ORIGIN")
install(FILES mibs/VSAN-MIB.txt DESTINATION ${CMAKE_INSTALL_DATADIR}/snmp/mibs)

# Of several files with one module net-snmp takes the last in the order of the names: these give way to all others.
file(GLOB STANDARD_MIBS RELATIVE ${PROJECT_SOURCE_DIR}/mibs/standard mibs/standard/*.txt)
foreach(mib IN LISTS STANDARD_MIBS)
  install(FILES mibs/standard/${mib} DESTINATION ${CMAKE_INSTALL_DATADIR}/snmp/mibs RENAME 00vsanmib-${mib})
endforeach()

# For those who write a platform or read the records: one folder to name to the compiler.
install(DIRECTORY include/platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vsanmib
  FILES_MATCHING PATTERN *.h PATTERN *.md)
install(DIRECTORY protocol/records/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vsanmib FILES_MATCHING PATTERN *.h)
install(FILES feature/vsan_manager/mib/vsan_mib.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vsanmib)
if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/examples)
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/vsanmib)
endif()
install(FILES docs/integrating.md DESTINATION ${CMAKE_INSTALL_DATADIR}/vsanmib)

# How their builds find the headers and the module.
include(CMakePackageConfigHelpers)
set(VSANMIB_PACKAGE_DIR ${CMAKE_INSTALL_FULL_LIBDIR}/cmake/vsanmib)
set(VSANMIB_HEADERS ${CMAKE_INSTALL_FULL_INCLUDEDIR}/vsanmib)
configure_package_config_file(packaging/finding/vsanmibConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/vsanmibConfig.cmake
  INSTALL_DESTINATION ${VSANMIB_PACKAGE_DIR} PATH_VARS VSANMIB_HEADERS VSANMIB_LIBRARY_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/vsanmibConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/vsanmibConfig.cmake
  ${PROJECT_BINARY_DIR}/packaging/vsanmibConfigVersion.cmake DESTINATION ${VSANMIB_PACKAGE_DIR})
configure_file(packaging/finding/libvsanmib.pc.in ${PROJECT_BINARY_DIR}/packaging/libvsanmib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/libvsanmib.pc DESTINATION ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)

if(VSANMIB_ONLY)
  return()
endif()

# Every module beside its platform; the agent's optional ones too, where they are built.
foreach(library switchagent switchplatform switchinterfaces switchhttp)
  if(TARGET ${library})
    install(TARGETS ${library} LIBRARY DESTINATION ${VSANMIB_LIBRARY_DIR})
    set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
endforeach()

foreach(program_and_folder switchd:${CMAKE_INSTALL_FULL_SBINDIR} vsanctl:${CMAKE_INSTALL_FULL_BINDIR}
    vsanfleet:${CMAKE_INSTALL_FULL_BINDIR})
  string(REGEX MATCH "^([^:]+):(.+)$" matched ${program_and_folder})
  set(program ${CMAKE_MATCH_1})
  set(folder ${CMAKE_MATCH_2})
  install(TARGETS ${program} RUNTIME DESTINATION ${folder})
  file(RELATIVE_PATH way ${folder} ${VSANMIB_LIBRARY_DIR})
  set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${way}")
endforeach()

file(READ packaging/units/hardening.conf HARDENING)
foreach(unit switchd.service switchd@.service vsanfleet@.service vsanfleet-host@.service)
  configure_file(packaging/units/${unit}.in ${PROJECT_BINARY_DIR}/packaging/${unit} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/${unit} DESTINATION ${VSANMIB_UNITS})
endforeach()
configure_file(packaging/snmpd/vsanmib.conf.in ${PROJECT_BINARY_DIR}/packaging/vsanmib.conf @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/vsanmib.conf
  DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/snmp/snmpd.conf.d)

file(GLOB TOPOLOGIES packaging/topologies/*.toml)
install(FILES ${TOPOLOGIES} packaging/units/fabric.conf DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/switchd/examples)
install(DIRECTORY examples/scenarios DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/switchd/examples)
install(DIRECTORY packaging/monitoring DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/switchd
  FILES_MATCHING PATTERN *.yml PATTERN *.json)
install(FILES packaging/fleet/statefulset.yaml DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/switchd/examples)
foreach(page install.md operating.md agent-configuration.md monitoring.md testing-an-nms.md fleet.md fleet.svg
    vsanctl.schema.json)
  install(FILES docs/${page} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/switchd)
endforeach()
foreach(section 1 5 8)
  file(GLOB PAGES docs/man/*.${section})
  install(FILES ${PAGES} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/completion/vsanctl.bash)
  install(FILES packaging/completion/vsanctl.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vsanctl)
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/completion/_vsanctl)
  install(FILES packaging/completion/_vsanctl DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
endif()
