# Finds OpenEXR by its headers and libraries. The configuration file of Debian's package wants
# that of Imath, which complains about libraries for Python that nobody needs.
find_path(OpenEXR_INCLUDE_DIR ImfRgbaFile.h PATH_SUFFIXES OpenEXR)
find_path(Imath_INCLUDE_DIR ImathBox.h PATH_SUFFIXES Imath)
find_library(OpenEXR_LIBRARY OpenEXR)
find_library(Imath_LIBRARY Imath)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenEXR
    REQUIRED_VARS OpenEXR_LIBRARY Imath_LIBRARY OpenEXR_INCLUDE_DIR Imath_INCLUDE_DIR)

if(OpenEXR_FOUND AND NOT TARGET OpenEXR::OpenEXR)
    add_library(OpenEXR::OpenEXR INTERFACE IMPORTED)
    target_include_directories(OpenEXR::OpenEXR SYSTEM INTERFACE
        ${OpenEXR_INCLUDE_DIR} ${Imath_INCLUDE_DIR})
    target_link_libraries(OpenEXR::OpenEXR INTERFACE ${OpenEXR_LIBRARY} ${Imath_LIBRARY})
endif()
