# Windows: which DLL each Max API function comes from. The list of functions
# we use (libmaxmsp/src/MaxWrapperApiList.h) names the DLL of each; from it we
# write, at configure time, the module-definition files
#   MaxAPI.def, MaxAudio.def   what the external imports from each DLL (import
#                              libraries made with dlltool or lib.exe)
#   MaxsimKernel.def           what the simulator's kernel, MaxAPI.dll, exports:
#                              every function of both DLLs
#   MaxsimAudio.def            MaxAudio.dll: forwards to the kernel's functions
# so the files can never drift from the list.
set(MAX_API_LIST "${PROJECT_SOURCE_DIR}/libmaxmsp/src/MaxWrapperApiList.h")
set(MAX_DEF_DIR "${CMAKE_BINARY_DIR}/max-def")

function(max_write_def_files)
  file(READ "${MAX_API_LIST}" text)
  string(REPLACE "\\\n" " " text "${text}")
  string(REGEX MATCHALL "X\\([^,()]+, *[A-Za-z_0-9]+, *\\([^()]*\\), *(MaxAPI|MaxAudio)\\)" rows "${text}")
  set(maxapi "")
  set(maxaudio "")
  set(forwards "")
  foreach(row IN LISTS rows)
    string(REGEX REPLACE "^X\\([^,()]+, *([A-Za-z_0-9]+),.*, *(MaxAPI|MaxAudio)\\)$" "\\1;\\2" parts "${row}")
    list(GET parts 0 name)
    list(GET parts 1 dll)
    if(dll STREQUAL "MaxAPI")
      string(APPEND maxapi "  ${name}\n")
    else()
      string(APPEND maxaudio "  ${name}\n")
      string(APPEND forwards "  ${name} = MaxAPI.${name}\n")
    endif()
  endforeach()
  if(maxapi STREQUAL "" OR maxaudio STREQUAL "")
    message(FATAL_ERROR "no MaxAPI or no MaxAudio function found in ${MAX_API_LIST}")
  endif()
  file(CONFIGURE OUTPUT "${MAX_DEF_DIR}/MaxAPI.def" CONTENT "LIBRARY MaxAPI.dll\nEXPORTS\n${maxapi}" @ONLY)
  file(CONFIGURE OUTPUT "${MAX_DEF_DIR}/MaxAudio.def" CONTENT "LIBRARY MaxAudio.dll\nEXPORTS\n${maxaudio}" @ONLY)
  file(CONFIGURE OUTPUT "${MAX_DEF_DIR}/MaxsimKernel.def" CONTENT "LIBRARY MaxAPI.dll\nEXPORTS\n${maxapi}${maxaudio}"
       @ONLY)
  file(CONFIGURE OUTPUT "${MAX_DEF_DIR}/MaxsimAudio.def" CONTENT "LIBRARY MaxAudio.dll\nEXPORTS\n${forwards}" @ONLY)
  set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${MAX_API_LIST}")
endfunction()

# max_add_import_libraries(TARGET): an interface target that links the two
# import libraries, the SDK's own when MAX_SDK_DIR is set, else ours.
function(max_add_import_libraries target)
  add_library(${target} INTERFACE)
  if(MAX_SDK_DIR)
    set(libs "${MAX_SDK_DIR}/c74support/max-includes/x64/MaxAPI.lib"
             "${MAX_SDK_DIR}/c74support/msp-includes/x64/MaxAudio.lib")
    foreach(lib IN LISTS libs)
      if(NOT EXISTS "${lib}")
        message(FATAL_ERROR "MAX_SDK_DIR=${MAX_SDK_DIR} lacks ${lib}")
      endif()
    endforeach()
    target_link_libraries(${target} INTERFACE ${libs})
    return()
  endif()
  max_write_def_files()
  set(libs "")
  foreach(dll MaxAPI MaxAudio)
    if(MSVC)
      set(lib "${MAX_DEF_DIR}/${dll}.lib")
      set(make_lib ${CMAKE_AR} /nologo /machine:x64 /def:${MAX_DEF_DIR}/${dll}.def /out:${lib})
    else()
      find_program(MAX_DLLTOOL NAMES ${CMAKE_DLLTOOL} x86_64-w64-mingw32-dlltool dlltool REQUIRED)
      set(lib "${MAX_DEF_DIR}/lib${dll}.a")
      set(make_lib ${MAX_DLLTOOL} -d ${MAX_DEF_DIR}/${dll}.def -l ${lib} -D ${dll}.dll)
    endif()
    add_custom_command(OUTPUT "${lib}" COMMAND ${make_lib} DEPENDS "${MAX_DEF_DIR}/${dll}.def"
                       COMMENT "Import library of ${dll}.dll" VERBATIM)
    list(APPEND libs "${lib}")
  endforeach()
  add_custom_target(${target}_files DEPENDS ${libs})
  target_link_libraries(${target} INTERFACE ${libs})
  add_dependencies(${target} ${target}_files)
endfunction()
