# The compiler's runtime libraries. The host and its plug-ins share them, so that an
# exception thrown in one library is caught in another; programs look for them beside
# themselves first.
foreach(name libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
        OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    file(COPY ${runtime} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    install(FILES ${runtime} DESTINATION ${CMAKE_INSTALL_BINDIR})
endforeach()
