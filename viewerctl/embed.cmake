# Writes files into a source as ViewerWallFiles::find gives them out:
#   cmake -DOUTPUT=FILE.cpp -P embed.cmake FILE…
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")
set(arrays "")
set(entries "")
set(count 0)
math(EXPR last "${CMAKE_ARGC} - 1")
set(isFile FALSE)
foreach(index RANGE 0 ${last})
    set(argument "${CMAKE_ARGV${index}}")
    if(isFile)
        get_filename_component(name "${argument}" NAME)
        get_filename_component(ending "${argument}" LAST_EXT)
        string(SUBSTRING "${ending}" 1 -1 ending)
        if(NOT DEFINED "type_${ending}")
            message(FATAL_ERROR "${argument}: nobody has said of what type this is")
        endif()
        if(name STREQUAL "index.html")
            set(name "")
        endif()
        file(READ "${argument}" bytes HEX)
        string(LENGTH "${bytes}" digits)
        math(EXPR size "${digits} / 2") # clang++ counts no more than 256 by itself
        string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
        string(APPEND arrays "constexpr std::array<char, ${size}> file${count}{${bytes}};\n")
        string(APPEND entries
            "    {\"/${name}\", {\"${type_${ending}}\", {file${count}.data(), file${count}.size()}}},\n")
        math(EXPR count "${count} + 1")
    elseif(argument STREQUAL "--")
        set(isFile TRUE)
    endif()
endforeach()
file(WRITE "${OUTPUT}" "#include \"viewerctl/ViewerWallFiles.h\"

#include <array>
#include <utility>

namespace velmora::ViewerWallFiles {

namespace {

${arrays}
constexpr std::array<std::pair<std::string_view, File>, ${count}> files{{
${entries}}};

}  // namespace

std::optional<File> find(std::string_view path) {
    for (const auto& [name, file] : files) {
        if (name == path) {
            return file;
        }
    }
    return std::nullopt;
}

}  // namespace velmora::ViewerWallFiles
")
