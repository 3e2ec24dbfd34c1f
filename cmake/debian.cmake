# What the Debian package wants besides: its fields, and what Debian expects in /usr/share/doc.

install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
    PATTERN "*.in" EXCLUDE
    PATTERN "refresh" EXCLUDE)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "Focusfall <focusfall@localhost>")  # a package must have one
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "blurs pictures by depth, as a camera lens does")
set(CPACK_PACKAGE_DESCRIPTION
"Each pixel becomes a sample with a distance; a lens model gives its circle of
confusion; the sample is scattered as a bokeh kernel of that diameter.
.
This package holds the focusfall command, the plug-ins and the headless host
that runs them, and the headers of the host for programs that embed it.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "cmake, g++")  # for what embeds the host
# the module is of little weight, but for those who use it alone numpy is needed
set(CPACK_DEBIAN_PACKAGE_PROVIDES python3-focusfall)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS python3-numpy)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# which package a program needs that links the host, and that the loader's list changes
file(WRITE ${PROJECT_BINARY_DIR}/shlibs
    "libfocusfall_host ${PROJECT_VERSION_MAJOR} focusfall (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/shlibs ${PROJECT_BINARY_DIR}/triggers)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
