/* Lets xdg-desktop-portal-wlr 0.7 record a compositor without a GPU; preloaded into it.
 *
 * It copies the screen through shared memory there, but refuses to begin unless the compositor has offered a
 * DMA-BUF as well, which only one with a GPU does. So after each offer of shared memory we tell it of a
 * DMA-BUF of the same size. It cannot allocate one, has thus none to offer to its own clients, and does not
 * use it.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

struct wl_proxy;
const char* wl_proxy_get_class(struct wl_proxy* proxy);

/* The events of zwlr_screencopy_frame_v1 version 3, in the protocol's order. */
struct frame_listener {
    void (*buffer)(
        void* data, void* frame, uint32_t format, uint32_t width, uint32_t height, uint32_t stride);
    void (*others[4])(void); /* flags, ready, failed, damage */
    void (*linux_dmabuf)(void* data, void* frame, uint32_t format, uint32_t width, uint32_t height);
    void (*buffer_done)(void* data, void* frame);
};

static const uint32_t xrgb8888 = 0x34325258; /* as DRM names it */
static const struct frame_listener* portals;
static struct frame_listener ours;

static void offer_both(
    void* data, void* frame, uint32_t format, uint32_t width, uint32_t height, uint32_t stride) {
    portals->buffer(data, frame, format, width, height, stride);
    portals->linux_dmabuf(data, frame, xrgb8888, width, height);
}

typedef void (*event)(void);
typedef int (*add_listener)(struct wl_proxy* proxy, event* events, void* data);

int wl_proxy_add_listener(struct wl_proxy* proxy, event* events, void* data) {
    static add_listener add;
    if (add == NULL)
        add = (add_listener)dlsym(RTLD_NEXT, "wl_proxy_add_listener");
    if (strcmp(wl_proxy_get_class(proxy), "zwlr_screencopy_frame_v1") != 0)
        return add(proxy, events, data);
    portals = (const struct frame_listener*)events;
    ours = *portals;
    ours.buffer = offer_both;
    return add(proxy, (event*)&ours, data);
}
