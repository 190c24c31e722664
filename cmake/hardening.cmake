# What makes a fault harder to abuse, for libraries and programs, and where programs look for the
# libraries. tests/hardening reads from the built files whether it took effect.
option(QORCOMM_HARDEN "Build with the compiler's and the linker's protections (the release preset does)"
  OFF)
option(QORCOMM_RELOCATABLE "Let installed files find the libraries beside them, wherever they are moved"
  OFF)

if(QORCOMM_HARDEN)
  include(CheckCXXCompilerFlag)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    string(MAKE_C_IDENTIFIER "QORCOMM_HAS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      target_compile_options(qorcomm_options INTERFACE ${flag})
    endif()
  endforeach()
  # The checked functions are inline ones: without optimization there are none.
  target_compile_options(qorcomm_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
  target_link_options(qorcomm_options INTERFACE
    LINKER:-z,relro,-z,now LINKER:-z,text LINKER:-z,noexecstack)
endif()

# Installed files have no run path: the loader's own configuration, or LD_LIBRARY_PATH, says where the
# libraries are. A tree that is moved about as a whole is configured with QORCOMM_RELOCATABLE.
if(QORCOMM_RELOCATABLE)
  file(RELATIVE_PATH QORCOMM_LIBRARY_PATH /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set(QORCOMM_LIBRARY_RUN_PATH "$ORIGIN")
  set(QORCOMM_PROGRAM_RUN_PATH "$ORIGIN/${QORCOMM_LIBRARY_PATH}")
endif()
