# Compiler flags shared by every target of the tree.

set(RUVO_WARNINGS -Wall -Wextra -Werror)

if(RUVO_SANITIZE)
  set(RUVO_SAN_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=undefined
                     -fno-omit-frame-pointer)
  add_compile_options(${RUVO_SAN_FLAGS})
  add_link_options(${RUVO_SAN_FLAGS})
endif()

if(RUVO_BUILD_FUZZ)
  # Everything the fuzz targets link is instrumented for coverage; the
  # targets themselves add -fsanitize=fuzzer for libFuzzer's main.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

if(WIN32)
  # libstdc++, libgcc and winpthread go into each image, so the DLL and the
  # test programs need nothing but Windows' own DLLs and each other.
  set(RUVO_STATIC_RUNTIME -static -static-libgcc -static-libstdc++)
  # Win64 guarantees only 16-byte stack alignment and MinGW's GCC does not
  # realign for 32-byte AVX spills; the assembler turns every aligned vector
  # move into an unaligned one, which costs nothing on aligned data.
  add_compile_options(-Wa,-muse-unaligned-vector-move)
endif()

# Runs a target under Wine on the cross build; empty on the native one.
set(RUVO_EMULATOR ${CMAKE_CROSSCOMPILING_EMULATOR})
