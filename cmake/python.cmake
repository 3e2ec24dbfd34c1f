# The Python module, where the packages for it are there. The sanitizers' libraries would have
# to be loaded before the interpreter: builds with them leave it out.
if(FOCUSFALL_PYTHON AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
    # the system's, whose modules Debian's packages are, and no other one of the PATH
    if(NOT DEFINED Python_EXECUTABLE AND EXISTS /usr/bin/python3)
        set(Python_EXECUTABLE /usr/bin/python3)
    endif()
    find_package(Python COMPONENTS Interpreter Development.Module)
    set(PYBIND11_NOPYTHON ON)  # it would look for another interpreter
    find_package(pybind11 CONFIG)
    if(Python_FOUND AND pybind11_FOUND)
        add_subdirectory(programs/python)
    endif()
endif()
