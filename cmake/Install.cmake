# What gets installed: the library with its headers, its package files for CMake and pkg-config, the tools; and the same
# as Debian packages, made by cpack -G DEB.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Zorvane)
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS zorvane EXPORT ZorvaneTargets
  LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE COMPONENT Development
  FILE_SET HEADERS COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}) # for CMake before 3.23, which knows no file sets
install(EXPORT ZorvaneTargets NAMESPACE Zorvane:: DESTINATION ${package_folder} COMPONENT Development)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ZorvaneConfig.cmake.in ZorvaneConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(ZorvaneConfigVersion.cmake COMPATIBILITY ${ZORVANE_COMPATIBILITY})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ZorvaneConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/ZorvaneConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT Development)

# An archive has to be linked with all that it uses. That is said without --static, which would ask for archives of
# those libraries and of theirs, too.
if(NOT BUILD_SHARED_LIBS)
  list(JOIN ZORVANE_LIBRARY_MODULES " " pkgconfig_requires)
  set(pkgconfig_libraries "-lstdc++ -lm -pthread")
endif()
file(RELATIVE_PATH pkgconfig_to_prefix /${pkgconfig_folder} /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zorvane.pc.in zorvane.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zorvane.pc DESTINATION ${pkgconfig_folder} COMPONENT Development)

if(ZORVANE_TOOLS)
  install(TARGETS zorvane-play zorvane-crowd RUNTIME COMPONENT Tools)
  install(TARGETS zorvane-collector zorvane-report RUNTIME COMPONENT Collector)

  # What makes a service of the collector is in its package only: it belongs to a machine, not into a folder.
  set(collector_package ${PROJECT_SOURCE_DIR}/packaging/collector)
  set(collector_documents share/doc/zorvane-collector)
  configure_file(${collector_package}/zorvane-collector.service.in zorvane-collector.service @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zorvane-collector.service
    DESTINATION lib/systemd/system COMPONENT Collector EXCLUDE_FROM_ALL)
  install(FILES ${collector_package}/default
    DESTINATION ../etc/default RENAME zorvane-collector COMPONENT Collector EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/operating.md
    DESTINATION ${collector_documents} COMPONENT Collector EXCLUDE_FROM_ALL)
  install(FILES ${collector_package}/nginx.conf
    DESTINATION ${collector_documents}/examples COMPONENT Collector EXCLUDE_FROM_ALL)
endif()

if(PROJECT_IS_TOP_LEVEL)
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME zorvane)
  set(CPACK_PACKAGE_CONTACT "The Zorvane developers <developers@zorvane.invalid>")
  set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzorvane${ZORVANE_ABI_VERSION})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The shared library that games run with.")

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzorvane-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers and package files to build games with.")
  if(BUILD_SHARED_LIBS)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  else()
    list(JOIN ZORVANE_LIBRARY_DEBIAN ", " libraries)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "pkg-config, ${libraries}")
  endif()

  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zorvane-tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION "A player of recorded game sessions, and a crowd of players.")

  set(CPACK_DEBIAN_COLLECTOR_PACKAGE_NAME zorvane-collector)
  set(CPACK_DEBIAN_COLLECTOR_PACKAGE_SECTION net)
  set(CPACK_DEBIAN_COLLECTOR_PACKAGE_DEPENDS adduser)
  set(CPACK_DEBIAN_COLLECTOR_PACKAGE_SUGGESTS "nginx | nginx-light")
  set(CPACK_DEBIAN_COLLECTOR_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  foreach(control postinst prerm postrm conffiles)
    list(APPEND CPACK_DEBIAN_COLLECTOR_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/collector/${control})
  endforeach()
  set(CPACK_COMPONENT_COLLECTOR_DESCRIPTION "The service that takes what games report, and the program that asks what it holds.")
  include(CPack)
endif()
