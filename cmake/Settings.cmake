# Compiler settings of our own code, as a target to link to.
add_library(radvexSettings INTERFACE)
# An include says its room: "guard/OpenFile.h".
target_include_directories(radvexSettings INTERFACE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/include)
target_compile_options(radvexSettings INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Wcast-align -Wundef>)
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # What is unnamed in a source file is taken for that of a header when the file is compiled with others.
  target_compile_options(radvexSettings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
endif()
if(RADVEX_SANITIZE)
  target_compile_options(radvexSettings INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined
                         -fno-omit-frame-pointer)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU) # GCC 12 sees some inside <regex> and DCMTK's headers in these builds
    target_compile_options(radvexSettings INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_link_options(radvexSettings INTERFACE -fsanitize=address,undefined)
endif()
if(RADVEX_FUZZ)
  target_compile_options(radvexSettings INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(RADVEX_COVERAGE)
  target_compile_options(radvexSettings INTERFACE -fprofile-instr-generate -fcoverage-mapping)
  target_link_options(radvexSettings INTERFACE -fprofile-instr-generate)
endif()

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
