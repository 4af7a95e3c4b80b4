# Debian's OpenJPEG; for fuzzing the same with sanitizers, which scripts/build-openjpeg.sh keeps for this user.
if(RADVEX_FUZZ)
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/build-openjpeg.sh
                  OUTPUT_VARIABLE openjpegPrefix OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE openjpegFailed)
  if(openjpegFailed)
    message(FATAL_ERROR "OpenJPEG could not be built. Mend what is said above.")
  endif()
  set(ENV{PKG_CONFIG_PATH} ${openjpegPrefix}/lib/pkgconfig)
endif()
find_package(PkgConfig REQUIRED)
pkg_check_modules(openjpeg REQUIRED IMPORTED_TARGET GLOBAL libopenjp2)
