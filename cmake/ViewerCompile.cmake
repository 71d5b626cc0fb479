# How every target of ours is compiled: warnings are errors, includes are written from the root.
add_library(ViewerCompile INTERFACE)
target_include_directories(ViewerCompile INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(ViewerCompile INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
    -Wold-style-cast -Wcast-align -Woverloaded-virtual -Wnull-dereference -Werror)
# Where several sources are read as one, a name of one may stand in another's way without a fault; the
# builds of each source by itself look for that.
if(CMAKE_UNITY_BUILD)
    target_compile_options(ViewerCompile INTERFACE -Wno-shadow)
endif()
if(APPLE)
    target_compile_options(ViewerCompile INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(ViewerCompile INTERFACE -Wthread-safety)
else()
    # g++ 12 sees null pointers and uninitialised fields in coroutine frames and inlined library code
    # that are not there. A result that (void) drops on purpose it reports all the same; clang looks
    # after the others.
    target_compile_options(ViewerCompile INTERFACE
        -Wno-null-dereference -Wno-maybe-uninitialized -Wno-unused-result)
endif()
if(VIEWER_SANITIZE)
    # The vptr check needs free descriptors to look at memory: without any it reports faults that are
    # not there.
    target_compile_options(ViewerCompile INTERFACE
        -fsanitize=${VIEWER_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(ViewerCompile INTERFACE -fsanitize=${VIEWER_SANITIZE})
else()
    include(ViewerHardening)
endif()

set(platform linux)
if(APPLE)
    set(platform mac)
endif()

# Says which headers a library has; patterns are relative to the folder of the CMakeLists.txt.
function(viewer_headers target)
    file(GLOB headers CONFIGURE_DEPENDS ${ARGN})
    target_sources(${target} PUBLIC
        FILE_SET HEADERS BASE_DIRS ${CMAKE_SOURCE_DIR} FILES ${headers})
endfunction()

# Reads what nearly every source of a target includes only once, where VIEWER_PRECOMPILE says so. No
# source may get by on that alone: the header check and the folder that clang-tidy reads have none.
function(viewer_precompile target)
    if(VIEWER_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE
            <algorithm> <chrono> <functional> <memory> <optional> <string> <variant> <vector>
            <boost/asio/awaitable.hpp> <boost/asio/co_spawn.hpp> <boost/asio/io_context.hpp>
            <boost/asio/ip/tcp.hpp> <boost/asio/post.hpp>
            <boost/asio/posix/stream_descriptor.hpp> <boost/asio/use_awaitable.hpp> ${ARGN})
    endif()
endfunction()
