# What Windows needs besides: Boost, the compiler's runtime beside the programs, and a zip.

# Boost is used by its headers alone, so Debian's serve. They stand among the headers of
# this machine's C library, which must stay out of sight: a folder links to Boost only.
set(boost_headers ${PROJECT_BINARY_DIR}/boost_headers)
file(MAKE_DIRECTORY ${boost_headers})
file(CREATE_LINK /usr/include/boost ${boost_headers}/boost SYMBOLIC)
add_library(Boost::headers INTERFACE IMPORTED)
target_include_directories(Boost::headers SYSTEM INTERFACE ${boost_headers})

# Highway likewise; the little that is not in its headers is built here.
set(highway_headers ${PROJECT_BINARY_DIR}/highway_headers)
file(MAKE_DIRECTORY ${highway_headers})
file(CREATE_LINK /usr/include/hwy ${highway_headers}/hwy SYMBOLIC)
add_library(focusfall_highway_headers INTERFACE)
target_include_directories(focusfall_highway_headers SYSTEM INTERFACE ${highway_headers})
add_library(hwy::hwy INTERFACE IMPORTED)
target_link_libraries(hwy::hwy INTERFACE focusfall_highway)

# The host and its plug-ins share these, so that what one library throws another catches.
# Programs look for them beside themselves first. Stripped: symbols are nine tenths of them.
foreach(name libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
        OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    set(copy ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name})
    file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    execute_process(COMMAND ${CMAKE_STRIP} -o ${copy} ${runtime} COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${copy} DESTINATION ${CMAKE_INSTALL_BINDIR})
endforeach()

# their licences, as Debian keeps them
install(FILES /usr/share/doc/gcc-mingw-w64-x86-64-posix-runtime/copyright
    DESTINATION licenses RENAME libgcc-libstdc++.txt)
install(FILES /usr/share/doc/mingw-w64-x86-64-dev/copyright
    DESTINATION licenses RENAME libwinpthread.txt)

execute_process(COMMAND ${CMAKE_CXX_COMPILER} --version OUTPUT_VARIABLE compiler_version)
string(REGEX MATCH "^[^\n]+" compiler_version "${compiler_version}")
configure_file(${PROJECT_SOURCE_DIR}/docs/windows_readme.txt.in
    ${PROJECT_BINARY_DIR}/README.txt @ONLY NEWLINE_STYLE CRLF)
install(FILES ${PROJECT_BINARY_DIR}/README.txt DESTINATION .)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME focusfall-${PROJECT_VERSION}-windows-x86_64)
set(CPACK_STRIP_FILES ON)
# all but the component "development"
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};focusfall;Unspecified;/")
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
