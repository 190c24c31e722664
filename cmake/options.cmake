# What every target of this project is compiled with.
add_library(qorcomm_options INTERFACE)
target_compile_features(qorcomm_options INTERFACE cxx_std_20)
target_include_directories(qorcomm_options INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<BUILD_INTERFACE:${GENERATED_DIR}>)
target_compile_options(qorcomm_options INTERFACE
  -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wswitch-enum -Wno-missing-field-initializers
  # GCC 12 sees overlapping copies in std::string's operator+ at -O3 where there are none.
  # Without unique symbols: with one, a library can never be unloaded again.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>
  # The libraries call their own functions, never a namesake in the host: directly, and inlined.
  -fno-semantic-interposition
  $<$<BOOL:${QORCOMM_WARNINGS_AS_ERRORS}>:-Werror>)
if(QORCOMM_SANITIZE)
  target_compile_options(qorcomm_options INTERFACE
    -fsanitize=${QORCOMM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(qorcomm_options INTERFACE -fsanitize=${QORCOMM_SANITIZE})
endif()

# What a release holds does not depend on where it was built: no absolute path in debug information or
# __FILE__, and run paths of the build tree relative to the file, for they have a say in the build id.
# The last mapping that matches wins, and the build tree may stand inside the source tree.
target_compile_options(qorcomm_options INTERFACE
  $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
  $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=build>)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

include(${CMAKE_CURRENT_LIST_DIR}/hardening.cmake)

# qorcomm_limit_exports(LIBRARY): it exports what exports.map.in lists and nothing else.
configure_file(${CMAKE_CURRENT_LIST_DIR}/exports.map.in ${GENERATED_DIR}/exports.map @ONLY)
function(qorcomm_limit_exports library)
  target_link_options(${library} PRIVATE LINKER:--version-script=${GENERATED_DIR}/exports.map)
  set_target_properties(${library} PROPERTIES LINK_DEPENDS ${GENERATED_DIR}/exports.map)
endfunction()
