# cmake -DFILE=path -DSOURCE=path -DBYTES=N -P CheckFileHead.cmake
# Fails unless FILE holds exactly the first N bytes of SOURCE.
file(READ "${SOURCE}" want LIMIT ${BYTES} HEX)
file(READ "${FILE}" got HEX)
if(NOT got STREQUAL want)
  message(FATAL_ERROR "${FILE} holds ${got}, not the first ${BYTES} bytes of ${SOURCE} (${want})")
endif()
