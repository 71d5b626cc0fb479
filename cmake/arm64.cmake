# Another processor than this machine's: Debian's cross compiler, the libraries of that processor in
# the folder VIEWER_SYSROOT, and an emulator that runs what was built.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VIEWER_SYSROOT)
set(CMAKE_SYSROOT ${VIEWER_SYSROOT})
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
# The newer releases' emulators are all static.
find_program(VIEWER_EMULATOR NAMES qemu-aarch64-static qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${VIEWER_EMULATOR} -L ${VIEWER_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${VIEWER_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${VIEWER_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${VIEWER_SYSROOT}/usr/share/pkgconfig)
