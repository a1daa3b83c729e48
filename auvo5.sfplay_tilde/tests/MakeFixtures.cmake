# cmake -DSOX=... -DOUT=folder -P MakeFixtures.cmake
# The sound files the scripts play, written by sox: 24-bit, each channel a
# sine that starts at its peak (so playback's first frame is not silent),
# half a second long; at 48 kHz, the hosts' rate in the scripts, and one at
# 44.1 kHz for the sample-rate warning.
file(MAKE_DIRECTORY "${OUT}")
foreach(fixture "tone2;48000;2;sine 440 0 25 sine 660 0 25"
             "tone3;48000;3;sine 440 0 25 sine 550 0 25 sine 770 0 25"
             "tone2-44k;44100;2;sine 440 0 25 sine 660 0 25")
  list(GET fixture 0 name)
  list(GET fixture 1 rate)
  list(GET fixture 2 channels)
  list(GET fixture 3 synth)
  separate_arguments(synth_args UNIX_COMMAND "${synth}")
  execute_process(COMMAND "${SOX}" -n -r ${rate} -b 24 -c ${channels} "${OUT}/${name}.wav"
                          synth 0.5 ${synth_args} gain -6
                  RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "sox could not write ${OUT}/${name}.wav")
  endif()
endforeach()
# Eight channels for a box with half its outlets connected, and the four it
# plays to them (the 1st, 3rd, 5th and 7th, taken out by sox unchanged).
execute_process(COMMAND "${SOX}" -n -r 48000 -b 24 -c 8 "${OUT}/tone8-short.wav"
                        synth 0.5 sine 440 0 25 sine 495 0 25 sine 550 0 25 sine 605 0 25
                                  sine 660 0 25 sine 715 0 25 sine 770 0 25 sine 825 0 25 gain -6
                RESULT_VARIABLE status)
if(status EQUAL 0)
  execute_process(COMMAND "${SOX}" -D "${OUT}/tone8-short.wav" "${OUT}/tone8-short-odd.wav" remix 1 3 5 7
                  RESULT_VARIABLE status)
endif()
if(NOT status EQUAL 0)
  message(FATAL_ERROR "sox could not write ${OUT}/tone8-short.wav or its four channels")
endif()
# A file to change while it plays: 8 channels of 24 bits at -20 dBFS, six
# seconds (longer than the smallest ring, four seconds at 48 kHz); and what
# is copied over it, of another format (16-bit stereo, 1 dB below full scale),
# long enough to hold bytes where the first file's later frames were, so
# that reading on through the old header would find them.
execute_process(COMMAND "${SOX}" -n -r 48000 -b 24 -c 8 "${OUT}/tone8.wav"
                        synth 6 sine 440 0 25 sine 495 0 25 sine 550 0 25 sine 605 0 25
                                sine 660 0 25 sine 715 0 25 sine 770 0 25 sine 825 0 25 gain -20
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "sox could not write ${OUT}/tone8.wav")
endif()
execute_process(COMMAND "${SOX}" -n -r 48000 -b 16 -c 2 "${OUT}/other16.wav"
                        synth 30 sine 1000 0 25 sine 1500 0 25 gain -1
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "sox could not write ${OUT}/other16.wav")
endif()
# A file that is no sound file.
file(WRITE "${OUT}/notasound.wav" "this is text, not RIFF")
# A preset whose one message carries a 3 MB string, which its error quotes.
string(REPEAT "x" 3000000 long_text)
file(WRITE "${OUT}/long-argument.txt" "/nope \"${long_text}\"\n")
