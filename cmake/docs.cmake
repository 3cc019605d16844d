# The API reference: Doxygen over the public headers, with the README's table
# of families as its front page, into <build>/docs/html. Only where Doxygen
# is installed. Building `docs` fails on any Doxygen warning and, before
# Doxygen runs, on any export without a doc comment, so the reference stays
# complete as families land.
find_package(Doxygen QUIET)
find_package(Python3 COMPONENTS Interpreter QUIET)
include(GNUInstallDirs)

if(DOXYGEN_FOUND AND Python3_Interpreter_FOUND)
  set(RUVO_DOCS_OUT ${CMAKE_BINARY_DIR}/docs)
  set(RUVO_DOCS_MAINPAGE ${RUVO_DOCS_OUT}/mainpage.md)
  configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${RUVO_DOCS_OUT}/Doxyfile @ONLY)
  file(GLOB_RECURSE RUVO_DOCS_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/ruvo/*.h)

  # A stamp, not index.html, marks success: a failing Doxygen run still
  # writes its pages, and they must not pass for a finished reference.
  add_custom_command(
    OUTPUT ${RUVO_DOCS_OUT}/docs.stamp
    COMMAND Python3::Interpreter tools/check-doc-comments.py include
    COMMAND Python3::Interpreter tools/doc-mainpage.py README.md ${RUVO_DOCS_MAINPAGE}
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${RUVO_DOCS_OUT}/html
    COMMAND Doxygen::doxygen ${RUVO_DOCS_OUT}/Doxyfile
    COMMAND ${CMAKE_COMMAND} -E touch ${RUVO_DOCS_OUT}/docs.stamp
    DEPENDS ${RUVO_DOCS_HEADERS} README.md docs/Doxyfile.in
            tools/check-doc-comments.py tools/doc-mainpage.py
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    COMMENT "API reference: ${RUVO_DOCS_OUT}/html"
    VERBATIM)
  add_custom_target(docs DEPENDS ${RUVO_DOCS_OUT}/docs.stamp)

  install(DIRECTORY ${RUVO_DOCS_OUT}/html/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/html OPTIONAL)
else()
  message(STATUS "No Doxygen or Python: no docs target (tools/install-deps.sh installs both)")
endif()
