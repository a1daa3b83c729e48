# Script tests run by the Max kernel simulator (maxsim/).
#
# maxsim_add_script_test(NAME SCRIPT EXTERNAL_TARGET [STATUS N] [ENV VAR=VALUE...])
#   Registers the ctest test NAME: runs `maxsim <EXTERNAL_TARGET's file> SCRIPT`
#   and compares its stdout line by line with the file beside SCRIPT that has
#   the extension .expected (a line of it beginning with "~ " is a regular
#   expression the whole output line must match). A comment "# ignore: REGEX"
#   in SCRIPT drops the output lines REGEX matches. The exit status must be N
#   (default 0). The script sees MAXSIM_TMP, an empty folder of its own, and
#   the ENV variables. On failure the test prints a unified diff.
#   Name tests that run audio (`run`) MaxsimThreads.* so they also run under TSan.
function(maxsim_add_script_test name script external)
  cmake_parse_arguments(PARSE_ARGV 3 arg "" "STATUS" "ENV")
  if(NOT arg_STATUS)
    set(arg_STATUS 0)
  endif()
  get_filename_component(script_abs "${script}" ABSOLUTE)
  string(REGEX REPLACE "\\.[^./]*$" ".expected" expected "${script_abs}")
  # A cross build runs maxsim.exe under its emulator (Wine), every path it is
  # given (arguments, MAXSIM_TMP, the ENV paths) in Windows form.
  set(windows "")
  if(WIN32 AND CMAKE_CROSSCOMPILING_EMULATOR)
    foreach(item IN LISTS CMAKE_CROSSCOMPILING_EMULATOR)
      list(APPEND windows "--emulator=${item}")
    endforeach()
    foreach(item IN LISTS arg_ENV)
      if(item MATCHES "^([A-Za-z_0-9]+)=/")
        list(APPEND windows --path-env ${CMAKE_MATCH_1})
      endif()
    endforeach()
  endif()
  add_test(NAME ${name}
           COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/maxsim/tests/RunScript.py
                   --maxsim $<TARGET_FILE:maxsim> --external $<TARGET_FILE:${external}>
                   --script ${script_abs} --expected ${expected} --status ${arg_STATUS}
                   --tmp ${CMAKE_CURRENT_BINARY_DIR}/maxsim-tmp/${name} ${windows})
  if(arg_ENV)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${arg_ENV}")
  endif()
endfunction()
