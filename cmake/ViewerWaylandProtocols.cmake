# A library of C code that wayland-scanner writes for extensions of the Wayland protocol: now, not
# when something is built, so that tools that only read the sources find it. It is compiled without
# our warnings, and not shown to tools that read the sources: nobody here can change it.
enable_language(C)
find_program(WAYLAND_SCANNER wayland-scanner REQUIRED)
pkg_get_variable(WAYLAND_PROTOCOLS_FOLDER wayland-protocols pkgdatadir)

function(viewer_add_wayland_protocols target)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target})
    file(MAKE_DIRECTORY ${folder})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARGN})
    foreach(description ${ARGN})
        get_filename_component(name ${description} NAME_WE)
        set(header ${folder}/${name}-client-protocol.h)
        set(code ${folder}/${name}-protocol.c)
        if(${description} IS_NEWER_THAN ${header} OR ${description} IS_NEWER_THAN ${code})
            execute_process(COMMAND_ERROR_IS_FATAL ANY
                COMMAND ${WAYLAND_SCANNER} client-header ${description} ${header})
            execute_process(COMMAND_ERROR_IS_FATAL ANY
                COMMAND ${WAYLAND_SCANNER} private-code ${description} ${code})
        endif()
        list(APPEND generated ${header} ${code})
    endforeach()
    add_library(${target} STATIC ${generated})
    target_include_directories(${target} SYSTEM PUBLIC ${folder})
    target_link_libraries(${target} PUBLIC PkgConfig::WAYLAND)
    set_target_properties(${target} PROPERTIES UNITY_BUILD OFF EXPORT_COMPILE_COMMANDS OFF)
    # What is true of every other object of the product holds for these too, but for a sanitizer, of
    # which the C compiler may have another one.
    get_target_property(options ViewerCompile INTERFACE_COMPILE_OPTIONS)
    list(FILTER options EXCLUDE REGEX "-W|-fobjc|sanitize")
    target_compile_options(${target} PRIVATE ${options})
endfunction()
