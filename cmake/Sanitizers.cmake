# KEL_SANITIZE=address gives ASan+UBSan, KEL_SANITIZE=thread gives TSan.
if(KEL_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(KEL_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT KEL_SANITIZE STREQUAL "")
  message(FATAL_ERROR "KEL_SANITIZE must be empty, 'address' or 'thread'")
endif()

# The fuzz build instruments every target for coverage and ASan+UBSan, so a
# fault anywhere under a fuzz target is reported; the targets themselves add
# libFuzzer's main (fuzz/CMakeLists.txt).
if(KEL_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
