# Given to DCMTK's build: its modules of many small sources, which take most of their time to read the same headers, are
# compiled several sources at a time.
function(radvex_join_sources)
  set_target_properties(dcmdata_obj dcmfg_obj dcmiod_obj dcmpmap_obj oflog_obj PROPERTIES
                        UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
endfunction()
cmake_language(DEFER CALL radvex_join_sources)
