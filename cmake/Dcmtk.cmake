# The DCMTK that the library is built on: -DDCMTK_DIR=FOLDER, or the one that scripts/build-dcmtk.sh keeps for this user.
# It must be one shared library with a compiled-in dictionary; a probe makes sure of that.
if(RADVEX_FUZZ)
  set(dcmtkVariant fuzz)
  set(dcmtkLinkOptions -fsanitize=address) # programs bring the run time that such a DCMTK calls
endif()
# One that this script built before is built anew when the script has changed; one that was given stays.
file(GLOB dcmtkPatches CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/dcmtk/*.patch)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/scripts/build-dcmtk.sh ${dcmtkPatches})
if(NOT DCMTK_DIR OR DCMTK_DIR MATCHES "/radvex/dcmtk-[a-z0-9-]+$")
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/build-dcmtk.sh ${dcmtkVariant}
                  OUTPUT_VARIABLE dcmtkPrefix OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE dcmtkFailed)
  if(dcmtkFailed)
    message(FATAL_ERROR "DCMTK could not be built. Mend what is said above, or point -DDCMTK_DIR at an installed one.")
  endif()
  set(DCMTK_DIR ${dcmtkPrefix} CACHE PATH "Folder that DCMTK is installed to" FORCE)
endif()

find_library(DCMTK_LIBRARY dcmtk PATHS ${DCMTK_DIR}/lib ${DCMTK_DIR}/lib64 NO_DEFAULT_PATH NO_CACHE)
if(NOT DCMTK_LIBRARY OR NOT EXISTS ${DCMTK_DIR}/include/dcmtk/config/osconfig.h)
  message(FATAL_ERROR "${DCMTK_DIR} holds no DCMTK built as a single shared library (lib/libdcmtk.so and "
                      "include/dcmtk). Set -DDCMTK_DIR to one, or leave it out to have it built.")
endif()

option(RADVEX_UNPATCHED_DCMTK "Take a DCMTK with the defects that the patches in cmake/dcmtk mend" OFF)
if(RADVEX_UNPATCHED_DCMTK)
  set(dcmtkDefinitions -DRADVEX_UNPATCHED_DCMTK)
endif()
if(NOT RADVEX_DCMTK_PROBED STREQUAL DCMTK_LIBRARY)
  try_run(probeResult probeBuilt ${CMAKE_BINARY_DIR}/probe SOURCES ${CMAKE_SOURCE_DIR}/cmake/probe.cpp
          CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${DCMTK_DIR}/include" LINK_LIBRARIES ${DCMTK_LIBRARY}
          COMPILE_DEFINITIONS ${dcmtkDefinitions} LINK_OPTIONS "-Wl,-rpath,${DCMTK_DIR}/lib" ${dcmtkLinkOptions}
          CXX_STANDARD 17 COMPILE_OUTPUT_VARIABLE probeErrors RUN_OUTPUT_VARIABLE probeOutput)
  if(NOT probeBuilt)
    message(FATAL_ERROR "The DCMTK in ${DCMTK_DIR} lacks a module that the library needs (dcmdata, dcmimage, dcmjpeg, "
                        "dcmjpls, dcmiod, dcmfg, dcmpmap):\n${probeErrors}")
  elseif(NOT probeResult EQUAL 0)
    message(FATAL_ERROR "The DCMTK in ${DCMTK_DIR} cannot be used: ${probeOutput}")
  endif()
  set(RADVEX_DCMTK_PROBED ${DCMTK_LIBRARY} CACHE INTERNAL "The DCMTK that passed the probe")
endif()

add_library(dcmtk SHARED IMPORTED GLOBAL)
set_target_properties(dcmtk PROPERTIES IMPORTED_LOCATION ${DCMTK_LIBRARY})
target_include_directories(dcmtk SYSTEM INTERFACE ${DCMTK_DIR}/include)
file(GLOB RADVEX_DCMTK_FILES ${DCMTK_DIR}/lib/libdcmtk.so.*)
