# Shared libraries export only what their headers mark with the export
# macros (camera/KorvaneCameraExport.h, Extension_Unit_Class/KorvaneControlExport.h).
include(GenerateExportHeader)

function(korvane_hidden_by_default target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()
