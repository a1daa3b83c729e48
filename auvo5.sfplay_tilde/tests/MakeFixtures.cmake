# cmake -DSOX=... -DOUT=folder -P MakeFixtures.cmake
# The sound files the scripts play, written by sox: 48 kHz 24-bit, each
# channel a sine that starts at its peak (so playback's first frame is not
# silent), half a second long.
file(MAKE_DIRECTORY "${OUT}")
foreach(fixture "tone2;2;sine 440 0 25 sine 660 0 25"
             "tone3;3;sine 440 0 25 sine 550 0 25 sine 770 0 25")
  list(GET fixture 0 name)
  list(GET fixture 1 channels)
  list(GET fixture 2 synth)
  separate_arguments(synth_args UNIX_COMMAND "${synth}")
  execute_process(COMMAND "${SOX}" -n -r 48000 -b 24 -c ${channels} "${OUT}/${name}.wav"
                          synth 0.5 ${synth_args} gain -6
                  RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "sox could not write ${OUT}/${name}.wav")
  endif()
endforeach()
# A file that is no sound file.
file(WRITE "${OUT}/notasound.wav" "this is text, not RIFF")
