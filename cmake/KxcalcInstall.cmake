# cmake --install: the header, the three libraries (with their SONAME links on Linux, the
# DLL and its import library on Windows), a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(KX_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kxcalc)

install(TARGETS kxcalc kxcalc-avx2fma3 kxcalc-generic EXPORT kxcalcTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/kxcalc.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32)
  # Lets an MSVC user make an import library: lib /def:kxcalc.def /machine:x64
  install(FILES ${KX_GENERATED_DIR}/DISPATCH.def DESTINATION ${CMAKE_INSTALL_LIBDIR}
          RENAME kxcalc.def)
endif()

install(EXPORT kxcalcTargets NAMESPACE kxcalc:: DESTINATION ${KX_CMAKE_PACKAGE_DIR})
configure_package_config_file(cmake/kxcalcConfig.cmake.in
                              ${KX_GENERATED_DIR}/kxcalcConfig.cmake
                              INSTALL_DESTINATION ${KX_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${KX_GENERATED_DIR}/kxcalcConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${KX_GENERATED_DIR}/kxcalcConfig.cmake
              ${KX_GENERATED_DIR}/kxcalcConfigVersion.cmake
        DESTINATION ${KX_CMAKE_PACKAGE_DIR})

# The pkg-config file finds its prefix from where it lies, so that the installed tree can
# move (cmake --install --prefix chooses it late).
file(RELATIVE_PATH KX_PC_PREFIX_FROM_PCDIR
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/kxcalc.pc.in ${KX_GENERATED_DIR}/kxcalc.pc @ONLY)
install(FILES ${KX_GENERATED_DIR}/kxcalc.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
