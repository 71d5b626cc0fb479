# What is shipped resists: an overflow ends the program instead of being used, addresses are chance,
# and nothing tells where it was built. A sanitizer checks more than this, and looks less closely where
# functions are fortified, so the two do not go together.
target_compile_options(ViewerCompile INTERFACE
    -fstack-protector-strong
    "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build" "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.")
if(APPLE)
    return()
endif()

# Fortified functions need the optimiser. The level is taken off first: a distribution may have set
# one.
target_compile_options(ViewerCompile INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=3>
    -fPIE)
target_link_options(ViewerCompile INTERFACE
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)

# Not every processor has these.
include(CheckCXXCompilerFlag)
foreach(flag -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "VIEWER_HAS${flag}" isKnown)
    check_cxx_compiler_flag(${flag} ${isKnown})
    if(${isKnown})
        target_compile_options(ViewerCompile INTERFACE ${flag})
    endif()
endforeach()

# What is installed has no debug information; the build folder keeps it, for the same build id.
if(VIEWER_STRIP)
    install(CODE "set(CMAKE_INSTALL_DO_STRIP TRUE)")
endif()
