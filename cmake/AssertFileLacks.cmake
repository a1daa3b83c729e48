# cmake -DFILE=... -DNEEDLE=... -P AssertFileLacks.cmake
# Fails when FILE contains the text NEEDLE.
file(STRINGS "${FILE}" hits REGEX "${NEEDLE}")
list(LENGTH hits count)
if(count GREATER 0)
  list(GET hits 0 first)
  message(FATAL_ERROR "${FILE} contains '${NEEDLE}' (${count} strings), e.g. ${first}")
endif()
message(STATUS "${FILE} does not contain '${NEEDLE}'")
