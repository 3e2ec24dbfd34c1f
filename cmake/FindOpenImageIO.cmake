# Finds OpenImageIO by its header and libraries. The configuration file of Debian's package
# wants the package's tools as well, and with them a desktop's worth of libraries.
find_path(OpenImageIO_INCLUDE_DIR OpenImageIO/imageio.h)
find_library(OpenImageIO_LIBRARY OpenImageIO)
find_library(OpenImageIO_UTIL_LIBRARY OpenImageIO_Util)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenImageIO
    REQUIRED_VARS OpenImageIO_LIBRARY OpenImageIO_UTIL_LIBRARY OpenImageIO_INCLUDE_DIR)

if(OpenImageIO_FOUND AND NOT TARGET OpenImageIO::OpenImageIO)
    add_library(OpenImageIO::OpenImageIO INTERFACE IMPORTED)
    # its headers include Imath's
    target_include_directories(OpenImageIO::OpenImageIO SYSTEM INTERFACE
        ${OpenImageIO_INCLUDE_DIR} ${OpenImageIO_INCLUDE_DIR}/Imath)
    target_link_libraries(OpenImageIO::OpenImageIO INTERFACE
        ${OpenImageIO_LIBRARY} ${OpenImageIO_UTIL_LIBRARY})
endif()
