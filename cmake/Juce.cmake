# JUCE's GUI modules as one static library, kel_juce, from the module sources
# that scripts/fetch-juce.sh unpacks (KEL_JUCE_MODULES). Debian's sources
# come without the zlib, libjpeg and libpng that upstream bundles: the
# build machine's (or, for Windows, the cross prefix's) libraries are used.
set(KEL_JUCE_MODULE_NAMES juce_core juce_events juce_data_structures juce_graphics juce_gui_basics)

function(kel_add_juce modules_dir)
  set(sources "")
  foreach(module IN LISTS KEL_JUCE_MODULE_NAMES)
    list(APPEND sources "${modules_dir}/${module}/${module}.cpp")
  endforeach()
  add_library(kel_juce STATIC ${sources})
  # SYSTEM: JUCE's headers are not held to our warning flags.
  target_include_directories(kel_juce SYSTEM PUBLIC "${modules_dir}")
  set(definitions
      JUCE_GLOBAL_MODULE_SETTINGS_INCLUDED=1
      JUCE_STANDALONE_APPLICATION=0
      JUCE_DONT_DECLARE_PROJECTINFO=1
      JUCE_DISPLAY_SPLASH_SCREEN=0
      JUCE_USE_DARK_SPLASH_SCREEN=0
      JUCE_REPORT_APP_USAGE=0
      JUCE_USE_CURL=0
      JUCE_WEB_BROWSER=0
      JUCE_LOAD_CURL_SYMBOLS_LAZILY=1
      JUCE_INCLUDE_ZLIB_CODE=0
      JUCE_INCLUDE_PNGLIB_CODE=0
      JUCE_INCLUDE_JPEGLIB_CODE=0
      JUCE_CHECK_MEMORY_LEAKS=0
      JUCE_LOG_ASSERTIONS=0)
  foreach(module IN LISTS KEL_JUCE_MODULE_NAMES)
    list(APPEND definitions JUCE_MODULE_AVAILABLE_${module}=1)
  endforeach()
  target_compile_definitions(kel_juce PUBLIC ${definitions} $<$<CONFIG:Debug>:DEBUG=1 _DEBUG=1> $<$<NOT:$<CONFIG:Debug>>:NDEBUG=1>)
  set_target_properties(kel_juce PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

  find_package(PkgConfig REQUIRED)
  if(WIN32)
    # libz.a, not the import library of zlib1.dll beside it in MinGW's sysroot.
    set(ZLIB_USE_STATIC_LIBS ON)
  endif()
  find_package(ZLIB REQUIRED)
  find_package(PNG REQUIRED)
  find_package(JPEG REQUIRED)
  target_link_libraries(kel_juce PUBLIC ZLIB::ZLIB PNG::PNG JPEG::JPEG)
  if(WIN32)
    # What JUCE's modules declare for MinGW (mingwLibs) but wsock32, whose
    # functions ws2_32 exports too (one DLL less to import), and the part of
    # Windows' API MinGW does not link by default; all Windows' own DLLs.
    target_link_libraries(kel_juce PUBLIC
        uuid wininet version ole32 ws2_32 oleaut32 imm32 comdlg32 shlwapi rpcrt4 winmm dxgi
        user32 gdi32 shell32 advapi32)
    if(MINGW)
      # JUCE implements DirectWrite fonts only for MSVC (its own #warning
      # says so): GDI fonts, on every translation unit alike.
      target_compile_definitions(kel_juce PUBLIC JUCE_USE_DIRECTWRITE=0)
      # Unoptimised, juce_gui_basics.cpp has more sections (52,484) than a
      # plain COFF object holds (32,767).
      set_source_files_properties("${modules_dir}/juce_gui_basics/juce_gui_basics.cpp"
                                  PROPERTIES COMPILE_OPTIONS "-Wa,-mbig-obj")
      set_source_files_properties("${modules_dir}/juce_graphics/juce_graphics.cpp"
                                  PROPERTIES COMPILE_OPTIONS "-include;${CMAKE_CURRENT_FUNCTION_LIST_DIR}/JuceMingwJpegBoolean.h")
    endif()
  else()
    # X11 and its extensions are loaded at run time by JUCE itself; only
    # their headers are needed to build.
    pkg_check_modules(KEL_JUCE_LINUX REQUIRED IMPORTED_TARGET freetype2 fontconfig x11 xext xrandr xinerama xcursor xrender)
    target_include_directories(kel_juce SYSTEM PRIVATE ${KEL_JUCE_LINUX_INCLUDE_DIRS})
    find_package(Threads REQUIRED)
    target_link_libraries(kel_juce PUBLIC PkgConfig::KEL_JUCE_LINUX Threads::Threads ${CMAKE_DL_LIBS} rt)
  endif()
endfunction()
