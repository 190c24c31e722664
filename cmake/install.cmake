# An install tree that find_package(qorcomm) and pkg-config both read, wherever it is moved to.
set(QORCOMM_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorcomm)

install(TARGETS qorinfra qorcomm EXPORT qorcommTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET public_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorcomm
  FILE_SET generated_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorcomm
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorcomm)
install(EXPORT qorcommTargets NAMESPACE qorcomm:: DESTINATION ${QORCOMM_CONFIG_DIR})

configure_package_config_file(cmake/qorcommConfig.cmake.in ${PROJECT_BINARY_DIR}/qorcommConfig.cmake
  INSTALL_DESTINATION ${QORCOMM_CONFIG_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorcommConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorcommConfig.cmake
  ${PROJECT_BINARY_DIR}/qorcommConfigVersion.cmake DESTINATION ${QORCOMM_CONFIG_DIR})

file(RELATIVE_PATH QORCOMM_PC_PREFIX
  /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/qorcomm.pc.in ${PROJECT_BINARY_DIR}/qorcomm.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qorcomm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
