# `find_package(Radvex)` after an installation: the host as Radvex::velmoraHost, the link library, and RADVEX_LIBRARY.
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
