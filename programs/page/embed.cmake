# Writes OUTPUT, C++ that holds the bytes of FILES (page_files.h).
set(types html "text/html" css "text/css" js "text/javascript" svg "image/svg+xml")
set(arrays "")
set(rows "")
foreach(path IN LISTS FILES)
    get_filename_component(name ${path} NAME)
    get_filename_component(ending ${path} LAST_EXT)
    string(SUBSTRING ${ending} 1 -1 ending)
    list(FIND types ${ending} place)
    math(EXPR place "${place} + 1")
    list(GET types ${place} type)
    file(READ ${path} bytes HEX)
    string(LENGTH "${bytes}" length)
    math(EXPR length "${length} / 2")
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
    string(MAKE_C_IDENTIFIER ${name} array)
    if(name STREQUAL "index.html")
        set(name "")
    endif()
    string(APPEND arrays "constexpr char ${array}[] = {${bytes}'\\0'};\n")
    string(APPEND rows
        "    {\"${name}\", \"${type}; charset=utf-8\", {${array}, ${length}}},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"programs/page/page_files.h\"

#include <algorithm>
#include <iterator>

namespace focusfall {

namespace {

${arrays}
constexpr page_file FILES[] = {
${rows}};

}  // namespace

const page_file* find_page_file(std::string_view name) {
    const auto* found = std::ranges::find(FILES, name, &page_file::name);
    return found == std::end(FILES) ? nullptr : found;
}

}  // namespace focusfall
")
