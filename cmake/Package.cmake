# `find_package(Radvex)` after an installation: the host as Radvex::velmoraHost, the link library, and RADVEX_LIBRARY.
# `pkg-config radvex`, for hosts in C and in other languages: the headers, the link library, and the variable `library`.
include(CMakePackageConfigHelpers)
install(TARGETS velmoraHost tether EXPORT RadvexTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} LIBRARY DESTINATION ${RADVEX_INSTALL_LIBRARY_DIR}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmora)
install(EXPORT RadvexTargets NAMESPACE Radvex:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Radvex)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/RadvexConfig.cmake.in ${CMAKE_BINARY_DIR}/RadvexConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Radvex
                              PATH_VARS RADVEX_INSTALL_LIBRARY_DIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/RadvexConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/RadvexConfig.cmake ${CMAKE_BINARY_DIR}/RadvexConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Radvex)

# From where the file lies to the folder that all is installed in, which may be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/radvex.pc.in ${CMAKE_BINARY_DIR}/radvex.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/radvex.pc DESTINATION ${pkgconfig_dir})

# What is bundled, and by which licences: DCMTK lies beside the library, others are compiled in.
install(FILES scripts/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/radvex)
