# Import libraries for both Windows toolchains. MinGW links the .dll.a that
# the linker writes; MSVC's link.exe and lld-link want a COFF import library,
# which is made from a module-definition file of the DLL's exports.

# llvm-dlltool writes the short-import form that link.exe expects; MinGW's
# own dlltool makes a library that both linkers accept.
find_program(RUVO_DLLTOOL NAMES llvm-dlltool llvm-dlltool-16 llvm-dlltool-15 llvm-dlltool-14
             ${RUVO_MINGW_PREFIX}-dlltool x86_64-w64-mingw32-dlltool)

# ruvo_import_libraries(<target>): next to the target's .dll.a, lib<name>.def
# (written by the linker from the export table it builds, so it names exactly
# what the DLL exports) and lib<name>.lib made from it.
function(ruvo_import_libraries target)
  get_target_property(name ${target} OUTPUT_NAME)
  set(def ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/${name}.def)
  set(lib ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/${name}.lib)
  target_link_options(${target} PRIVATE -Wl,--output-def,${def})
  if(NOT RUVO_DLLTOOL)
    message(WARNING "no llvm-dlltool or dlltool: ${name}.lib is not made")
    return()
  endif()
  if(RUVO_DLLTOOL MATCHES "llvm-dlltool")
    set(machine -m i386:x86-64)
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${RUVO_DLLTOOL} ${machine} -d ${def} -D ${name}.dll -l ${lib}
    COMMENT "Making the MSVC import library ${name}.lib"
    VERBATIM)
  set_property(TARGET ${target} APPEND PROPERTY ADDITIONAL_CLEAN_FILES ${def} ${lib})
endfunction()
