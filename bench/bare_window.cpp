// What the waiting share sheet is compared with: the least that a window on an X display can be,
// without a toolkit and without text.

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::uint16_t kWidth = 400, kHeight = 320;

/// Bars of sixteen colours, as content that needs no font.
void draw(xcb_connection_t* connection, xcb_window_t window, xcb_gcontext_t context) {
  for (std::uint32_t i = 0; i < 16; ++i) {
    const std::uint32_t colour = 0x0f1e2d * (i + 1) & 0xffffff;
    const xcb_rectangle_t bar{20, static_cast<std::int16_t>(20 + 16 * i), kWidth - 40, 8};
    xcb_change_gc(connection, context, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(connection, window, context, 1, &bar);
  }
  xcb_flush(connection);
}

}  // namespace

int main() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(connection)) return 66;
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  const xcb_window_t window = xcb_generate_id(connection);
  const std::uint32_t values[] = {screen->white_pixel, XCB_EVENT_MASK_EXPOSURE};
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, kWidth, kHeight,
                    0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
  const xcb_gcontext_t context = xcb_generate_id(connection);
  xcb_create_gc(connection, context, window, 0, nullptr);
  xcb_map_window(connection, window);
  xcb_flush(connection);
  while (xcb_generic_event_t* event = xcb_wait_for_event(connection)) {
    if ((event->response_type & 0x7f) == XCB_EXPOSE) draw(connection, window, context);
    std::free(event);
  }
  return 0;
}
