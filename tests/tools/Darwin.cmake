# Configures the build for macOS on another system, so far that what it would compile and bundle can
# be looked at. Nothing is built with it.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
find_program(VIEWER_CLANG clang++-19 REQUIRED)
foreach(language CXX OBJCXX)
    set(CMAKE_${language}_COMPILER ${VIEWER_CLANG})
    set(CMAKE_${language}_COMPILER_WORKS TRUE)
    set(CMAKE_${language}_ABI_COMPILED TRUE)
endforeach()
set(CMAKE_INSTALL_NAME_TOOL true)
set(CMAKE_HAVE_LIBC_PTHREAD TRUE)
