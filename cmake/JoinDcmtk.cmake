# Given to DCMTK's build: its modules of many small sources, which take most of their time to read the same headers, are
# compiled several sources at a time.
function(radvex_join_sources)
  foreach(module dcmdata dcmfg dcmiod dcmpmap)
    if(TARGET ${module}_obj) # each module is a project, and asks before the next one is there
      set_target_properties(${module}_obj PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
    endif()
  endforeach()
endfunction()
cmake_language(DEFER CALL radvex_join_sources)
