// Loaded into KWin before other libraries: one graphics card where there is none. Its node is
// /dev/null, its buffers are plain shared memory, and Mesa draws for it without a screen.
#define _GNU_SOURCE
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <errno.h>
#include <gbm.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xf86drm.h>

struct gbm_device {
    int descriptor;
};

struct gbm_bo {
    int descriptor;
    uint32_t width, height, format;
};

static uint32_t row_bytes(const struct gbm_bo* buffer) {
    return buffer->width * 4;
}

static size_t bytes(const struct gbm_bo* buffer) {
    return (size_t)row_bytes(buffer) * buffer->height;
}

int drmGetDevices2(uint32_t flags, drmDevicePtr devices[], int most) {
    (void)flags;
    if (devices != NULL && most > 0) {
        drmDevicePtr card = calloc(1, sizeof *card);
        card->nodes = calloc(DRM_NODE_MAX, sizeof *card->nodes);
        card->nodes[DRM_NODE_RENDER] = "/dev/null";
        card->available_nodes = 1 << DRM_NODE_RENDER;
        card->bustype = DRM_BUS_PCI;
        devices[0] = card;
    }
    return 1;
}

void drmFreeDevices(drmDevicePtr devices[], int count) {
    for (int i = 0; i < count; ++i) {
        free(devices[i]->nodes);
        free(devices[i]);
    }
}

int drmGetDeviceFromDevId(dev_t id, uint32_t flags, drmDevicePtr* device) {
    (void)id, (void)flags, (void)device;
    return -ENODEV;
}

struct gbm_device* gbm_create_device(int descriptor) {
    struct gbm_device* device = malloc(sizeof *device);
    device->descriptor = descriptor;
    return device;
}

void gbm_device_destroy(struct gbm_device* device) {
    free(device);
}

int gbm_device_get_fd(struct gbm_device* device) {
    return device->descriptor;
}

struct gbm_bo* gbm_bo_create(struct gbm_device* device, uint32_t width, uint32_t height,
                             uint32_t format, uint32_t flags) {
    (void)device, (void)flags;
    struct gbm_bo* buffer = malloc(sizeof *buffer);
    *buffer = (struct gbm_bo){memfd_create("buffer", MFD_CLOEXEC), width, height, format};
    if (buffer->descriptor < 0 || ftruncate(buffer->descriptor, (off_t)bytes(buffer)) != 0) {
        abort();
    }
    return buffer;
}

struct gbm_bo* gbm_bo_create_with_modifiers(struct gbm_device* device, uint32_t width,
                                            uint32_t height, uint32_t format,
                                            const uint64_t* modifiers, const unsigned count) {
    (void)modifiers, (void)count;
    return gbm_bo_create(device, width, height, format, 0);
}

void gbm_bo_destroy(struct gbm_bo* buffer) {
    close(buffer->descriptor);
    free(buffer);
}

int gbm_bo_get_fd(struct gbm_bo* buffer) {
    return dup(buffer->descriptor);
}

int gbm_bo_get_fd_for_plane(struct gbm_bo* buffer, int plane) {
    (void)plane;
    return gbm_bo_get_fd(buffer);
}

uint32_t gbm_bo_get_width(struct gbm_bo* buffer) {
    return buffer->width;
}

uint32_t gbm_bo_get_height(struct gbm_bo* buffer) {
    return buffer->height;
}

uint32_t gbm_bo_get_format(struct gbm_bo* buffer) {
    return buffer->format;
}

uint64_t gbm_bo_get_modifier(struct gbm_bo* buffer) {
    (void)buffer;
    return 0;
}

int gbm_bo_get_plane_count(struct gbm_bo* buffer) {
    (void)buffer;
    return 1;
}

uint32_t gbm_bo_get_offset(struct gbm_bo* buffer, int plane) {
    (void)buffer, (void)plane;
    return 0;
}

uint32_t gbm_bo_get_stride_for_plane(struct gbm_bo* buffer, int plane) {
    (void)plane;
    return row_bytes(buffer);
}

void* gbm_bo_map(struct gbm_bo* buffer, uint32_t x, uint32_t y, uint32_t width, uint32_t height,
                 uint32_t flags, uint32_t* stride, void** mapped) {
    (void)x, (void)y, (void)width, (void)height, (void)flags;
    *stride = row_bytes(buffer);
    *mapped = mmap(NULL, bytes(buffer), PROT_READ | PROT_WRITE, MAP_SHARED, buffer->descriptor, 0);
    return *mapped == MAP_FAILED ? NULL : *mapped;
}

void gbm_bo_unmap(struct gbm_bo* buffer, void* mapped) {
    munmap(mapped, bytes(buffer));
}

static EGLDisplay display_of(EGLenum platform, void* native, const EGLint* attributes) {
    const PFNEGLGETPLATFORMDISPLAYEXTPROC get =
        (PFNEGLGETPLATFORMDISPLAYEXTPROC)eglGetProcAddress("eglGetPlatformDisplayEXT");
    return platform == EGL_PLATFORM_GBM_KHR
               ? get(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, attributes)
               : get(platform, native, attributes);
}

// KWin calls it through this variable of libepoxy's.
PFNEGLGETPLATFORMDISPLAYEXTPROC epoxy_eglGetPlatformDisplayEXT = display_of;
