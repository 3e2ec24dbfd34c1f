# What the Debian packages want besides: their fields, and what Debian expects in
# /usr/share/doc. Included last: it looks at what the folders install.

install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
    PATTERN "*.in" EXCLUDE
    PATTERN "refresh" EXCLUDE)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "Focusfall <focusfall@localhost>")  # a package must have one
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(control ${PROJECT_BINARY_DIR}/debian)

# the package focusfall: all but Python's module
set(CPACK_DEBIAN_MAIN_PACKAGE_NAME focusfall)
set(CPACK_DEBIAN_MAIN_DESCRIPTION
"blurs pictures by depth, as a camera lens does
Each pixel becomes a sample with a distance; a lens model gives its circle of
confusion; the sample is scattered as a bokeh kernel of that diameter.
.
This package holds the focusfall command, the bundle of its effects for OpenFX
hosts, the plug-ins and the headless host that runs them, and the headers of the
host for programs that embed it.")
set(CPACK_DEBIAN_MAIN_PACKAGE_SECTION graphics)
# the last two are for what embeds the host
set(CPACK_DEBIAN_MAIN_PACKAGE_SUGGESTS "python3-focusfall, cmake, g++")
# which package a program needs that links the host, and that the loader's list changes
file(WRITE ${control}/main/shlibs
    "libfocusfall_host ${PROJECT_VERSION_MAJOR} focusfall (>= ${PROJECT_VERSION})\n")
file(WRITE ${control}/main/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_MAIN_PACKAGE_CONTROL_EXTRA ${control}/main/shlibs ${control}/main/triggers)

# the package python3-focusfall
set(CPACK_DEBIAN_PYTHON3_PACKAGE_NAME python3-focusfall)
set(CPACK_DEBIAN_PYTHON3_DESCRIPTION
"blurs pictures by depth, as a camera lens does (Python 3)
The module focusfall blurs arrays of numpy, and does with picture files and shots
what the focusfall command does.")
set(CPACK_DEBIAN_PYTHON3_PACKAGE_SECTION python)
if(TARGET focusfall_python)
    # its library is for this one release of Python
    math(EXPR next "${Python_VERSION_MINOR} + 1")
    set(CPACK_DEBIAN_PYTHON3_PACKAGE_DEPENDS "focusfall (= ${PROJECT_VERSION}), python3-numpy")
    string(APPEND CPACK_DEBIAN_PYTHON3_PACKAGE_DEPENDS
        ", python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR})"
        ", python3 (<< ${Python_VERSION_MAJOR}.${next})")
endif()
# compiles the module once it lies there, and removes what was compiled
foreach(script "postinst configure py3compile" "prerm remove|upgrade py3clean")
    string(REPLACE " " ";" script ${script})
    list(GET script 0 name)
    list(GET script 1 actions)
    list(GET script 2 program)
    file(WRITE ${control}/python3/${name} "#!/bin/sh\nset -e\n"
        "case $1 in\n    ${actions}) ${program} -p python3-focusfall ;;\nesac\n")
    list(APPEND CPACK_DEBIAN_PYTHON3_PACKAGE_CONTROL_EXTRA ${control}/python3/${name})
endforeach()
set(CPACK_DEBIAN_PYTHON3_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
cpack_add_component(Unspecified GROUP main)
cpack_add_component(development GROUP main)
cpack_add_component(python GROUP python3)
