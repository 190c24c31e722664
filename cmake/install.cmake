# An install tree that find_package(qorcomm) and pkg-config both read, wherever it is moved to. Every
# file belongs to a component, which is the name of its Debian package: see packages.cmake.
#
# ICU writes its major version into the name of every C++ symbol, and so into ours: a program must be
# built with the ICU that the libraries were built with. Packages, CMake and pkg-config all check it.
string(REGEX MATCH "^[0-9]+" QORCOMM_ICU_MAJOR "${ICU_VERSION}")
math(EXPR QORCOMM_ICU_NEXT "${QORCOMM_ICU_MAJOR} + 1")
set(QORCOMM_LIBRARY_PACKAGE libqorcomm${PROJECT_VERSION_MAJOR})
set(QORCOMM_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorcomm)

install(TARGETS qorinfra qorcomm EXPORT qorcommTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT ${QORCOMM_LIBRARY_PACKAGE} NAMELINK_COMPONENT libqorcomm-dev
  FILE_SET public_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorcomm COMPONENT libqorcomm-dev
  FILE_SET generated_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorcomm COMPONENT libqorcomm-dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorcomm)
install(EXPORT qorcommTargets NAMESPACE qorcomm:: DESTINATION ${QORCOMM_CONFIG_DIR}
  COMPONENT libqorcomm-dev)

configure_package_config_file(cmake/qorcommConfig.cmake.in ${PROJECT_BINARY_DIR}/qorcommConfig.cmake
  INSTALL_DESTINATION ${QORCOMM_CONFIG_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorcommConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorcommConfig.cmake
  ${PROJECT_BINARY_DIR}/qorcommConfigVersion.cmake DESTINATION ${QORCOMM_CONFIG_DIR}
  COMPONENT libqorcomm-dev)

# Under /usr nothing moves, and pkg-config leaves out the system's folders only when it sees them
# written in full; elsewhere its file finds the tree that it stands in. A folder that was configured as
# an absolute path stays one.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(QORCOMM_PC_PREFIX /usr)
else()
  file(RELATIVE_PATH up ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" up "${up}")
  set(QORCOMM_PC_PREFIX "\${pcfiledir}/${up}")
endif()
foreach(folder LIBDIR INCLUDEDIR)
  cmake_path(APPEND QORCOMM_PC_${folder} "\${prefix}" "${CMAKE_INSTALL_${folder}}")
endforeach()
configure_file(cmake/qorcomm.pc.in ${PROJECT_BINARY_DIR}/qorcomm.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qorcomm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT libqorcomm-dev)
