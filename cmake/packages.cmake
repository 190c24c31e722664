# Debian packages, split as Debian does; scripts/package.sh builds them. A component is a package.
#
# The library's package carries a second name with ICU's major version, and that is the name that
# programs depend on: built again with another ICU, the package no longer has it, so a program is held
# back instead of failing to find its symbols.
set(QORCOMM_ABI_PACKAGE ${QORCOMM_LIBRARY_PACKAGE}-icu${QORCOMM_ICU_MAJOR})
set(QORCOMM_ABI_DEPENDS "${QORCOMM_ABI_PACKAGE} (>= ${PROJECT_VERSION})")

set(packages ${QORCOMM_LIBRARY_PACKAGE} libqorcomm-dev)
if(QORCOMM_BUILD_CLI)
  list(APPEND packages qorctl)
endif()
if(QORCOMM_BUILD_SERVER)
  list(APPEND packages qorserver)
endif()

# What every package documents about itself: its terms and the changes.
set(changes ${PROJECT_BINARY_DIR}/changelog.gz)
add_custom_command(OUTPUT ${changes} VERBATIM DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md > ${changes})
add_custom_target(changelog ALL DEPENDS ${changes})
foreach(package IN LISTS packages)
  set(terms copyright)
  if(package STREQUAL qorserver)
    set(terms copyright.qorserver)
  endif()
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/${terms} RENAME copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${package})
  install(FILES ${changes} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${package})
endforeach()

# The pages for whoever uses the package, laid so that their links to each other hold. Those of a program
# lie side by side; those of the library as in this tree, with the programs that they quote.
set(pages_of_qorctl qorctl protocol server)
set(pages_of_qorserver server protocol)
foreach(program IN ITEMS qorctl qorserver)
  if(program IN_LIST packages)
    list(TRANSFORM pages_of_${program} PREPEND ${PROJECT_SOURCE_DIR}/docs/)
    list(TRANSFORM pages_of_${program} APPEND .md)
    install(FILES ${pages_of_${program}}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${program} COMPONENT ${program})
  endif()
endforeach()
set(library_pages ${CMAKE_INSTALL_DATADIR}/doc/libqorcomm-dev)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md
  DESTINATION ${library_pages} COMPONENT libqorcomm-dev)
install(DIRECTORY docs DESTINATION ${library_pages} COMPONENT libqorcomm-dev
  FILES_MATCHING PATTERN *.md PATTERN *.svg)
install(DIRECTORY examples DESTINATION ${library_pages} COMPONENT libqorcomm-dev
  FILES_MATCHING PATTERN *.cc)

# From this, dpkg-shlibdeps makes the dependencies of programs that link the libraries.
set(shlibs ${PROJECT_BINARY_DIR}/debian/shlibs)
file(CONFIGURE OUTPUT ${shlibs} @ONLY CONTENT
"libqorcomm @PROJECT_VERSION_MAJOR@ @QORCOMM_ABI_DEPENDS@
libqorinfra @PROJECT_VERSION_MAJOR@ @QORCOMM_ABI_DEPENDS@
")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "qorcomm maintainers <maintainers@qorcomm.invalid>"
  CACHE STRING "The packages' Maintainer field")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL ${packages})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/comm ${PROJECT_BINARY_DIR}/infra)

# describe(PACKAGE SECTION SUMMARY TEXT): CPack makes the fields' lines of it.
function(describe package section summary text)
  string(TOUPPER ${package} name)
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
endfunction()

string(TOUPPER ${QORCOMM_LIBRARY_PACKAGE} library)
describe(${QORCOMM_LIBRARY_PACKAGE} libs "client library of a full-text search server"
"qorcomm is the library through which a database talks to a separate full-text search server: it sends documents, runs queries and decodes the replies. This package holds the shared libraries libqorcomm and libqorinfra.
.
ICU's major version (${QORCOMM_ICU_MAJOR}) is part of their C++ ABI: programs depend on ${QORCOMM_ABI_PACKAGE}, which this package provides, and have to be built again for another ICU.")
set(CPACK_DEBIAN_${library}_PACKAGE_PROVIDES "${QORCOMM_ABI_PACKAGE} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_${library}_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_${library}_PACKAGE_CONTROL_EXTRA ${shlibs})

describe(libqorcomm-dev libdevel "client library of a full-text search server, development files"
"This package holds what is needed to build programs with qorcomm: the headers, and the files that CMake's find_package(qorcomm) and pkg-config read.
.
ICU's major version (${QORCOMM_ICU_MAJOR}) is part of the libraries' C++ ABI, so programs must be built with the same ICU.")
set(CPACK_DEBIAN_LIBQORCOMM-DEV_PACKAGE_DEPENDS "${QORCOMM_LIBRARY_PACKAGE} (= ${PROJECT_VERSION}), \
${QORCOMM_ABI_PACKAGE}, libicu-dev (>= ${QORCOMM_ICU_MAJOR}), libicu-dev (<< ${QORCOMM_ICU_NEXT}~)")
set(CPACK_DEBIAN_LIBQORCOMM-DEV_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_LIBQORCOMM-DEV_PACKAGE_SHLIBDEPS OFF)

describe(qorctl utils "command line of a full-text search server"
"qorctl creates collections on a full-text search server, loads documents into them, searches them and says what went wrong. It talks to the server through libqorcomm.")
# What dpkg-shlibdeps would read from the library's shlibs file, were it installed already.
set(CPACK_DEBIAN_QORCTL_PACKAGE_DEPENDS "${QORCOMM_ABI_DEPENDS}")

describe(qorserver database "full-text search server for clients of qorcomm"
"qorserver keeps collections of documents in Xapian databases and answers the requests of clients that use libqorcomm, such as a database's text index or the command line qorctl.
.
It links Xapian, which is under the GPL, version 2 or later; see its copyright file.")
set(CPACK_DEBIAN_QORSERVER_PACKAGE_DEPENDS
  "systemd | systemd-standalone-sysusers | systemd-sysusers")
set(scripts ${PROJECT_SOURCE_DIR}/cmake/debian/qorserver)
set(CPACK_DEBIAN_QORSERVER_PACKAGE_CONTROL_EXTRA
  ${scripts}/conffiles ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)

include(CPack)
