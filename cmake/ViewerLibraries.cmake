# The libraries that the product stands on.
find_package(Threads REQUIRED)
# Newer releases of CMake want to be told that Boost describes itself. Built for another system, its
# headers are found without that description.
if(POLICY CMP0167 AND NOT CMAKE_CROSSCOMPILING)
    cmake_policy(SET CMP0167 NEW)
endif()
find_package(Boost 1.81 REQUIRED)

# Boost.JSON and Asio are compiled once, in sources of ours, instead of in every user.
add_library(ViewerBoostHeaders INTERFACE)
target_include_directories(ViewerBoostHeaders SYSTEM INTERFACE ${Boost_INCLUDE_DIRS})
add_library(ViewerAsio INTERFACE)
target_compile_definitions(ViewerAsio INTERFACE
    BOOST_ASIO_SEPARATE_COMPILATION BOOST_ASIO_NO_DEPRECATED)
target_link_libraries(ViewerAsio INTERFACE ViewerBoostHeaders Threads::Threads)

if(APPLE)
    add_library(ViewerFrameworks INTERFACE)
    # One of their headers can define macros named check, verify and require, as Asio's members are.
    target_compile_definitions(ViewerFrameworks INTERFACE
        __ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES=0)
    foreach(framework AppKit ColorSync CoreGraphics CoreImage CoreMedia CoreVideo Foundation ImageIO
            Network ScreenCaptureKit UniformTypeIdentifiers)
        target_link_libraries(ViewerFrameworks INTERFACE "-framework ${framework}")
    endforeach()
else()
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-randr xcb-shm xcb-damage xcb-xfixes)
    pkg_check_modules(SDBUS REQUIRED IMPORTED_TARGET libsystemd)
    pkg_check_modules(PIPEWIRE REQUIRED IMPORTED_TARGET libpipewire-0.3)
    # The host is not linked with it, but loads it when it is first needed: linked, it would cost every
    # start, and no host would run where it is missing.
    add_library(ViewerPipeWireHeaders INTERFACE)
    target_include_directories(ViewerPipeWireHeaders SYSTEM INTERFACE ${PIPEWIRE_INCLUDE_DIRS})
    target_link_libraries(ViewerPipeWireHeaders INTERFACE ${CMAKE_DL_LIBS})
    pkg_check_modules(WAYLAND REQUIRED IMPORTED_TARGET wayland-client)
    pkg_check_modules(JPEG REQUIRED IMPORTED_TARGET libjpeg)
    pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)
    pkg_check_modules(CHAFA REQUIRED IMPORTED_TARGET chafa>=1.12)
    pkg_check_modules(HIGHWAY REQUIRED IMPORTED_TARGET libhwy)
    pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-i18n icu-uc)
endif()
