# A VERSIONINFO resource for each DLL, so that the version set once in
# project(VERSION) is what Explorer and the version calls read from the file.

# The four numbers of FILEVERSION and PRODUCTVERSION: missing parts are 0.
set(RUVO_RC_VERSION_NUMBERS)
foreach(part MINOR PATCH TWEAK)
  if(NOT "${PROJECT_VERSION_${part}}" STREQUAL "")
    list(APPEND RUVO_RC_VERSION_NUMBERS ${PROJECT_VERSION_${part}})
  else()
    list(APPEND RUVO_RC_VERSION_NUMBERS 0)
  endif()
endforeach()
string(JOIN "," RUVO_RC_VERSION_COMMAS ${PROJECT_VERSION_MAJOR} ${RUVO_RC_VERSION_NUMBERS})

# ruvo_version_resource(<target> <description>): compiles the resource into
# the target's image; `description` becomes its FileDescription.
function(ruvo_version_resource target description)
  get_target_property(RUVO_RC_NAME ${target} OUTPUT_NAME)
  set(RUVO_RC_FILE ${RUVO_RC_NAME}.dll)
  set(RUVO_RC_DESCRIPTION "${description}")
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${rc} @ONLY)
  target_sources(${target} PRIVATE ${rc})
endfunction()
