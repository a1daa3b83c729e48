# Script tests run by the Max kernel simulator (maxsim/).
#
# maxsim_add_script_test(NAME SCRIPT EXTERNAL_TARGET [STATUS N] [ENV VAR=VALUE...])
#   Registers three ctest tests that run `maxsim <EXTERNAL_TARGET's file> SCRIPT`,
#   one per place Max runs scheduler events: NAME (Overdrive off: the main
#   thread), NAME.overdrive (--overdrive on: the scheduler thread) and
#   NAME.audio (--overdrive audio: the audio thread between signal vectors).
#   Each compares its stdout line by line with the file beside SCRIPT that has
#   the extension .expected:
#     - a line beginning with "~ " is a regular expression the whole output
#       line must match;
#     - consecutive lines beginning with "& " form a group that matches as many
#       output lines in any order (the text after "& " may itself be a "~ "
#       expression): for lines whose order depends on threads.
#   A comment "# ignore: REGEX" in SCRIPT drops the output lines REGEX matches.
#   The exit status must be N (default 0; maxsim exits with 3 when something
#   broke Max's rules). The script sees MAXSIM_TMP, an empty folder of its own,
#   and the ENV variables. On failure the test prints a unified diff.
#   Properties the caller sets on NAME afterwards (FIXTURES_REQUIRED, LABELS,
#   TIMEOUT, ...) are given to the two other tests at the end of the directory.
#   Name tests that run audio or threads MaxsimThreads.* so they also run under TSan.
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
  foreach(mode off on audio)
    if(mode STREQUAL "off")
      set(test ${name})
    elseif(mode STREQUAL "on")
      set(test ${name}.overdrive)
    else()
      set(test ${name}.audio)
    endif()
    add_test(NAME ${test}
             COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/maxsim/tests/RunScript.py
                     --maxsim $<TARGET_FILE:maxsim> --external $<TARGET_FILE:${external}>
                     --script ${script_abs} --expected ${expected} --status ${arg_STATUS} --overdrive ${mode}
                     --tmp ${CMAKE_CURRENT_BINARY_DIR}/maxsim-tmp/${test} ${windows})
    if(arg_ENV)
      set_tests_properties(${test} PROPERTIES ENVIRONMENT "${arg_ENV}")
    endif()
  endforeach()
  cmake_language(EVAL CODE "cmake_language(DEFER CALL _maxsim_share_test_properties [[${name}]])")
endfunction()

# The properties of NAME that make sense for its other modes too (not
# FIXTURES_SETUP: what checks NAME's files reads NAME's own folder).
function(_maxsim_share_test_properties name)
  foreach(property FIXTURES_REQUIRED RESOURCE_LOCK LABELS TIMEOUT DISABLED RUN_SERIAL PROCESSORS)
    get_test_property(${name} ${property} value)
    if(NOT value STREQUAL "NOTFOUND")
      set_tests_properties(${name}.overdrive ${name}.audio PROPERTIES ${property} "${value}")
    endif()
  endforeach()
endfunction()
